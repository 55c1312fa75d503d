#include "display/zol_ext.h"

#include <X11/Xlibint.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

enum Minor : std::uint8_t { kGetWindowInfo = 0, kGetGLDisplay = 1 };

struct WindowInfoRequest {
  std::uint8_t majorOpcode;
  std::uint8_t minorOpcode;
  std::uint16_t length;
  std::uint32_t window;
  std::uint32_t unused;
};
static_assert(sizeof(WindowInfoRequest) == 12);

struct WindowInfoReply {
  std::uint8_t type;
  std::uint8_t status;
  std::uint16_t sequence;
  std::uint32_t length;
  std::int32_t x;
  std::int32_t y;
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t visual;
  std::uint8_t visible;
  std::uint8_t unused[3];
};
static_assert(sizeof(WindowInfoReply) == 32 && offsetof(WindowInfoReply, visible) == 28);

struct GLDisplayRequest {
  std::uint8_t majorOpcode;
  std::uint8_t minorOpcode;
  std::uint16_t length;
};
static_assert(sizeof(GLDisplayRequest) == 4);

struct GLDisplayReply {
  std::uint8_t type;
  std::uint8_t status;
  std::uint16_t sequence;
  std::uint32_t length;     // of the padded name, in units of 4 bytes
  std::uint32_t nameLength; // in bytes, without terminator
  std::uint8_t unused[20];
};
static_assert(sizeof(GLDisplayReply) == 32);

// One request and its reply: the connection is locked from construction to destruction.
class Exchange {
public:
  explicit Exchange(Display* display) : dpy(display) { LockDisplay(dpy); }
  ~Exchange() {
    UnlockDisplay(dpy);
    SyncHandle();
  }
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  template <class Request>
  Request* begin(Minor minor, const XExtCodes* codes) {
    auto* const request = static_cast<Request*>(_XGetRequest(dpy, minor, sizeof(Request)));
    request->majorOpcode = static_cast<std::uint8_t>(codes->major_opcode);
    request->minorOpcode = minor;
    return request;
  }

  template <class Reply>
  bool finish(Reply* reply) {
    return _XReply(dpy, reinterpret_cast<xReply*>(reply), 0, xFalse) != 0;
  }

  // Data that the server sent and nobody wants must not be taken for the next reply.
  void discard(std::uint32_t words) {
    if (words != 0) _XEatDataWords(dpy, words);
  }

  void read(char* data, long bytes) { _XReadPad(dpy, data, bytes); }

private:
  Display* const dpy; // the name that Xlib's macros use
};

} // namespace

int XZolExtQueryExtension(Display* dpy, Bool* present) {
  int opcode = 0;
  int event = 0;
  int error = 0;
  *present = XQueryExtension(dpy, ZOL_EXT_NAME, &opcode, &event, &error) != 0 ? True : False;
  return *present;
}

int XZolExtGetWindowInfo(Display* dpy, XExtCodes* codes, Window window, Bool* visible,
                         VisualID* visual, int rect[4]) {
  if (visual == nullptr || rect == nullptr) return 0;

  Exchange exchange(dpy);
  auto* const request = exchange.begin<WindowInfoRequest>(kGetWindowInfo, codes);
  request->window = static_cast<std::uint32_t>(window);
  request->unused = 0;

  WindowInfoReply reply;
  if (!exchange.finish(&reply)) return 0;
  exchange.discard(reply.length);
  if (reply.status == 0) return 0;
  rect[0] = reply.x;
  rect[1] = reply.y;
  rect[2] = static_cast<int>(reply.width);
  rect[3] = static_cast<int>(reply.height);
  *visual = reply.visual;
  if (visible != nullptr) *visible = reply.visible != 0 ? True : False;
  return reply.status;
}

int XZolExtGetGLDisplay(Display* dpy, XExtCodes* codes, char** name) {
  if (name == nullptr) return 0;

  Exchange exchange(dpy);
  exchange.begin<GLDisplayRequest>(kGetGLDisplay, codes);

  GLDisplayReply reply;
  if (!exchange.finish(&reply)) return 0;
  const std::uint64_t padded = (std::uint64_t{reply.nameLength} + 3) / 4;
  if (padded > reply.length) { // a name longer than what was sent
    exchange.discard(reply.length);
    return 0;
  }
  if (reply.nameLength != 0) {
    char* const buffer = static_cast<char*>(std::malloc(std::size_t{reply.nameLength} + 1));
    if (buffer == nullptr) { // the pending data is deliberately not read
      errno = ENOMEM;
      return 0;
    }
    exchange.read(buffer, static_cast<long>(reply.nameLength));
    buffer[reply.nameLength] = '\0';
    *name = buffer;
  }
  exchange.discard(reply.length - static_cast<std::uint32_t>(padded));
  return reply.status;
}
