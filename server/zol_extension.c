#include "zol_extension.h"

#include "zol_proto.h"

#include <dixstruct.h>
#include <extnsionst.h>
#include <misc.h>
#include <string.h>
#include <windowstr.h>

_Static_assert(sizeof(xZolGetWindowInfoReq) == sz_xZolGetWindowInfoReq, "request layout");
_Static_assert(sizeof(xZolGetGLDisplayReq) == sz_xZolGetGLDisplayReq, "request layout");
_Static_assert(sizeof(xZolGetWindowInfoReply) == sz_xZolReply, "reply layout");
_Static_assert(sizeof(xZolGetGLDisplayReply) == sz_xZolReply, "reply layout");

static const char* glDisplay;

static void describeWindow(WindowPtr window, xZolGetWindowInfoReply* reply) {
  reply->status = 1;
  reply->x = window->origin.x - wBorderWidth(window);
  reply->y = window->origin.y - wBorderWidth(window);
  reply->width = window->drawable.width;
  reply->height = window->drawable.height;
  reply->visualId = wVisual(window);
  reply->visible = window->realized ? 1 : 0;
}

static int procGetWindowInfo(ClientPtr client) {
  REQUEST(xZolGetWindowInfoReq);
  REQUEST_SIZE_MATCH(xZolGetWindowInfoReq);

  CARD32 id = stuff->window;
  if (client->swapped) id = bswap_32(id);
  xZolGetWindowInfoReply reply = {.type = X_Reply, .sequenceNumber = client->sequence};
  WindowPtr window;
  // An id that is no window, or not this client's to see, is an ordinary answer, not an error.
  if (dixLookupWindow(&window, id, client, DixGetAttrAccess) == Success)
    describeWindow(window, &reply);

  if (client->swapped) {
    swaps(&reply.sequenceNumber);
    swapl(&reply.x);
    swapl(&reply.y);
    swapl(&reply.width);
    swapl(&reply.height);
    swapl(&reply.visualId);
  }
  WriteToClient(client, sizeof reply, &reply);
  return Success;
}

static int procGetGLDisplay(ClientPtr client) {
  REQUEST_SIZE_MATCH(xZolGetGLDisplayReq);

  const size_t nameLength = glDisplay ? strlen(glDisplay) : 0;
  xZolGetGLDisplayReply reply = {
      .type = X_Reply,
      .status = glDisplay ? 1 : 0,
      .sequenceNumber = client->sequence,
      .length = bytes_to_int32(nameLength),
      .nameLength = nameLength,
  };
  if (client->swapped) {
    swaps(&reply.sequenceNumber);
    swapl(&reply.length);
    swapl(&reply.nameLength);
  }
  WriteToClient(client, sizeof reply, &reply);
  if (nameLength > 0) WriteToClient(client, nameLength, glDisplay); // pads with zeros
  return Success;
}

// Serves clients of either byte order: only single fields have to be turned round.
static int procDispatch(ClientPtr client) {
  REQUEST(xReq);
  switch (stuff->data) {
  case X_ZolGetWindowInfo:
    return procGetWindowInfo(client);
  case X_ZolGetGLDisplay:
    return procGetGLDisplay(client);
  default:
    return BadRequest;
  }
}

void ZolExtensionInit(const char* gl_display) {
  glDisplay = gl_display;
  AddExtension(ZOL_EXTENSION_NAME, 0, 0, procDispatch, procDispatch, NULL, StandardMinorOpcode);
}
