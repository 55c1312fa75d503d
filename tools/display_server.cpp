#include "display_server.h"

#include "argv.h"
#include "unique_fd.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

namespace zol::tools {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kGrace = std::chrono::seconds(10);
constexpr auto kPollInterval = std::chrono::milliseconds(2);

struct Pipe {
  UniqueFd read;
  UniqueFd write;
};

// Both ends are closed in programs that are started meanwhile.
std::optional<Pipe> makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
  return Pipe{UniqueFd(ends[0]), UniqueFd(ends[1])};
}

// Runs in the forked child, where only async-signal-safe calls are allowed. Does not return.
[[noreturn]] void becomeServer(char* const* arguments, pid_t parent, int displayFd, int failureFd) {
  // A group of its own keeps the terminal's Ctrl-C for the programs on the display.
  setpgid(0, 0);
  // The server goes with the thread that started it, however that ends; on SIGTERM it still
  // removes its socket and lock file.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) _exit(127);

  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  fcntl(displayFd, F_SETFD, 0);
  execvp(arguments[0], arguments);
  const int failure = errno;
  [[maybe_unused]] const ssize_t written = write(failureFd, &failure, sizeof failure);
  _exit(127);
}

// The errno of a failed exec, 0 once the program runs.
int execFailure(int fd) {
  int failure = 0;
  ssize_t count;
  do {
    count = read(fd, &failure, sizeof failure);
  } while (count < 0 && errno == EINTR);
  return count == sizeof failure ? failure : 0;
}

enum class Wait { number, ended, tooLate };

// Reads the line with the display number.
Wait readDisplayNumber(int fd, Clock::time_point deadline, std::string& line) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return Wait::tooLate;
    pollfd wanted{fd, POLLIN, 0};
    if (poll(&wanted, 1, static_cast<int>(left.count())) <= 0) continue;
    char buffer[16];
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return Wait::ended;
    line.append(buffer, static_cast<size_t>(count));
    if (const size_t end = line.find('\n'); end != std::string::npos) {
      line.resize(end);
      return Wait::number;
    }
  }
}

// True once the child is reaped (or was never ours to reap).
bool reap(pid_t pid, int* status) {
  pid_t done;
  do {
    done = waitpid(pid, status, WNOHANG);
  } while (done < 0 && errno == EINTR);
  return done != 0;
}

bool reapUntil(pid_t pid, Clock::time_point deadline, int* status) {
  while (!reap(pid, status)) {
    if (Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kPollInterval);
  }
  return true;
}

// Ends the server and reaps it; its status as waitpid gives it.
int endServer(pid_t pid) {
  int status = 0;
  kill(pid, SIGTERM);
  if (reapUntil(pid, Clock::now() + kGrace, &status)) return status;
  kill(-pid, SIGKILL);
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

std::string describeEnd(int status) {
  if (WIFSIGNALED(status)) return std::string("was killed by ") + strsignal(WTERMSIG(status));
  return "ended with status " + std::to_string(WEXITSTATUS(status));
}

bool isNumber(const std::string& text) {
  unsigned value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, value);
  return failure == std::errc() && stop == end;
}

// What tells this server's socket from a later one of the same name; all zeros for none.
DisplayServer::SocketId socketId(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return {};
  return {static_cast<long long>(info.st_ino), info.st_ctim.tv_sec, info.st_ctim.tv_nsec};
}

std::string socketPath(const std::string& display) {
  return "/tmp/.X11-unix/X" + display.substr(1);
}

} // namespace

DisplayServer::DisplayServer(pid_t pid, std::string name)
    : pid_(pid), name_(std::move(name)), socket_(socketId(socketPath(name_))) {}

DisplayServer::~DisplayServer() {
  stop();
}

std::unique_ptr<DisplayServer> DisplayServer::start(std::vector<std::string> command,
                                                    std::string* error,
                                                    std::chrono::seconds patience) {
  const Clock::time_point deadline = Clock::now() + patience;
  if (command.empty()) {
    *error = "no command for the display server";
    return nullptr;
  }
  const std::string program = command.front();
  std::optional<Pipe> number = makePipe();
  std::optional<Pipe> failure = makePipe();
  if (!number || !failure) {
    *error = program + ": no pipe to it could be made: " + strerror(errno);
    return nullptr;
  }
  command.insert(command.end(), {"-displayfd", std::to_string(number->write.get())});
  const std::vector<char*> arguments = argvOf(command);

  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid == 0) {
    becomeServer(arguments.data(), parent, number->write.get(), failure->write.get());
  }
  if (pid < 0) {
    *error = program + ": could not be started: " + strerror(errno);
    return nullptr;
  }
  // Both sides set the group, so that it stands whichever runs first.
  setpgid(pid, pid);
  number->write.reset();
  failure->write.reset();
  if (const int reason = execFailure(failure->read.get())) {
    endServer(pid);
    *error = program + ": could not be started: " + strerror(reason);
    return nullptr;
  }

  std::string line;
  switch (readDisplayNumber(number->read.get(), deadline, line)) {
  case Wait::number:
    if (isNumber(line)) return std::unique_ptr<DisplayServer>(new DisplayServer(pid, ":" + line));
    endServer(pid);
    *error = program + ": \"" + line + "\" is no display number";
    return nullptr;
  case Wait::ended: {
    int status = 0;
    if (!reapUntil(pid, Clock::now() + kGrace, &status)) status = endServer(pid);
    *error = program + ": " + describeEnd(status) + " before its display was ready";
    return nullptr;
  }
  case Wait::tooLate:
    break;
  }
  endServer(pid);
  *error = program + ": its display was not ready within " + std::to_string(patience.count()) +
           " seconds";
  return nullptr;
}

void DisplayServer::stop() {
  if (pid_ == 0) return;
  endServer(std::exchange(pid_, 0));
  // A server that was killed leaves its socket. (It has no lock file when it picks its number.)
  const std::string path = socketPath(name_);
  if (socket_ != SocketId{} && socketId(path) == socket_) unlink(path.c_str());
}

} // namespace zol::tools
