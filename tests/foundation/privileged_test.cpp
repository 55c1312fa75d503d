// Programs with more rights than their caller, as the kernel makes them.

#include "tests/tools/program.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <pwd.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using zol::test::Outcome;
using zol::test::Program;

// A folder with everything that a caller may put before a program: a file in the current folder,
// one of the user's, variables, and a place for the log.
class PrivilegedProgram : public testing::Test {
protected:
  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "NOT TESTED: only root can make a program of other rights than its caller's";
    }
    char pattern[] = "/tmp/zol-privileged-XXXXXX";
    folder_ = mkdtemp(pattern);
    chmod(folder_.c_str(), 0755);
    program_ = folder_ / "program";
    fs::copy_file(ZOL_SETTINGS_PROGRAM, program_);
    setMode(0755);
    write("zol-gl.conf.admin", "[gl]\ndenylist = of-the-folder\n");
    write("home/.config/zol/zol-gl.conf", "[gl]\nallowlist = of-the-user\n");
    makeLogs();
    previous_ = fs::current_path();
    fs::current_path(folder_);
  }
  void TearDown() override {
    if (folder_.empty()) return;
    fs::current_path(previous_);
    fs::remove_all(folder_);
  }

  void write(const char* name, const char* text) const {
    fs::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name) << text;
  }
  void setMode(mode_t mode) const { ASSERT_EQ(chmod(program_.c_str(), mode), 0); }
  fs::path logs() const { return folder_ / "logs"; }
  void makeLogs() const {
    fs::remove_all(logs());
    fs::create_directories(logs());
    chmod(logs().c_str(), 0777);
  }

  // As the user "nobody", with all that the folder holds, or with nothing of it.
  Outcome start() const {
    return startWith({{"HOME", folder_ / "home"},
                      {"ZOL_GL_DISPLAY", ":77"},
                      {"ZOL_GL_LOG_LEVEL", "debug"},
                      {"ZOL_GL_LOG_DIR", logs()}});
  }
  Outcome startAlone() const {
    fs::current_path("/");
    Outcome outcome = startWith({{"HOME", "/nonexistent"}});
    fs::current_path(folder_);
    return outcome;
  }

  fs::path program_;

private:
  Outcome startWith(const Program::Environment& environment) const {
    const passwd* const nobody = getpwnam("nobody");
    if (nobody == nullptr) throw std::runtime_error("there is no user \"nobody\"");
    Program::Environment whole = environment;
    whole.insert({{"XDG_CONFIG_HOME", ""}, {"ZOL_GL_USER_CONFDIR", ""}});
    return zol::test::run({"setpriv", "--reuid=" + std::to_string(nobody->pw_uid),
                           "--regid=" + std::to_string(nobody->pw_gid), "--clear-groups", program_},
                          whole);
  }

  fs::path folder_;
  fs::path previous_;
};

std::string afterFirstWord(const std::string& text) {
  return text.substr(text.find(','));
}

bool hasRecord(const Outcome& outcome) {
  return outcome.err.find("a record") != std::string::npos;
}

TEST_F(PrivilegedProgram, TakesNoSettingsFromItsCallerAndLogsNothingForIt) {
  // What an ordinary program has of the caller's.
  EXPECT_EQ(start().out, "ordinary, denylist of-the-folder, display :77, allowlist of-the-user, "
                         "level debug\n");
  EXPECT_FALSE(fs::is_empty(logs()));
  makeLogs();
  const Outcome alone = startAlone();

  setMode(04755);
  const Outcome privileged = start();
  if (privileged.out.rfind("privileged", 0) != 0) {
    GTEST_SKIP() << "NOT TESTED: set-user-id programs get no rights here (" << privileged.out
                 << ")";
  }
  EXPECT_EQ(afterFirstWord(privileged.out), afterFirstWord(alone.out));
  EXPECT_TRUE(fs::is_empty(logs()));
  EXPECT_EQ(hasRecord(privileged), hasRecord(alone)) << privileged.err;
}

} // namespace
