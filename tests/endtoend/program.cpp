#include "endtoend/program.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace zol::endtoend {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using tools::UniqueFd;

// Of the test's own surroundings, what would change which driver is loaded or how it behaves.
bool isForeign(const std::string& name) {
  for (const char* prefix : {"ZOL_", "__GL", "LIBGL_", "GALLIUM_", "MESA_", "GTEST_"}) {
    if (name.starts_with(prefix)) return true;
  }
  return name == "DISPLAY" || name == "XDG_CONFIG_HOME";
}

Environment completeEnvironment(const fs::path& folder, const Environment& wanted) {
  Environment result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text(*entry);
    const std::size_t end = text.find('=');
    if (!isForeign(text.substr(0, end))) result[text.substr(0, end)] = text.substr(end + 1);
  }
  std::string& libraries = result["LD_LIBRARY_PATH"];
  libraries = ZOL_LIBRARY_FOLDER + (libraries.empty() ? "" : ":" + libraries);
  result["HOME"] = folder;
  result["ZOL_GL_USER_CONFDIR"] = folder;
  for (const auto& [name, value] : wanted)
    result[name] = value;
  return result;
}

std::vector<char*> pointers(std::vector<std::string>& words) {
  std::vector<char*> result;
  for (std::string& word : words)
    result.push_back(word.data());
  result.push_back(nullptr);
  return result;
}

struct Pipe {
  UniqueFd read;
  UniqueFd write;

  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    read = UniqueFd(ends[0]);
    write = UniqueFd(ends[1]);
  }
};

fs::path freshFile(const fs::path& folder) {
  static std::atomic<int> number{0};
  return folder / ("program" + std::to_string(++number) + ".err");
}

} // namespace

std::vector<std::string> foreignCommand(std::vector<std::string> command,
                                        std::vector<std::string> preloaded) {
  const std::string runtime = ZOL_SANITIZER_RUNTIME;
  if (!runtime.empty()) preloaded.insert(preloaded.begin(), runtime);
  if (preloaded.empty()) return command;
  std::string variable = "LD_PRELOAD=";
  for (const std::string& library : preloaded)
    variable += library + ":";
  std::vector<std::string> start = {"env", variable};
  for (const auto& [name, value] : kMayLeak)
    start.push_back(name + "=" + value);
  command.insert(command.begin(), start.begin(), start.end());
  return command;
}

std::string readFile(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

Folder::Folder() {
  char name[] = "/tmp/zol-endtoend-XXXXXX";
  if (mkdtemp(name) == nullptr) throw std::runtime_error("no folder for the test");
  path_ = name;
}

Folder::~Folder() {
  std::error_code failure;
  fs::remove_all(path_, failure);
}

Program::Program(const Folder& folder, std::vector<std::string> command,
                 const Environment& environment)
    : errorFile_(freshFile(folder.path())) {
  Pipe input, output;
  const UniqueFd errorOutput(open(errorFile_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  std::vector<std::string> variables;
  for (const auto& [name, value] : completeEnvironment(folder.path(), environment))
    variables.push_back(name + "=" + value);
  const std::vector<char*> words = pointers(command), settings = pointers(variables);
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("no process for " + command.front());
  if (pid_ == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent || chdir(folder.path().c_str()) != 0) _exit(127);
    dup2(input.read.get(), STDIN_FILENO);
    dup2(output.write.get(), STDOUT_FILENO);
    dup2(errorOutput.get(), STDERR_FILENO);
    execvpe(words[0], words.data(), settings.data());
    dprintf(STDERR_FILENO, "%s: %s\n", words[0], strerror(errno));
    _exit(127);
  }
  setpgid(pid_, pid_);
  input_ = std::move(input.write);
  output_ = std::move(output.read);
}

Program::~Program() {
  if (pid_ <= 0) return;
  kill(-pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

void Program::write(const std::string& text) {
  // A program that is gone is noticed by the reads that follow.
  sigset_t pipeSignal, before;
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipeSignal, &before);
  const bool written =
      ::write(input_.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
  constexpr timespec now{0, 0};
  if (!written) sigtimedwait(&pipeSignal, nullptr, &now);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

bool Program::takeOutput(Clock::time_point deadline, const char* complaint) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd wanted{output_.get(), POLLIN, 0};
    if (left.count() <= 0) throw std::runtime_error(complaint + ("\n" + errors()));
    if (poll(&wanted, 1, static_cast<int>(left.count())) <= 0) continue;
    char buffer[4096];
    const ssize_t count = read(output_.get(), buffer, sizeof buffer);
    if (count > 0) read_.append(buffer, static_cast<std::size_t>(count));
    return count > 0;
  }
}

std::string Program::readLine() {
  const Clock::time_point deadline = Clock::now() + kPatience;
  std::size_t end;
  while ((end = read_.find('\n')) == std::string::npos) {
    if (takeOutput(deadline, "the program does not answer")) continue;
    throw std::runtime_error("the program has ended, " + std::to_string(wait()) + "\n" + errors());
  }
  std::string line = read_.substr(0, end);
  read_.erase(0, end + 1);
  return line;
}

std::string Program::readRest() {
  const Clock::time_point deadline = Clock::now() + kPatience;
  while (takeOutput(deadline, "the program does not end")) {
  }
  return std::exchange(read_, "");
}

void Program::signal(int number) const {
  if (pid_ > 0) kill(pid_, number);
}

int Program::wait() {
  const Clock::time_point deadline = Clock::now() + kPatience;
  while (pid_ != 0) {
    int status = 0;
    const pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_) {
      status_ = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
      pid_ = 0;
    } else if (Clock::now() > deadline) {
      throw std::runtime_error("the program does not end\n" + errors());
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  return status_;
}

std::string Program::errors() const {
  return readFile(errorFile_);
}

bool Program::hasLoaded(const std::string& fileName) const {
  std::ifstream stream("/proc/" + std::to_string(pid_) + "/maps");
  for (std::string line; std::getline(stream, line);) {
    const fs::path file = line.find('/') == std::string::npos ? "" : line.substr(line.find('/'));
    if (file.filename().string().starts_with(fileName)) return true;
  }
  return false;
}

} // namespace zol::endtoend
