#include "display_probe.h"

#include "run_error.h"
#include "unique_fd.h"

#include <xcb/glx.h>
#include <xcb/xcb.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zol::tools {

namespace {

constexpr std::chrono::seconds kPatience{5};
constexpr uint32_t kGlxVendorNamesExt = 0x20F6;

// The answer as it comes through the pipe.
struct Answer {
  bool connected;
  bool hasZol;
  bool hasGlx;
  char vendorNames[512];
};

struct Free {
  void operator()(void* memory) const { free(memory); }
};
template <typename T>
using Reply = std::unique_ptr<T, Free>;

bool hasExtension(xcb_connection_t* connection, const char* name) {
  const auto cookie = xcb_query_extension(connection, static_cast<uint16_t>(strlen(name)), name);
  const Reply<xcb_query_extension_reply_t> reply(
      xcb_query_extension_reply(connection, cookie, nullptr));
  return reply && reply->present;
}

void readVendorNames(xcb_connection_t* connection, int screen, Answer& answer) {
  const auto cookie =
      xcb_glx_query_server_string(connection, static_cast<uint32_t>(screen), kGlxVendorNamesExt);
  const Reply<xcb_glx_query_server_string_reply_t> reply(
      xcb_glx_query_server_string_reply(connection, cookie, nullptr));
  if (!reply) return;
  const auto length =
      std::min<size_t>(static_cast<size_t>(xcb_glx_query_server_string_string_length(reply.get())),
                       sizeof answer.vendorNames - 1);
  memcpy(answer.vendorNames, xcb_glx_query_server_string_string(reply.get()), length);
}

Answer ask(const char* name) {
  Answer answer{};
  int screen = 0;
  xcb_connection_t* connection = xcb_connect(name, &screen);
  if (!xcb_connection_has_error(connection)) {
    answer.connected = true;
    answer.hasZol = hasExtension(connection, "ZOL-V1");
    answer.hasGlx = hasExtension(connection, "GLX");
    if (answer.hasGlx) readVendorNames(connection, screen, answer);
  }
  xcb_disconnect(connection);
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
  // Small enough to come in one piece.
  return read(fd, &answer, sizeof answer) == sizeof answer;
}

} // namespace

bool DisplayFacts::announces(const std::string& vendor) const {
  std::istringstream names(vendorNames);
  for (std::string name; names >> name;) {
    if (name == vendor) return true;
  }
  return false;
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
  return {answer.hasZol, answer.hasGlx, answer.vendorNames};
}

} // namespace zol::tools
