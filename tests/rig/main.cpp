// The main() of tests that load the vendor library. What the library learns it learns once per
// process, so each test runs in a process of its own, with a clean environment, a directory of its
// own and the recording driver first among the vendor libraries; a process that a test leaves
// behind is ended and makes the test fail.

#include "rig/scenario.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <filesystem>
#include <fnmatch.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

// The leak checker of GCC 12 crashes now and then on the thread-local storage of libraries that
// were loaded at run time, so it does not look there; what only a thread's own state holds (its
// connections) then looks lost and is not. The test named last has a connection that nobody can
// ever close, because it belongs to no application display.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options() {
  return "use_tls=0:print_suppressions=0";
}
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:getTSD\n"
         "leak:AConnectionOfItsOwnIsUsed\n";
}

namespace {

constexpr char kInside[] = "ZOL_RIG_DIR";

bool startsWith(const char* text, const char* beginning) {
  return std::strncmp(text, beginning, std::strlen(beginning)) == 0;
}

void cleanEnvironment() {
  std::vector<std::string> names;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string name(*entry, std::strcspn(*entry, "="));
    if (startsWith(*entry, "ZOL_") || startsWith(*entry, "__GL") || name == "DISPLAY" ||
        name == "XDG_CONFIG_HOME" || startsWith(*entry, "GTEST_")) {
      names.push_back(name);
    }
  }
  for (const std::string& name : names)
    unsetenv(name.c_str());
}

void prepareEnvironment(const std::string& directory) {
  cleanEnvironment();
  const char* const old = std::getenv("LD_LIBRARY_PATH");
  const std::string path = ZOL_RIG_VENDORS + (old != nullptr ? ":" + std::string(old) : "");
  setenv("LD_LIBRARY_PATH", path.c_str(), 1);
  setenv("HOME", directory.c_str(), 1);
  setenv("ZOL_GL_USER_CONFDIR", directory.c_str(), 1);
  setenv(kInside, directory.c_str(), 1);
}

// Processes whose parent this process has become because theirs is gone.
std::vector<pid_t> children() {
  std::vector<pid_t> result;
  DIR* const proc = opendir("/proc");
  while (const dirent* const entry = readdir(proc)) {
    const pid_t pid = std::atoi(entry->d_name);
    if (pid <= 0) continue;
    std::ifstream stream("/proc/" + std::string(entry->d_name) + "/stat");
    std::string stat;
    std::getline(stream, stat);
    const std::size_t end = stat.rfind(')');
    if (end == std::string::npos) continue;
    char state = 0;
    int parent = 0;
    if (std::sscanf(stat.c_str() + end + 1, " %c %d", &state, &parent) == 2 && parent == getpid() &&
        state != 'Z') {
      result.push_back(pid);
    }
  }
  closedir(proc);
  return result;
}

std::string commandOf(pid_t pid) {
  std::ifstream stream("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  std::getline(stream, name);
  return name;
}

// Ends what the test left running; how many there were.
int endLeftovers() {
  int found = 0;
  for (std::vector<pid_t> left = children(); !left.empty(); left = children()) {
    for (const pid_t pid : left) {
      std::fprintf(stderr, "the test left process %d running: %s\n", pid, commandOf(pid).c_str());
      kill(pid, SIGTERM);
      int status = 0;
      for (int i = 0; i < 1000 && waitpid(pid, &status, WNOHANG) == 0; ++i)
        usleep(10000);
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      ++found;
    }
  }
  return found;
}

int runInside(const std::string& filter, std::vector<std::string> arguments) {
  char name[] = "/tmp/zol-rig-XXXXXX";
  if (mkdtemp(name) == nullptr) {
    std::perror("mkdtemp");
    return 1;
  }
  const std::string directory(name);
  arguments.push_back("--gtest_filter=" + filter);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(127);
    prepareEnvironment(directory);
    if (chdir(directory.c_str()) != 0) _exit(127);
    std::vector<char*> words;
    for (std::string& argument : arguments)
      words.push_back(argument.data());
    words.push_back(nullptr);
    execv("/proc/self/exe", words.data());
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  const int left = endLeftovers();
  std::error_code error;
  if (std::getenv("ZOL_RIG_KEEP") == nullptr) std::filesystem::remove_all(directory, error);
  if (WIFSIGNALED(status)) {
    std::fprintf(stderr, "%s: killed by %s\n", filter.c_str(), strsignal(WTERMSIG(status)));
    return 1;
  }
  return WEXITSTATUS(status) != 0 ? WEXITSTATUS(status) : (left > 0 ? 1 : 0);
}

bool matchesAny(const std::string& name, const std::string& patterns) {
  std::istringstream stream(patterns);
  for (std::string pattern; std::getline(stream, pattern, ':');) {
    if (fnmatch(pattern.c_str(), name.c_str(), 0) == 0) return true;
  }
  return false;
}

// "positive:positive-negative:negative", as GoogleTest reads it.
bool selected(const std::string& name) {
  const std::string filter = testing::GTEST_FLAG(filter);
  const std::size_t dash = filter.find('-');
  const std::string positive = filter.substr(0, dash);
  return (positive.empty() || matchesAny(name, positive)) &&
         (dash == std::string::npos || !matchesAny(name, filter.substr(dash + 1)));
}

// The names of the tests that the filter selects.
std::vector<std::string> selectedTests() {
  std::vector<std::string> names;
  const testing::UnitTest& all = *testing::UnitTest::GetInstance();
  for (int i = 0; i < all.total_test_suite_count(); ++i) {
    const testing::TestSuite& suite = *all.GetTestSuite(i);
    for (int j = 0; j < suite.total_test_count(); ++j) {
      const testing::TestInfo& test = *suite.GetTestInfo(j);
      const std::string name = std::string(suite.name()) + "." + test.name();
      if (selected(name)) names.push_back(name);
    }
  }
  return names;
}

} // namespace

int main(int argc, char** argv) {
  int status = 0;
  if (zol::rig::runRequestedScenario(argc, argv, &status)) return status;
  const std::vector<std::string> arguments(argv, argv + argc);
  testing::InitGoogleTest(&argc, argv);
  if (testing::GTEST_FLAG(list_tests) || std::getenv(kInside) != nullptr) return RUN_ALL_TESTS();

  prctl(PR_SET_CHILD_SUBREAPER, 1);
  std::vector<std::string> failed;
  for (const std::string& name : selectedTests()) {
    if (runInside(name, arguments) != 0) failed.push_back(name);
  }
  for (const std::string& name : failed)
    std::fprintf(stderr, "FAILED: %s\n", name.c_str());
  return failed.empty() ? 0 : 1;
}
