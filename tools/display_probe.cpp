#include "display_probe.h"

#include "display/zol_ext.h"
#include "foundation/heap_text.h"
#include "run_error.h"
#include "unique_fd.h"

#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <xcb/glx.h>
#include <xcb/xcb.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zol::tools {

namespace {

constexpr std::chrono::seconds kPatience{5};
constexpr uint32_t kGlxExtensions = 3;
constexpr uint32_t kGlxVendorNamesExt = 0x20F6;

// The answer as it comes through the pipe, in one piece.
struct Answer {
  bool connected;
  bool hasZol;
  bool hasGlx;
  bool hasLibglvnd;
  bool hasShm;
  bool namesGLDisplay;
  int serverRelease;
  pid_t serverPid;
  char vendorNames[512];
  char serverVendor[256];
  char glDisplay[512];
};
static_assert(sizeof(Answer) <= PIPE_BUF);

struct Free {
  void operator()(void* memory) const { free(memory); }
};
template <typename T>
using Reply = std::unique_ptr<T, Free>;

template <size_t Size>
void copyInto(char (&buffer)[Size], const std::string& text) {
  buffer[text.copy(buffer, Size - 1)] = '\0';
}

bool hasExtension(xcb_connection_t* connection, const char* name) {
  const auto cookie = xcb_query_extension(connection, static_cast<uint16_t>(strlen(name)), name);
  const Reply<xcb_query_extension_reply_t> reply(
      xcb_query_extension_reply(connection, cookie, nullptr));
  return reply && reply->present;
}

std::string glxServerString(xcb_connection_t* connection, int screen, uint32_t name) {
  const auto cookie = xcb_glx_query_server_string(connection, static_cast<uint32_t>(screen), name);
  const Reply<xcb_glx_query_server_string_reply_t> reply(
      xcb_glx_query_server_string_reply(connection, cookie, nullptr));
  if (!reply) return {};
  // The server's count includes the terminator; it is not trusted otherwise.
  const char* const text = xcb_glx_query_server_string_string(reply.get());
  return {text, strnlen(text, std::min<size_t>(reply->str_len, size_t{reply->length} * 4))};
}

bool hasWord(const std::string& list, const std::string& word) {
  std::istringstream words(list);
  for (std::string each; words >> each;) {
    if (each == word) return true;
  }
  return false;
}

// Who listens on the other side of a local socket.
pid_t peerOf(int fd) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

void askForGLDisplay(Display* display, Answer& answer) {
  XExtCodes* const codes = XInitExtension(display, ZOL_EXT_NAME);
  char* name = nullptr;
  answer.namesGLDisplay = codes && XZolExtGetGLDisplay(display, codes, &name) != 0;
  const HeapText owned(name);
  if (name) copyInto(answer.glDisplay, name);
}

Answer ask(const char* name) {
  Answer answer{};
  Display* const display = XOpenDisplay(name);
  if (!display) return answer;
  answer.connected = true;
  answer.serverRelease = VendorRelease(display);
  copyInto(answer.serverVendor, ServerVendor(display));
  answer.serverPid = peerOf(ConnectionNumber(display));
  xcb_connection_t* const connection = XGetXCBConnection(display);
  answer.hasShm = hasExtension(connection, "MIT-SHM");
  answer.hasZol = hasExtension(connection, ZOL_EXT_NAME);
  answer.hasGlx = hasExtension(connection, "GLX");
  if (answer.hasGlx) {
    const int screen = DefaultScreen(display);
    copyInto(answer.vendorNames, glxServerString(connection, screen, kGlxVendorNamesExt));
    answer.hasLibglvnd =
        hasWord(glxServerString(connection, screen, kGlxExtensions), "GLX_EXT_libglvnd");
  }
  if (answer.hasZol) askForGLDisplay(display, answer);
  XCloseDisplay(display);
  return answer;
}

// Waits for the whole answer; false when it does not come in time or never will.
bool receive(int fd, Answer& answer) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    pollfd wanted{fd, POLLIN, 0};
    if (poll(&wanted, 1, static_cast<int>(left.count())) > 0) break;
  }
  return read(fd, &answer, sizeof answer) == sizeof answer;
}

} // namespace

bool DisplayFacts::announces(const std::string& vendor) const {
  return hasWord(vendorNames, vendor);
}

DisplayFacts probeDisplay(const std::string& name) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw RunError(std::string("no pipe: ") + strerror(errno));
  const UniqueFd readEnd(ends[0]);
  UniqueFd writeEnd(ends[1]);
  // A process of its own asks, because a connection to a server that never answers cannot be given
  // up from within.
  const pid_t self = getpid();
  const pid_t asker = fork();
  if (asker < 0) throw RunError(std::string("no process: ") + strerror(errno));
  if (asker == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != self) _exit(1);
    const Answer answer = ask(name.c_str());
    _exit(write(writeEnd.get(), &answer, sizeof answer) == sizeof answer ? 0 : 1);
  }
  writeEnd.reset();
  Answer answer{};
  const bool answered = receive(readEnd.get(), answer);
  kill(asker, SIGKILL);
  while (waitpid(asker, nullptr, 0) < 0 && errno == EINTR) {
  }

  if (!answered) {
    throw RunError("display " + name + " did not answer within " +
                   std::to_string(kPatience.count()) + " seconds");
  }
  if (!answer.connected) throw RunError("cannot connect to display " + name);
  DisplayFacts facts{answer.hasZol,        answer.hasGlx,    answer.vendorNames,
                     answer.hasLibglvnd,   answer.hasShm,    answer.serverVendor,
                     answer.serverRelease, answer.serverPid, {}};
  if (answer.namesGLDisplay) facts.glDisplay = answer.glDisplay;
  return facts;
}

} // namespace zol::tools
