#include "rig/scenario.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace zol::rig {
namespace {

constexpr char kOption[] = "--rig-scenario=";

std::map<std::string, ScenarioBody>& scenarios() {
  static auto* const registry = new std::map<std::string, ScenarioBody>;
  return *registry;
}

std::string readWhole(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void redirect(int descriptor, const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
  close(file);
}

} // namespace

bool registerScenario(const char* name, ScenarioBody body) {
  scenarios()[name] = body;
  return true;
}

const std::string& testDirectory() {
  static const auto* const directory = new std::string([] {
    const char* const given = std::getenv("ZOL_RIG_DIR");
    if (given == nullptr) throw std::runtime_error("ZOL_RIG_DIR is not set: not started by main()");
    return std::string(given);
  }());
  return *directory;
}

bool runRequestedScenario(int argc, char** argv, int* status) {
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], kOption, sizeof kOption - 1) != 0) continue;
    const auto found = scenarios().find(argv[i] + sizeof kOption - 1);
    if (found == scenarios().end()) {
      std::fprintf(stderr, "no such scenario: %s\n", argv[i]);
      *status = 125;
    } else {
      *status = found->second();
    }
    return true;
  }
  return false;
}

ScenarioResult runScenario(const std::string& name, const ScenarioOptions& options) {
  static int number = 0;
  const std::string base = testDirectory() + "/scenario" + std::to_string(++number);
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  ScenarioResult result;
  result.path = self;
  if (!options.executable.empty()) {
    result.path = base + "/" + options.executable;
    std::filesystem::create_directories(std::filesystem::path(result.path).parent_path());
    std::filesystem::copy_file(self, result.path);
  }
  const std::string argument = kOption + name;

  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    redirect(STDOUT_FILENO, base + ".out");
    redirect(STDERR_FILENO, base + ".err");
    // A scenario may end in the middle of a call: what it leaves then is no leak.
    setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
    for (const auto& [variable, value] : options.environment) {
      setenv(variable.c_str(), value.c_str(), 1);
    }
    for (const auto& variable : options.without)
      unsetenv(variable.c_str());
    execl(result.path.c_str(), result.path.c_str(), argument.c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  result.process = child;
  result.exitStatus = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  result.out = readWhole(base + ".out");
  result.err = readWhole(base + ".err");
  return result;
}

} // namespace zol::rig
