#include "xorg_process.h"

#include "authority.h"
#include "server_output.h"
#include "tools/argv.h"
#include "tools/locations.h"
#include "tools/unique_fd.h"
#include "xorg_config.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zol::server {

using tools::UniqueFd;

namespace {

// The server itself: the wrapper that distributions put around it keeps users without a console
// out, and this server needs none.
constexpr std::array kXorgPrograms = {"/usr/lib/xorg/Xorg", "/usr/libexec/Xorg", "/usr/bin/Xorg"};

class StartError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

[[noreturn]] void failWithErrno(const std::string& what) {
  throw StartError(what + ": " + strerror(errno));
}

struct Pipe {
  UniqueFd read;
  UniqueFd write;

  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) failWithErrno("cannot make a pipe");
    read = UniqueFd(ends[0]);
    write = UniqueFd(ends[1]);
    fcntl(read.get(), F_SETFL, O_NONBLOCK);
  }
};

std::string findXorg() {
  for (const char* program : kXorgPrograms) {
    if (access(program, X_OK) == 0) return program;
  }
  throw StartError("the X.Org server is not installed (Debian package xserver-xorg-core)");
}

// The configuration as a file that has no name and goes away by itself.
UniqueFd makeConfigFile(const std::string& text) {
  UniqueFd file(memfd_create("xorg.conf", MFD_CLOEXEC));
  if (!file) failWithErrno("cannot make a file for the configuration");
  if (write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    failWithErrno("cannot write the configuration");
  }
  return file;
}

std::string fdPath(const UniqueFd& fd) {
  return "/proc/self/fd/" + std::to_string(fd.get());
}

// What the server inherits; the numbers are the same in both processes.
struct Channels {
  UniqueFd config; // none when the user brings one
  Pipe number;
  Pipe errors;
  Pipe log; // unused when the user names a log file
};

std::vector<std::string> xorgCommand(const XzolOptions& options, const Channels& channels) {
  std::vector<std::string> command = {findXorg()};
  if (options.display) command.push_back(*options.display);
  std::string modulePath = tools::serverModuleFolder();
  modulePath += ",";
  modulePath += options.modulePath.value_or(ZOL_XORG_MODULE_DIR);
  command.insert(command.end(), {
                                    "-config",
                                    options.config ? *options.config : fdPath(channels.config),
                                    // The machine's own settings are for another screen.
                                    "-configdir",
                                    "/nonexistent",
                                    "-modulepath",
                                    modulePath,
                                    "-logfile",
                                    options.logFile ? *options.logFile : fdPath(channels.log.write),
                                    "-noreset",
                                    "-nolisten",
                                    "tcp",
                                    "-novtswitch",
                                    "-sharevts",
                                });
  // A server that is to tell its number takes no lock file, so it is asked only when need be.
  if (options.displayFd || !options.display) {
    command.insert(command.end(), {"-displayfd", std::to_string(channels.number.write.get())});
  }
  if (options.authority) command.insert(command.end(), {"-auth", *options.authority});
  command.insert(command.end(), options.xorgOptions.begin(), options.xorgOptions.end());
  return command;
}

// Blocks the signals that are read from the descriptor instead, for as long as it lives.
class SignalInbox {
public:
  SignalInbox() {
    sigset_t wanted;
    sigemptyset(&wanted);
    for (int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGUSR1})
      sigaddset(&wanted, signal);
    sigprocmask(SIG_BLOCK, &wanted, &before_);
    fd_ = UniqueFd(signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!fd_) failWithErrno("cannot watch for signals");
  }
  ~SignalInbox() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SignalInbox(const SignalInbox&) = delete;
  SignalInbox& operator=(const SignalInbox&) = delete;

  int fd() const { return fd_.get(); }
  const sigset_t& before() const { return before_; }

  // The next signal; 0 when there is none.
  int take() const {
    signalfd_siginfo info;
    return read(fd_.get(), &info, sizeof info) == sizeof info ? static_cast<int>(info.ssi_signo)
                                                              : 0;
  }

private:
  sigset_t before_;
  UniqueFd fd_;
};

// Runs in the forked child; does not return.
[[noreturn]] void becomeXorg(std::vector<std::string> command, const Channels& channels,
                             pid_t parent, const sigset_t& signals) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) _exit(1);
  signal(SIGPIPE, SIG_DFL);
  signal(SIGUSR1, SIG_IGN); // asks the server to send its parent one when it is ready
  sigprocmask(SIG_SETMASK, &signals, nullptr);
  for (const UniqueFd* fd : {&channels.config, &channels.number.write, &channels.log.write}) {
    if (*fd) fcntl(fd->get(), F_SETFD, 0);
  }
  dup2(channels.errors.write.get(), STDERR_FILENO);
  const std::vector<char*> arguments = tools::argvOf(command);
  execv(arguments[0], arguments.data());
  dprintf(STDERR_FILENO, "%s: %s\n", arguments[0], strerror(errno));
  _exit(127);
}

// The running server, from the fork to its end.
class Supervisor {
public:
  Supervisor(const XzolOptions& options, bool parentAwaitsSignal)
      : options_(options), parentAwaitsSignal_(parentAwaitsSignal) {
    if (!options.config) {
      channels_.config =
          makeConfigFile(xorgConfig(options.geometry, options.glDisplay, options.vendorNames));
    }
    std::vector<std::string> command = xorgCommand(options, channels_);
    const pid_t self = getpid();
    pid_ = fork();
    if (pid_ < 0) failWithErrno("cannot start " + command[0]);
    if (pid_ == 0) becomeXorg(std::move(command), channels_, self, signals_.before());
    channels_.config.reset();
    channels_.number.write.reset();
    channels_.errors.write.reset();
    channels_.log.write.reset();
  }

  int run() {
    while (!ended()) {
      waitForNews();
      readNumber();
      drain(channels_.errors.read, errors_);
      drain(channels_.log.read, log_);
      relaySignals();
    }
    drain(channels_.errors.read, errors_);
    drain(channels_.log.read, log_);
    return conclude();
  }

private:
  bool ended() { return waitpid(pid_, &status_, WNOHANG) != 0; }

  void waitForNews() {
    std::array<pollfd, 4> sources = {{
        {signals_.fd(), POLLIN, 0},
        {channels_.number.read.get(), POLLIN, 0},
        {channels_.errors.read.get(), POLLIN, 0},
        {channels_.log.read.get(), POLLIN, 0},
    }};
    poll(sources.data(), sources.size(), -1);
  }

  // Reads what there is, and closes the descriptor at its end.
  static void drain(UniqueFd& fd, Tail& tail) {
    char buffer[4096];
    while (fd) {
      const ssize_t count = read(fd.get(), buffer, sizeof buffer);
      if (count > 0) {
        tail.append(buffer, static_cast<size_t>(count));
      } else if (count == 0 || errno != EINTR) {
        if (count == 0) fd.reset();
        return;
      }
    }
  }

  void readNumber() {
    drain(channels_.number.read, number_);
    const size_t end = number_.text().find('\n');
    if (announced_ || end == std::string::npos) return;
    announced_ = true;
    announce(number_.text().substr(0, end));
  }

  void announce(const std::string& number) {
    if (options_.displayFd) {
      dprintf(*options_.displayFd, "%s\n", number.c_str());
      close(*options_.displayFd);
    } else {
      printf(":%s\n", number.c_str());
      fflush(stdout);
    }
  }

  void relaySignals() {
    while (const int signal = signals_.take()) {
      if (signal == SIGCHLD) continue;
      if (signal == SIGUSR1) {
        ready_ = true;
        if (parentAwaitsSignal_) kill(getppid(), SIGUSR1);
        continue;
      }
      if (signal != SIGHUP) askedToEnd_ = true;
      if (pid_ > 0) kill(pid_, signal);
    }
  }

  // A server that is killed, be it by SIGTERM in its first moments, leaves the files of the display
  // it was told to take. Its lock file says that they are its own.
  void removeDisplayFiles() const {
    const std::string number = options_.display->substr(1);
    const std::string lock = "/tmp/.X" + number + "-lock";
    pid_t owner = 0;
    if (!(std::ifstream(lock) >> owner) || owner != pid_) return;
    unlink(("/tmp/.X11-unix/X" + number).c_str());
    unlink(("/tmp/.tX" + number + "-lock").c_str()); // the lock file's first name
    unlink(lock.c_str());
  }

  // Tells the user what is worth telling; the exit status.
  int conclude() {
    const bool killed = WIFSIGNALED(status_);
    if (killed && options_.display) removeDisplayFiles();
    const int status = killed ? 128 + WTERMSIG(status_) : WEXITSTATUS(status_);
    if (askedToEnd_) return status;
    if (status == 0) {
      // It ended before it was a server: it was only asked something (-version, -help).
      if (!ready_) fputs(errors_.text().c_str(), stderr);
      return status;
    }
    fprintf(stderr, "Xzol: the X server %s %s%s\n", killed ? "was killed by" : "ended with status",
            killed ? strsignal(WTERMSIG(status_)) : std::to_string(status).c_str(),
            errors_.text().empty() && log_.text().empty() ? "" : ":");
    fputs(failureReport(errors_.text(), log_.text()).c_str(), stderr);
    return status;
  }

  const XzolOptions& options_;
  const bool parentAwaitsSignal_;
  SignalInbox signals_;
  Channels channels_;
  pid_t pid_ = 0;
  int status_ = 0;
  bool ready_ = false;
  bool announced_ = false;
  bool askedToEnd_ = false;
  Tail number_;
  Tail errors_;
  Tail log_;
};

} // namespace

int runXorg(const XzolOptions& options) {
  signal(SIGCHLD, SIG_DFL); // inherited as ignored, it would keep the server's end from us
  signal(SIGPIPE, SIG_IGN); // whoever asked for the display number may be gone
  // Programs that start X servers ignore SIGUSR1 to be sent one when the server is ready.
  const bool parentAwaitsSignal = signal(SIGUSR1, SIG_DFL) == SIG_IGN;
  if (options.displayFd) fcntl(*options.displayFd, F_SETFD, FD_CLOEXEC);
  try {
    if (options.authority) prepareAuthority(*options.authority);
    return Supervisor(options, parentAwaitsSignal).run();
  } catch (const std::runtime_error& error) {
    fprintf(stderr, "Xzol: %s\n", error.what());
    return 1;
  }
}

} // namespace zol::server
