#include "foundation/foundation_test.h"
#include "foundation/process.h"

namespace {

class ProcessTest : public FoundationTest {};

TEST_F(ProcessTest, TheExecutableIsThePathOfThisProgram) {
  char buffer[1024];
  const int length = zolGetCurrentProcessExe(buffer, sizeof(buffer));
  EXPECT_EQ(std::filesystem::read_symlink("/proc/self/exe"), buffer);
  EXPECT_EQ(static_cast<int>(strlen(buffer)), length);
}

TEST_F(ProcessTest, ALongPathOfTheExecutableIsCut) {
  fakes.link = "/usr/bin/program";
  char buffer[9] = "........";
  EXPECT_EQ(8, zolGetCurrentProcessExe(buffer, sizeof(buffer)));
  EXPECT_STREQ("/usr/bin", buffer);
  fakes.link = "/usr/bi";
  EXPECT_EQ(7, zolGetCurrentProcessExe(buffer, sizeof(buffer)));
  EXPECT_STREQ("/usr/bi", buffer);
}

TEST_F(ProcessTest, AnUnreadableExecutableIsMinusOne) {
  fakes.link = "";
  char buffer[8] = "kept";
  EXPECT_EQ(-1, zolGetCurrentProcessExe(buffer, sizeof(buffer)));
  EXPECT_STREQ("kept", buffer);
}

TEST_F(ProcessTest, TheNameIsTheCommandAsItWasInvoked) {
  fakes.paths["/proc/self/cmdline"] = write("cmdline", std::string("./gears\0-x\0", 11));
  char buffer[1024];
  zolGetCurrentProcessName(buffer, sizeof(buffer));
  EXPECT_STREQ("./gears", buffer);
}

TEST_F(ProcessTest, TheNameOfThisProcessIsTheStartOfItsCommandLine) {
  char buffer[1024];
  zolGetCurrentProcessName(buffer, sizeof(buffer));
  EXPECT_STREQ(contentOf("/proc/self/cmdline").c_str(), buffer);
}

TEST_F(ProcessTest, ALongNameIsCut) {
  fakes.paths["/proc/self/cmdline"] = write("cmdline", "abcdef");
  char buffer[4];
  zolGetCurrentProcessName(buffer, sizeof(buffer));
  EXPECT_STREQ("abc", buffer);
}

TEST_F(ProcessTest, AnUnreadableCommandLineIsUnknownInEightBytes) {
  fakes.paths["/proc/self/cmdline"] = directory / "absent";
  char buffer[8] = "kept";
  zolGetCurrentProcessName(buffer, sizeof(buffer));
  EXPECT_STREQ("Unknown", buffer);
}

TEST_F(ProcessTest, AnUnreadableCommandLineLeavesSevenBytesAlone) {
  fakes.paths["/proc/self/cmdline"] = directory / "absent";
  char buffer[7] = "kept";
  zolGetCurrentProcessName(buffer, sizeof(buffer));
  EXPECT_STREQ("kept", buffer);
}

TEST_F(ProcessTest, AnEmptyCommandLineIsUnknown) {
  fakes.paths["/proc/self/cmdline"] = write("cmdline", "");
  char buffer[16] = "kept";
  zolGetCurrentProcessName(buffer, sizeof(buffer));
  EXPECT_STREQ("Unknown", buffer);
}

TEST_F(ProcessTest, ACommandLineThatBeginsWithNulIsUnknown) {
  fakes.paths["/proc/self/cmdline"] = write("cmdline", std::string("\0abc", 4));
  char buffer[16] = "kept";
  zolGetCurrentProcessName(buffer, sizeof(buffer));
  EXPECT_STREQ("Unknown", buffer);
}

} // namespace
