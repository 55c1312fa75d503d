#include "vendor_names.h"

#include <GL/glxproto.h>

#include <dixstruct.h>
#include <extnsionst.h>
#include <misc.h>
#include <screenint.h>
#include <scrnintstr.h>
#include <string.h>

#ifndef GLX_VENDOR_NAMES_EXT
#define GLX_VENDOR_NAMES_EXT 0x20F6
#endif

typedef int (*DispatchProc)(ClientPtr);

static const char* vendorNames;
static DispatchProc realGlx;
static DispatchProc realSwappedGlx;

static void replyVendorNames(ClientPtr client) {
  const size_t size = strlen(vendorNames) + 1; // the terminator counts
  xGLXQueryServerStringReply reply = {
      .type = X_Reply,
      .sequenceNumber = client->sequence,
      .length = bytes_to_int32(size),
      .n = size,
  };
  if (client->swapped) {
    swaps(&reply.sequenceNumber);
    swapl(&reply.length);
    swapl(&reply.n);
  }
  WriteToClient(client, sizeof reply, &reply);
  WriteToClient(client, size, vendorNames); // pads with zeros
}

// Whether the request is a well-formed question for the vendor names; GLX itself refuses the rest.
static Bool asksForVendorNames(ClientPtr client) {
  REQUEST(xGLXQueryServerStringReq);
  if (stuff->glxCode != X_GLXQueryServerString) return FALSE;
  if (client->req_len != sz_xGLXQueryServerStringReq / 4) return FALSE;
  CARD32 screen = stuff->screen;
  CARD32 name = stuff->name;
  if (client->swapped) {
    screen = bswap_32(screen);
    name = bswap_32(name);
  }
  return name == GLX_VENDOR_NAMES_EXT && screen < (CARD32)screenInfo.numScreens;
}

static int procGlx(ClientPtr client) {
  if (!asksForVendorNames(client)) return realGlx(client);
  replyVendorNames(client);
  return Success;
}

static int procSwappedGlx(ClientPtr client) {
  if (!asksForVendorNames(client)) return realSwappedGlx(client);
  replyVendorNames(client);
  return Success;
}

void ZolAnnounceVendorNames(const char* names) {
  // The server's own extensions start before those of modules, so GLX is there unless it was
  // switched off.
  const ExtensionEntry* glx = CheckExtension("GLX");
  if (!glx) return;
  vendorNames = names;
  realGlx = ProcVector[glx->base];
  realSwappedGlx = SwappedProcVector[glx->base];
  ProcVector[glx->base] = procGlx;
  SwappedProcVector[glx->base] = procSwappedGlx;
}
