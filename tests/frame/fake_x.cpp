#include "frame/fake_x.h"

#include "visual/recording.h"

#include <X11/extensions/XShm.h>

#include <cstdlib>
#include <cstring>
#include <sys/shm.h>

using recording::call;

namespace {

fake::Server server;
XErrorHandler handler;
int pendingError;
const char* lastRequest = "";

int destroyImage(XImage* image) {
  call("XDestroyImage %s", image->obdata ? "shared" : "plain");
  if (!image->obdata) std::free(image->data);
  std::free(image);
  --server.liveImages;
  return 1;
}

XImage* makeImage(int width, int height, int depth, char* data, char* obdata) {
  if (!server.makesImages) return nullptr;
  auto* image = static_cast<XImage*>(std::calloc(1, sizeof(XImage)));
  image->width = width;
  image->height = height;
  image->depth = depth;
  image->bits_per_pixel = server.bitsPerPixel;
  image->bytes_per_line = width * server.bitsPerPixel / 8;
  image->data = data;
  image->obdata = obdata;
  image->f.destroy_image = destroyImage;
  ++server.liveImages;
  return image;
}

void keepPainted(const XImage* image) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(image->data);
  server.painted.assign(bytes, bytes + image->bytes_per_line * image->height);
}

} // namespace

namespace fake {

char connection;
Display* const display = reinterpret_cast<Display*>(&connection);

int applicationErrorHandler(Display*, XErrorEvent* event) {
  call("application's error handler %d", event->error_code);
  return 0;
}

Server& resetServer() {
  server = Server{};
  handler = applicationErrorHandler;
  pendingError = 0;
  recording::clear();
  return server;
}

XErrorHandler installedErrorHandler() {
  return handler;
}

} // namespace fake

extern "C" {

GC XCreateGC(Display*, Drawable drawable, unsigned long mask, XGCValues*) {
  call("XCreateGC 0x%lx %lu", drawable, mask);
  return server.makesGC ? reinterpret_cast<GC>(&server) : nullptr;
}

int XFreeGC(Display*, GC) {
  call("XFreeGC");
  return 1;
}

XVisualInfo* XGetVisualInfo(Display*, long mask, XVisualInfo* wanted, int* count) {
  call("XGetVisualInfo 0x%lx 0x%lx", mask, wanted->visualid);
  *count = server.visuals;
  if (!server.visuals) return nullptr;
  auto* infos = static_cast<XVisualInfo*>(std::calloc(server.visuals, sizeof(XVisualInfo)));
  infos->visualid = wanted->visualid;
  infos->depth = server.depth;
  return infos;
}

int XFree(void* memory) {
  std::free(memory);
  return 1;
}

XErrorHandler XSetErrorHandler(XErrorHandler newHandler) {
  call("XSetErrorHandler %s",
       newHandler == fake::applicationErrorHandler ? "application's" : "library's");
  const XErrorHandler previous = handler;
  handler = newHandler;
  return previous;
}

int XGetErrorText(Display*, int code, char* text, int size) {
  call("XGetErrorText %d into %d", code, size);
  strncpy(text, "BadAccess (as it were)", size - 1);
  return 0;
}

int XSync(Display*, int discard) {
  call("XSync %d", discard);
  int code = pendingError;
  pendingError = 0;
  if (!code && !strcmp(lastRequest, "XCreateImage")) code = server.plainError;
  if (code) {
    XErrorEvent event = {};
    event.error_code = static_cast<unsigned char>(code);
    handler(fake::display, &event);
  }
  return 1;
}

int XCloseDisplay(Display*) {
  call("XCloseDisplay");
  return 0;
}

int XFlush(Display*) {
  call("XFlush");
  return 1;
}

XImage* XCreateImage(Display*, Visual*, unsigned int depth, int format, int offset, char* data,
                     unsigned int width, unsigned int height, int pad, int bytesPerLine) {
  lastRequest = "XCreateImage";
  call("XCreateImage depth %u format %d offset %d %ux%u pad %d bytes per line %d", depth, format,
       offset, width, height, pad, bytesPerLine);
  return makeImage(static_cast<int>(width), static_cast<int>(height), static_cast<int>(depth), data,
                   nullptr);
}

int XInitImage(XImage*) {
  call("XInitImage");
  return 1;
}

int XPutImage(Display*, Drawable drawable, GC gc, XImage* image, int srcX, int srcY, int x, int y,
              unsigned int width, unsigned int height) {
  call("XPutImage 0x%lx %s %d %d %d %d %ux%u", drawable, gc ? "gc" : "no gc", srcX, srcY, x, y,
       width, height);
  keepPainted(image);
  return 0;
}

int XShmQueryExtension(Display*) {
  call("XShmQueryExtension");
  return server.hasShm;
}

XImage* XShmCreateImage(Display*, Visual*, unsigned int depth, int format, char* data,
                        XShmSegmentInfo* info, unsigned int width, unsigned int height) {
  lastRequest = "XShmCreateImage";
  call("XShmCreateImage depth %u format %d %ux%u", depth, format, width, height);
  return makeImage(static_cast<int>(width), static_cast<int>(height), static_cast<int>(depth), data,
                   reinterpret_cast<char*>(info));
}

int XShmAttach(Display*, XShmSegmentInfo* info) {
  call("XShmAttach %d read-only %d", info->shmid, info->readOnly);
  pendingError = server.attachError;
  return server.attaches;
}

int XShmDetach(Display*, XShmSegmentInfo*) {
  call("XShmDetach");
  return 1;
}

int XShmPutImage(Display*, Drawable drawable, GC gc, XImage* image, int srcX, int srcY, int x,
                 int y, unsigned int width, unsigned int height, int sendEvent) {
  call("XShmPutImage 0x%lx %s %d %d %d %d %ux%u event %d", drawable, gc ? "gc" : "no gc", srcX,
       srcY, x, y, width, height, sendEvent);
  if (server.puts) {
    keepPainted(image);
    if (server.putError) pendingError = server.putError;
  }
  return server.puts;
}

int shmget(key_t key, size_t size, int flags) noexcept {
  call("shmget %d %zu 0%o", key, size, flags);
  return server.makesSegments ? 7 : -1;
}

void* shmat(int id, const void*, int flags) noexcept {
  call("shmat %d %d", id, flags);
  if (!server.mapsSegments) return reinterpret_cast<void*>(-1);
  ++server.mappedSegments;
  return std::calloc(1, 1 << 16);
}

int shmdt(const void* address) noexcept {
  const bool failed = address == reinterpret_cast<void*>(-1);
  call("shmdt%s", failed ? " of nothing" : "");
  if (failed) return -1;
  --server.mappedSegments;
  std::free(const_cast<void*>(address));
  return 0;
}

int shmctl(int id, int command, struct shmid_ds* state) noexcept {
  if (command == IPC_STAT) {
    state->shm_perm.mode = 0777;
    return 0;
  }
  if (command == IPC_SET)
    call("shmctl %d IPC_SET 0%o", id, state->shm_perm.mode);
  else
    call("shmctl %d %s", id, command == IPC_RMID ? "IPC_RMID" : "?");
  return 0;
}

} // extern "C"
