#include "command.h"

#include "argv.h"
#include "run_error.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zol::tools {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kGrace = std::chrono::seconds(5);
constexpr timespec kTick = {0, 50'000'000};
constexpr timespec kSlowTick = {0, 200'000'000};

constexpr int kEndSignals[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP};

pid_t startCommand(const Command& command, const EndSignals& signals) {
  const pid_t self = getpid();
  const pid_t pid = fork();
  if (pid < 0) throw RunError(std::string("cannot start a process: ") + strerror(errno));
  if (pid > 0) return pid;
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != self) _exit(kCannotRun);
  sigprocmask(SIG_SETMASK, &signals.before(), nullptr);
  _exit(becomeCommand(command));
}

// The wait status of the child once it has ended.
std::optional<int> ended(pid_t pid) {
  int status = 0;
  return waitpid(pid, &status, WNOHANG) == pid ? std::optional(status) : std::nullopt;
}

// The children of this (single-threaded) process that `keep` does not claim.
std::vector<pid_t> orphans(const std::function<bool(pid_t)>& keep) {
  std::vector<pid_t> found;
  const std::string self = std::to_string(getpid());
  std::ifstream children("/proc/self/task/" + self + "/children");
  for (pid_t child; children >> child;) {
    if (!keep(child)) found.push_back(child);
  }
  return found;
}

// Ends what the command left running: processes that outlived it have become our children.
void endOrphans(const std::function<bool(pid_t)>& keep) {
  const auto deadline = Clock::now() + kGrace;
  int signal = SIGTERM;
  std::vector<pid_t> told;
  for (std::vector<pid_t> left = orphans(keep); !left.empty(); left = orphans(keep)) {
    if (signal == SIGTERM && Clock::now() >= deadline) {
      signal = SIGKILL;
      told.clear();
    }
    for (pid_t child : left) {
      if (std::find(told.begin(), told.end(), child) == told.end()) {
        kill(child, signal);
        told.push_back(child);
      }
      waitpid(child, nullptr, WNOHANG);
    }
    nanosleep(&kTick, nullptr);
  }
}

} // namespace

int becomeCommand(const Command& command) {
  for (const auto& [name, value] : command.environment)
    setenv(name.c_str(), value.c_str(), 1);
  std::vector<std::string> words = command.words;
  const std::vector<char*> arguments = argvOf(words);
  execvp(arguments[0], arguments.data());
  const int failure = errno;
  const bool isMissing = failure == ENOENT || failure == ENOTDIR;
  const bool isBareName = command.words[0].find('/') == std::string::npos;
  fprintf(stderr, "zolrun: %s: %s\n", arguments[0],
          isMissing && isBareName ? "command not found" : strerror(failure));
  return isMissing ? kNotFound : kNotExecutable;
}

EndSignals::EndSignals() {
  sigemptyset(&set_);
  for (int signal : kEndSignals)
    sigaddset(&set_, signal);
  sigaddset(&set_, SIGCHLD);
  sigprocmask(SIG_BLOCK, &set_, &before_);
}

EndSignals::~EndSignals() {
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

int EndSignals::pending() const {
  sigset_t waiting;
  sigpending(&waiting);
  for (int signal : kEndSignals) {
    if (sigismember(&waiting, signal) == 1) return signal;
  }
  return 0;
}

int runCommand(const Command& command, const EndSignals& signals,
               const std::function<bool(pid_t)>& keep, const std::function<void()>& tick) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  const pid_t pid = startCommand(command, signals);
  std::optional<Clock::time_point> deadline;
  std::optional<int> status;
  while (!(status = ended(pid))) {
    if (tick) tick();
    siginfo_t info{};
    const timespec* limit = deadline ? &kTick : tick ? &kSlowTick : nullptr;
    const int signal =
        limit ? sigtimedwait(&signals.set(), &info, limit) : sigwaitinfo(&signals.set(), &info);
    if (deadline && Clock::now() >= *deadline) kill(pid, SIGKILL);
    if (signal <= 0 || signal == SIGCHLD) continue;
    // What the terminal sends has reached the command already, as it is in the same group.
    if (info.si_code != SI_KERNEL) kill(pid, signal);
    if (!deadline && (signal == SIGTERM || signal == SIGHUP)) deadline = Clock::now() + kGrace;
  }
  endOrphans(keep);
  return WIFSIGNALED(*status) ? 128 + WTERMSIG(*status) : WEXITSTATUS(*status);
}

} // namespace zol::tools
