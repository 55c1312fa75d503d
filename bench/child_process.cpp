#include "child_process.h"

#include "tools/unique_fd.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>

namespace zol::bench {

namespace {

constexpr auto kGrace = std::chrono::seconds(5);
constexpr auto kPollInterval = std::chrono::milliseconds(5);

std::runtime_error cannotRun(const std::string& program, int reason) {
  return std::runtime_error("cannot run '" + program + "': " + strerror(reason));
}

// Runs in the forked child, where only async-signal-safe calls are allowed.
[[noreturn]] void become(char* const* arguments, pid_t parent, int failureFd) {
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) _exit(127);
  execvp(arguments[0], arguments);
  const int failure = errno;
  [[maybe_unused]] const ssize_t written = write(failureFd, &failure, sizeof failure);
  _exit(127);
}

std::string describe(int status) {
  if (WIFEXITED(status)) return "status " + std::to_string(WEXITSTATUS(status));
  const int signal = WTERMSIG(status);
  return "signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command)
    arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw cannotRun(command[0], errno);
  const tools::UniqueFd failureRead(ends[0]);
  tools::UniqueFd failureWrite(ends[1]);
  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid < 0) throw cannotRun(command[0], errno);
  if (pid == 0) become(arguments.data(), parent, failureWrite.get());
  failureWrite.reset();

  int failure = 0;
  ssize_t count;
  do {
    count = read(failureRead.get(), &failure, sizeof failure);
  } while (count < 0 && errno == EINTR);
  if (count == sizeof failure) {
    waitpid(pid, nullptr, 0);
    throw cannotRun(command[0], failure);
  }
  pid_ = pid;
}

std::optional<std::string> ChildProcess::ending() {
  int status = 0;
  if (!ending_ && waitpid(pid_, &status, WNOHANG) == pid_) ending_ = describe(status);
  return ending_;
}

void ChildProcess::stop() {
  if (pid_ <= 0) return;
  // The group may outlive the program it was made for.
  kill(-pid_, SIGTERM);
  const auto deadline = std::chrono::steady_clock::now() + kGrace;
  while (!ending() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(kPollInterval);
  kill(-pid_, SIGKILL);
  if (!ending_) waitpid(pid_, nullptr, 0);
  pid_ = 0;
}

} // namespace zol::bench
