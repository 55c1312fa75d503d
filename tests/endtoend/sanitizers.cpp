// Part of each test in a build with sanitizers: tells the programs that the test starts, the
// launchers of its servers among them, what to look for and where to report it, and makes the test
// fail during which one reported something.

#include "endtoend/program.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace zol::endtoend {
namespace {

namespace fs = std::filesystem;

class SanitizerReports : public testing::EmptyTestEventListener {
public:
  SanitizerReports() {
    // failing_calls.c stands before the sanitizer.
    setOptions("ASAN_OPTIONS", ":verify_asan_link_order=0");
    setOptions("UBSAN_OPTIONS", ":print_stacktrace=1");
    // The leak checker of GCC 12 crashes now and then on the thread-local storage of libraries that
    // were loaded at run time, so it does not look there. Mesa's display lists hold pointers at odd
    // multiples of four bytes.
    setOptions(
        "LSAN_OPTIONS",
        ":use_tls=0:use_unaligned=1:print_suppressions=0:suppressions=" ZOL_LEAK_SUPPRESSIONS);
    // Mesa, LLVM, GLVND and Xlib are not built with the sanitizer: it does not see how their
    // threads agree with each other. A forked child of a program goes on as the program would.
    setOptions("TSAN_OPTIONS", ":ignore_noninstrumented_modules=1:die_after_fork=0");
  }

  void OnTestEnd(const testing::TestInfo&) override { failForEach(); }
  // The servers have ended.
  void OnEnvironmentsTearDownEnd(const testing::UnitTest&) override { failForEach(); }

private:
  // What the developer has set comes last, and counts.
  void setOptions(const char* variable, const std::string& options) const {
    const std::string path = folder_.path() / "report";
    const char* const given = getenv(variable);
    const std::string all = "log_exe_name=1:log_path=" + path + options;
    setenv(variable, (given == nullptr ? all : all + ":" + given).c_str(), 1);
  }

  void failForEach() const {
    for (const auto& file : fs::directory_iterator(folder_.path())) {
      ADD_FAILURE() << file.path().filename() << "\n" << readFile(file.path());
      fs::remove(file.path());
    }
  }

  Folder folder_;
};

[[maybe_unused]] const bool listening = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new SanitizerReports); // GoogleTest's now
  return true;
}();

} // namespace
} // namespace zol::endtoend
