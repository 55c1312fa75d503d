#include "probe_process.h"

#include "../run_error.h"
#include "../unique_fd.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>

namespace zol::tools {

namespace {

using Clock = std::chrono::steady_clock;

struct Pipe {
  UniqueFd read;
  UniqueFd write;

  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw RunError(std::string("no pipe: ") + strerror(errno));
    read = UniqueFd(ends[0]);
    write = UniqueFd(ends[1]);
  }
};

[[noreturn]] void become(const std::string& argument,
                         const std::map<std::string, std::string>& environment, const Pipe& out,
                         const Pipe& err, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(127);
  dup2(out.write.get(), STDOUT_FILENO);
  dup2(err.write.get(), STDERR_FILENO);
  for (const auto& [name, value] : environment)
    setenv(name.c_str(), value.c_str(), 1);
  execl("/proc/self/exe", "zolinfo", argument.c_str(), nullptr);
  perror("/proc/self/exe");
  _exit(127);
}

void readSome(UniqueFd& fd, std::string& text) {
  char buffer[65536];
  const ssize_t count = read(fd.get(), buffer, sizeof buffer);
  if (count > 0) {
    text.append(buffer, static_cast<size_t>(count));
  } else if (count == 0 || errno != EINTR) {
    fd.reset();
  }
}

// Reads both until their ends; false when they are not reached in time.
bool readBoth(UniqueFd& out, UniqueFd& err, ProbeOutcome& outcome, Clock::time_point deadline) {
  while (out || err) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return false;
    std::array<pollfd, 2> sources = {{{out.get(), POLLIN, 0}, {err.get(), POLLIN, 0}}};
    if (poll(sources.data(), sources.size(), static_cast<int>(left.count())) <= 0) continue;
    if (sources[0].revents) readSome(out, outcome.out);
    if (sources[1].revents) readSome(err, outcome.err);
  }
  return true;
}

} // namespace

ProbeOutcome runAsProbe(const std::string& argument,
                        const std::map<std::string, std::string>& environment,
                        std::chrono::seconds patience) {
  Pipe out;
  Pipe err;
  const pid_t self = getpid();
  const pid_t pid = fork();
  if (pid < 0) throw RunError(std::string("no process: ") + strerror(errno));
  if (pid == 0) become(argument, environment, out, err, self);
  out.write.reset();
  err.write.reset();

  ProbeOutcome outcome{.pid = pid, .out = {}, .err = {}};
  outcome.inTime = readBoth(out.read, err.read, outcome, Clock::now() + patience);
  if (!outcome.inTime) kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (outcome.inTime && WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
  if (WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
  return outcome;
}

} // namespace zol::tools
