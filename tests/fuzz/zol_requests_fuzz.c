/* A client that sends what it likes to the X server's module: requests of any length and content,
   in either byte order, to the extension itself and to GLX, for which the module answers one
   question. The X server around it is this file. */

#include "server/vendor_names.h"
#include "server/zol_extension.h"
#include "server/zol_proto.h"

#include <GL/glxproto.h>

#include <dixstruct.h>
#include <extnsionst.h>
#include <scrnintstr.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windowstr.h>

#define CHECK(condition)                                                                           \
  do {                                                                                             \
    if (!(condition)) {                                                                            \
      fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);               \
      abort();                                                                                     \
    }                                                                                              \
  } while (0)

enum { kGlxBase = 140, kZolBase = 141, kWindow = 0x400001, kMostReply = 4096 };

/* The X server's functions have parameters that are of no use here. */
#pragma GCC diagnostic ignored "-Wunused-parameter"

typedef int (*DispatchProc)(ClientPtr);

/* --- what the module uses of the X server --------------------------------------------------------
 */

ScreenInfo screenInfo = {.numScreens = 2};
int (*ProcVector[256])(ClientPtr);
int (*SwappedProcVector[256])(ClientPtr);

static WindowRec window;
static WindowOptRec windowOptions;
static unsigned char reply[kMostReply];
static size_t replySize;
static int toRealGlx;

ExtensionEntry* AddExtension(const char* name, int events, int errors, DispatchProc proc,
                             DispatchProc swapped, void (*closeDown)(ExtensionEntry*),
                             unsigned short (*minorOpcode)(ClientPtr)) {
  static ExtensionEntry entry = {.base = kZolBase};
  CHECK(strcmp(name, ZOL_EXTENSION_NAME) == 0 && events == 0 && errors == 0);
  ProcVector[kZolBase] = proc;
  SwappedProcVector[kZolBase] = swapped;
  return &entry;
}

ExtensionEntry* CheckExtension(const char* name) {
  static ExtensionEntry entry = {.base = kGlxBase};
  return strcmp(name, "GLX") == 0 ? &entry : NULL;
}

unsigned short StandardMinorOpcode(ClientPtr client) {
  return ((xReq*)client->requestBuffer)->data;
}

WindowPtr FindWindowWithOptional(WindowPtr of) {
  return of;
}

int dixLookupWindow(WindowPtr* found, XID id, ClientPtr client, Mask access) {
  if (id != kWindow) return BadWindow;
  *found = &window;
  return Success;
}

int WriteToClient(ClientPtr client, int size, const void* data) {
  CHECK(size > 0 && replySize + (size_t)size + 3 < kMostReply);
  memcpy(reply + replySize, data, (size_t)size); /* reads all of it */
  replySize += ((size_t)size + 3) / 4 * 4;
  return size;
}

static int realGlx(ClientPtr client) {
  ++toRealGlx;
  return Success;
}

/* --- one client
 * ----------------------------------------------------------------------------------- */

static CARD32 inOrder(ClientPtr client, const unsigned char* field) {
  CARD32 value;
  memcpy(&value, field, sizeof value);
  return client->swapped ? bswap_32(value) : value;
}

/* What was sent must be what a client reads by the reply's own length. */
static void checkReply(ClientPtr client) {
  CHECK(replySize >= 32 && reply[0] == X_Reply);
  CHECK(replySize == 32 + 4 * (size_t)inOrder(client, reply + 4));
  CARD16 sequence;
  memcpy(&sequence, reply + 2, sizeof sequence);
  CHECK((client->swapped ? bswap_16(sequence) : sequence) == client->sequence);
}

static void send(ClientPtr client, unsigned char base, const unsigned char* bytes, size_t words) {
  /* A request is never shorter than its head, and its memory is no longer than it says. */
  unsigned char* const request = malloc(words * 4);
  memcpy(request, bytes, words * 4);
  request[0] = base;
  client->requestBuffer = request;
  client->req_len = (CARD32)words;
  ++client->sequence;
  replySize = 0;
  toRealGlx = 0;
  const int result = (client->swapped ? SwappedProcVector : ProcVector)[base](client);
  if (base == kGlxBase) {
    CHECK(result == Success && (toRealGlx == 1) == (replySize == 0));
  } else {
    CHECK(result == Success || result == BadRequest || result == BadLength);
    CHECK((result == Success) == (replySize > 0));
    CHECK(request[1] <= X_ZolGetGLDisplay || result == BadRequest);
  }
  if (replySize > 0) checkReply(client);
  free(request);
}

static void startServer(void) {
  static int started;
  if (started++) return;
  ProcVector[kGlxBase] = SwappedProcVector[kGlxBase] = realGlx;
  windowOptions.visual = 0x21;
  window.optional = &windowOptions;
  window.drawable.width = 300;
  window.drawable.height = 200;
  window.realized = 1;
  ZolExtensionInit(":0.0");
  ZolAnnounceVendorNames("zol mesa");
}

int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  startServer();
  if (size == 0) return 0;
  ClientRec client = {.swapped = data[0] & 1};
  ++data;
  --size;
  /* A byte tells which extension and how many words of what follows are the request. */
  while (size >= 5) {
    const unsigned char base = (data[0] & 0x80) ? kGlxBase : kZolBase;
    size_t words = (size_t)(data[0] & 0x0f) + 1;
    if (words > (size - 1) / 4) words = (size - 1) / 4;
    send(&client, base, data + 1, words);
    data += 1 + words * 4;
    size -= 1 + words * 4;
  }
  return 0;
}
