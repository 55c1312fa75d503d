// What a program does with its process: children, handlers, the locale, what it may not do.

#include "endtoend/picture/commands.h"
#include "endtoend/picture/words.h"

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <linux/filter.h>
#include <linux/net.h>
#include <linux/seccomp.h>
#include <memory>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zol::endtoend {
namespace {

// Another program in a child; the first line that it writes.
std::string runProgram(Stage&, std::istringstream& words) {
  std::string command;
  std::getline(words >> std::ws, command);
  const std::unique_ptr<FILE, int (*)(FILE*)> child(popen(command.c_str(), "re"), pclose);
  if (child == nullptr) throw std::runtime_error("no child for " + command);
  std::string line;
  for (int c; (c = std::getc(child.get())) != EOF && c != '\n';)
    line += static_cast<char>(c);
  while (std::getc(child.get()) != EOF) {
  }
  return ok(line);
}

constexpr unsigned kTooLong = 30; // seconds, after which a child that hangs is ended

// Performs steps, each ended by a semicolon, until one fails; whether none did.
bool performAll(Stage& stage, std::istringstream& steps) try {
  for (std::string step; std::getline(steps >> std::ws, step, ';');)
    perform(stage, step);
  return true;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "child: %s\n", failure.what());
  return false;
}

// The same program in a child, without another one in its place; how it ended.
std::string forkAndPerform(Stage& stage, std::istringstream& words) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(kTooLong);
    _exit(performAll(stage, words) ? 0 : 1);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("no child");
  if (WIFSIGNALED(status)) return ok("signal " + std::to_string(WTERMSIG(status)));
  return ok(WEXITSTATUS(status) == 0 ? "all done" : "one failed");
}

int endStatus = 0;

void endInHandler(int) {
  std::exit(endStatus);
}

std::string endOnSignal(Stage&, std::istringstream& words) {
  endStatus = next<int>(words);
  if (std::signal(SIGUSR1, endInHandler) == SIG_ERR) throw std::runtime_error("no handler");
  return ok();
}

int endOnXError(Display*, XErrorEvent*) {
  std::exit(endStatus);
}

std::string endOnError(Stage&, std::istringstream& words) {
  endStatus = next<int>(words);
  XSetErrorHandler(endOnXError);
  return ok();
}

// An X error of the program's own.
std::string causeXError(Stage& stage, std::istringstream&) {
  XMapWindow(stage.display(), None);
  XSync(stage.display(), False);
  return ok();
}

int otherHandler(Display*, XErrorEvent*) {
  return 0;
}

// Whether the handler of X errors is still the one that the program set at its start.
std::string errorHandler(Stage&, std::istringstream&) {
  static const XErrorHandler first = [] {
    const XErrorHandler handler = XSetErrorHandler(otherHandler);
    XSetErrorHandler(handler);
    return handler;
  }();
  const XErrorHandler now = XSetErrorHandler(otherHandler);
  XSetErrorHandler(now);
  return ok(now == first ? "mine" : "another");
}

std::string setLocale(Stage&, std::istringstream& words) {
  const auto name = next<std::string>(words);
  if (std::setlocale(LC_ALL, name.c_str()) == nullptr) throw std::runtime_error("no such locale");
  return ok();
}

// One half as the program's locale writes it.
std::string half(Stage&, std::istringstream&) {
  char text[16];
  std::snprintf(text, sizeof text, "%.1f", 0.5);
  return ok(text);
}

// From now on the process opens no connection any more, as in a sandbox that is closed late.
std::string refuseConnections(Stage&, std::istringstream&) {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
#ifdef SYS_socketcall // connect is one of its functions, for 32-bit programs
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_socketcall, 0, 4),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_CONNECT, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EACCES),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
#endif
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_connect, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EACCES),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog program{static_cast<unsigned short>(std::size(rules)), rules};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &program) != 0) {
    throw std::runtime_error("no filter of system calls");
  }
  if (Display* const display = XOpenDisplay(nullptr)) {
    XCloseDisplay(display);
    throw std::runtime_error("connections are not refused");
  }
  return ok();
}

} // namespace

const Commands& processCommands() {
  static const Commands commands = {
      {"run", runProgram},                       // COMMAND: the first line of its output
      {"fork-perform", forkAndPerform},          // STEP; STEP; ...: all done|one failed|signal N
      {"exit-on-signal", endOnSignal},           // STATUS, when SIGUSR1 comes
      {"exit-on-error", endOnError},             // STATUS
      {"x-error", causeXError},                  //
      {"error-handler", errorHandler},           // mine|another
      {"locale", setLocale},                     // NAME
      {"half", half},                            //
      {"refuse-connections", refuseConnections}, //
  };
  return commands;
}

} // namespace zol::endtoend
