#include "program.h"

#include "tools/argv.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zol::test {

using tools::UniqueFd;

namespace {

[[noreturn]] void become(std::vector<std::string>& words, const Program::Environment& environment) {
  for (const auto& [name, value] : environment) {
    if (value.empty()) {
      unsetenv(name.c_str());
    } else {
      setenv(name.c_str(), value.c_str(), 1);
    }
  }
  const std::vector<char*> arguments = tools::argvOf(words);
  execvp(arguments[0], arguments.data());
  perror(arguments[0]);
  _exit(255);
}

std::array<UniqueFd, 2> makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

void readInto(UniqueFd& fd, std::string& text) {
  char buffer[4096];
  const ssize_t count = read(fd.get(), buffer, sizeof buffer);
  if (count > 0) {
    text.append(buffer, static_cast<size_t>(count));
  } else if (count == 0 || errno != EINTR) {
    fd.reset(); // a terminal whose other side is gone answers with an error
  }
}

} // namespace

Program::Program(std::vector<std::string> words, const Environment& environment) {
  auto out = makePipe();
  auto err = makePipe();
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("no process");
  pid_ = pid;
  if (pid == 0) {
    dup2(out[1].get(), STDOUT_FILENO);
    dup2(err[1].get(), STDERR_FILENO);
    become(words, environment);
  }
  out_ = std::move(out[0]);
  err_ = std::move(err[0]);
}

Program Program::onTerminal(std::vector<std::string> words) {
  Program program;
  int terminal = -1;
  const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (pid < 0) throw std::runtime_error("no terminal: is /dev/pts mounted?");
  if (pid == 0) become(words, {});
  program.pid_ = pid;
  fcntl(terminal, F_SETFD, FD_CLOEXEC);
  program.out_ = UniqueFd(terminal);
  return program;
}

Program::Program(Program&& other) noexcept
    : pid_(std::exchange(other.pid_, 0)), out_(std::move(other.out_)), err_(std::move(other.err_)),
      outcome_(std::move(other.outcome_)) {}

Program::~Program() {
  if (pid_ <= 0) return; // -1 would mean every process there is
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

bool Program::readSome() {
  if (!out_ && !err_) return false;
  std::array<pollfd, 2> sources = {{{out_.get(), POLLIN, 0}, {err_.get(), POLLIN, 0}}};
  if (poll(sources.data(), sources.size(), -1) <= 0) return true;
  if (sources[0].revents) readInto(out_, outcome_.out);
  if (sources[1].revents) readInto(err_, outcome_.err);
  return true;
}

void Program::waitForOutput(const std::string& text) {
  while (outcome_.out.find(text) == std::string::npos) {
    if (!readSome()) {
      throw std::runtime_error("\"" + text + "\" was not written, but: " + outcome_.out +
                               outcome_.err);
    }
  }
}

void Program::typeKey(char key) {
  if (write(out_.get(), &key, 1) != 1) throw std::runtime_error("the terminal is gone");
}

void Program::signal(int number) {
  if (pid_ > 0) kill(pid_, number);
}

Outcome Program::wait() {
  while (readSome()) {
  }
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = 0;
  outcome_.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return outcome_;
}

Outcome run(std::vector<std::string> words, const Program::Environment& environment) {
  return Program(std::move(words), environment).wait();
}

void adoptOrphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

std::vector<pid_t> children() {
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  return childrenOf(getpid());
}

std::vector<pid_t> childrenOf(pid_t pid) {
  const std::string name = std::to_string(pid);
  std::ifstream list("/proc/" + name + "/task/" + name + "/children");
  std::vector<pid_t> found;
  for (pid_t child; list >> child;)
    found.push_back(child);
  return found;
}

void waitForChildren() {
  while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {
  }
}

} // namespace zol::test
