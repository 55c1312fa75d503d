#include "foundation/foundation_test.h"
#include "foundation/log.h"

#include <cerrno>
#include <cmath>
#include <regex>
#include <sys/syscall.h>
#include <thread>

// Outside of any namespace: compilers differ in the name of one without a name.
struct Caller {
  static void all() {
    ZOLGL_ERROR("e%d", 1);
    ZOLGL_WARNING("w");
    ZOLGL_INFO("i");
    ZOLGL_DEBUG("d");
    ZOL_ERROR("ze");
    ZOL_DEBUG("zd");
    ZOLGL_INFO_STDERR("is");
    ZOLGL_ERROR_STDERR("es");
    ZOLGL_LOG_AS("int g(void*)", INFO, "as");
    ZOLGL_LOG_STDERR_AS("int g(void*)", WARNING, "as %d", 2);
    ZOL_LOG_AS("ZOL", ERROR, "int g(void*)", "as");
  }
};

namespace {

class LogTest : public FoundationTest {
protected:
  LogTest() {
    fakes.now = timeval{1700000000, 4250}; // Tue Nov 14 22:13:20 2023 UTC
    openLogAt("warning");
  }

  static std::string ids() {
    return std::to_string(getpid()) + ":" + std::to_string(syscall(SYS_gettid));
  }
  // What a record begins with, up to its tag.
  static std::string prefix(char letter) {
    return std::string(1, letter) + " Nov 14 22:13:20:004250 " + ids() + " ";
  }
  std::filesystem::path onlyFileIn(const std::filesystem::path& logs) {
    std::vector<std::filesystem::path> files;
    for (const auto& file : std::filesystem::directory_iterator(logs))
      files.push_back(file.path());
    EXPECT_EQ(1u, files.size());
    return files.empty() ? "" : files[0];
  }
  std::filesystem::path logDirectory() {
    std::filesystem::create_directories(directory / "logs");
    return directory / "logs";
  }
  static void logOne() { zol_printlog("ZOLGL", 1, "ERROR", "void f()", false, "one"); }

  // The name of the log file that one record makes.
  std::string nameOfLog() {
    openLogAt("debug", logDirectory());
    logOne();
    return onlyFileIn(logDirectory()).filename();
  }
};

TEST_F(LogTest, ARecordNamesLevelTimeProcessThreadTagAndFunction) {
  EXPECT_EQ(prefix('E') + "ZOLGL (int f(const char*)): 3 of \"abc\"\n", stderrOf([] {
              zol_printlog("ZOLGL", 1, "ERROR", "int f(const char*)", false, "%d of \"%s\"", 3,
                           "abc");
            }));
}

TEST_F(LogTest, ARecordNamesTheThreadThatWroteIt) {
  std::string expected;
  const std::string record = stderrOf([&] {
    std::thread([&] {
      expected = prefix('E') + "ZOLGL (void f()): one\n";
      logOne();
    }).join();
  });
  EXPECT_EQ(expected, record);
}

TEST_F(LogTest, TheFirstLetterIsThatOfTheNameGiven) {
  EXPECT_EQ(prefix('x') + "ZOL (void f()): a\n",
            stderrOf([] { zol_printlog("ZOL", 2, "xyz", "void f()", false, "a"); }));
}

TEST_F(LogTest, ARecordsDayMayHaveOneDigit) {
  fakes.now = timeval{1704240000, 999999}; // Wed Jan  3 00:00:00 2024 UTC
  EXPECT_EQ("E Jan  3 00:00:00:999999 " + ids() + " ZOLGL (void f()): one\n", stderrOf(logOne));
}

TEST_F(LogTest, ANullFormatWritesNothingAndOpensNothing) {
  void (*const log)(const char*, int, const char*, const char*, bool, const char*, ...) =
      zol_printlog; // without the compiler's check of formats
  EXPECT_EQ("", stderrOf([&] { log("ZOLGL", 1, "ERROR", "void f()", true, nullptr); }));
  EXPECT_FALSE(zol_close_log());
}

TEST_F(LogTest, AMessageKeepsItsOwnLineEnd) {
  EXPECT_EQ(prefix('E') + "ZOLGL (void f()): a\n\n",
            stderrOf([] { zol_printlog("ZOLGL", 1, "ERROR", "void f()", false, "a\n"); }));
}

TEST_F(LogTest, NullNamesAreNamed) {
  EXPECT_EQ("(null): a\n" + prefix('(') + "(null) ((null)): a\n",
            stderrOf([] { zol_printlog(nullptr, 1, nullptr, nullptr, true, "a"); }));
}

TEST_F(LogTest, LeavesErrnoAlone) {
  openLogAt("debug", directory / "no/such/directory");
  stderrOf([] {
    errno = EXDEV;
    logOne();
    EXPECT_EQ(EXDEV, errno);
  });
}

std::string lettersAt(const char* level, const char* verbose) {
  setenv("ZOL_GL_LOG_LEVEL", level, 1);
  setenv("ZOL_GL_VERBOSE", verbose, 1);
  zol::conf::Settings::reload();
  zol_close_log();
  const std::string log = stderrOf([] {
    zol_printlog("ZOLGL", 1, "ERROR", "f", false, "a");
    zol_printlog("ZOLGL", 2, "WARNING", "f", false, "a");
    zol_printlog("ZOLGL", 3, "INFO", "f", false, "a");
    zol_printlog("ZOLGL", 4, "DEBUG", "f", false, "a");
  });
  std::string letters;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);)
    letters += line.substr(0, 1);
  return letters;
}

TEST_F(LogTest, WritesTheRecordsUpToItsLevel) {
  EXPECT_EQ("E", lettersAt("error", "0"));
  EXPECT_EQ("EW", lettersAt("WARNING", "0"));
  EXPECT_EQ("EWI", lettersAt("Info", "0"));
  EXPECT_EQ("EWID", lettersAt("dEBUG", "0"));
}

TEST_F(LogTest, TheLevelIsWarningWhenItIsNoneOfTheFour) {
  EXPECT_EQ("EW", lettersAt("verbose", "0"));
  EXPECT_EQ("EW", lettersAt("debugging", "0"));
  EXPECT_EQ("EW", lettersAt("", "0"));
}

TEST_F(LogTest, TheLevelIsWarningWhenItIsUnset) {
  zol::conf::Settings::reload();
  std::free(zol::conf::settings().level);
  zol::conf::settings().level = nullptr;
  zol_close_log();
  EXPECT_EQ("", stderrOf([] { ZOLGL_INFO("a"); }));
  EXPECT_NE("", stderrOf([] { ZOLGL_WARNING("a"); }));
}

TEST_F(LogTest, VerboseIsDebugWhateverTheLevel) {
  EXPECT_EQ("EWID", lettersAt("verbose", "1"));
  EXPECT_EQ("EWID", lettersAt("error", "1"));
}

TEST_F(LogTest, AnErrorForStandardErrorTooIsWrittenTwice) {
  openLogAt("warning", logDirectory());
  EXPECT_EQ("ERROR: it broke\n", stderrOf([] {
              zol_printlog("ZOLGL", 1, "ERROR", "void f()", true, "it %s", "broke");
            }));
  EXPECT_EQ(prefix('E') + "ZOLGL (void f()): it broke\n", contentOf(onlyFileIn(logDirectory())));
}

TEST_F(LogTest, StandardErrorIsWrittenWhateverTheLevel) {
  openLogAt("error", logDirectory());
  EXPECT_EQ("INFO: told\n",
            stderrOf([] { zol_printlog("ZOLGL", 3, "INFO", "void f()", true, "told"); }));
  EXPECT_EQ("", contentOf(onlyFileIn(logDirectory())));
}

TEST_F(LogTest, ARecordOfAnyLevelOpensTheLog) {
  openLogAt("error", logDirectory());
  EXPECT_TRUE(std::filesystem::is_empty(logDirectory()));
  ZOLGL_DEBUG("not written");
  EXPECT_EQ("", contentOf(onlyFileIn(logDirectory())));
}

TEST_F(LogTest, TheFileIsNamedAfterTheBootTheProgramAndTheProcess) {
  fakes.paths["/proc/uptime"] = write("uptime", "1000.40 3.5\n");
  fakes.link = "/usr/bin/gears";
  // 22:13:20.004 less 1000.4 seconds is 21:56:39.604, rounded.
  EXPECT_EQ("zol-gl.20231114-215640.gears." + std::to_string(getpid()) + ".log", nameOfLog());
}

TEST_F(LogTest, TheBootIsGivenInLocalTime) {
  setTimeZone("XYZ-2");
  fakes.paths["/proc/uptime"] = write("uptime", "1000.60 3.5\n");
  fakes.link = "/usr/bin/gears";
  EXPECT_EQ("zol-gl.20231114-235639.gears." + std::to_string(getpid()) + ".log", nameOfLog());
}

TEST_F(LogTest, TheBootIsTheSameForEveryProcess) {
  fakes.link = "/usr/bin/gears";
  fakes.paths["/proc/uptime"] = write("uptime", "1000.40 3.5\n");
  const std::string earlier = nameOfLog();
  fakes.paths["/proc/uptime"] = write("uptime", "4600.40 3.5\n");
  fakes.now->tv_sec += 3600;
  EXPECT_EQ(earlier, nameOfLog());
}

TEST_F(LogTest, TheRealUptimeMakesABoot) {
  fakes.now.reset();
  const std::string first = nameOfLog();
  EXPECT_TRUE(std::regex_match(first, std::regex("zol-gl\\.\\d{8}-\\d{6}\\..*"))) << first;
}

TEST_F(LogTest, TheProgramIsUnknownWithoutAPathOrAName) {
  fakes.paths["/proc/uptime"] = write("uptime", "0 0\n");
  for (const char* link : {"", "gears", "/usr/bin/"}) {
    std::filesystem::remove_all(logDirectory());
    fakes.link = link;
    EXPECT_EQ("zol-gl.20231114-221320.unknown." + std::to_string(getpid()) + ".log", nameOfLog())
        << link;
  }
}

TEST_F(LogTest, AVeryLongNameIsCutAtSixtyFourBytesBeyondTheDirectory) {
  fakes.paths["/proc/uptime"] = write("uptime", "0 0\n");
  fakes.link = "/usr/bin/" + std::string(200, 'p');
  // One byte for the slash, one for the end.
  EXPECT_EQ(("zol-gl.20231114-221320." + std::string(200, 'p')).substr(0, 62), nameOfLog());
}

TEST_F(LogTest, TheUptimeIsReadWithADecimalPointAndTheLocaleRestored) {
  const locale_t before = uselocale(nullptr);
  fakes.paths["/proc/uptime"] = write("uptime", "0 0\n");
  nameOfLog();
  EXPECT_EQ(2u, fakes.radixCharacters.size()) << "set and restored";
  EXPECT_EQ(".", fakes.radixCharacters.at(0));
  EXPECT_EQ(before, uselocale(nullptr));
}

class UptimeTest : public LogTest {
protected:
  // The message while the log is opened; the file's name lacks the boot.
  std::string warning() {
    fakes.link = "/usr/bin/gears";
    openLogAt("debug", logDirectory());
    const std::string message = stderrOf(logOne);
    EXPECT_EQ("zol-gl.gears." + std::to_string(getpid()) + ".log",
              onlyFileIn(logDirectory()).filename());
    return message;
  }
};

TEST_F(UptimeTest, AbsentIsToldWithoutALineEnd) {
  fakes.paths["/proc/uptime"] = directory / "absent";
  EXPECT_EQ("WARNING: Cannot open /proc/uptime file", warning());
}

TEST_F(UptimeTest, UnreadableIsToldWithTheReason) {
  fakes.paths["/proc/uptime"] = directory; // opens, but cannot be read
  EXPECT_EQ("WARNING: Cannot read /proc/uptime file: Is a directory", warning());
}

TEST_F(UptimeTest, MalformedIsTold) {
  for (const char* content : {"", "up since yesterday\n", "12.5\n"}) {
    fakes.paths["/proc/uptime"] = write("uptime", content);
    EXPECT_EQ("WARNING: Bad data in /proc/uptime file", warning()) << content;
    std::filesystem::remove_all(logDirectory());
  }
}

TEST_F(UptimeTest, IsReadToAThousandAndTwentyThreeBytes) {
  fakes.paths["/proc/uptime"] = write("uptime", "1" + std::string(1021, ' ') + "5 2\n");
  openLogAt("debug", logDirectory());
  EXPECT_EQ("", stderrOf(logOne)) << "the second number is the last byte read";
  std::filesystem::remove_all(logDirectory());
  fakes.paths["/proc/uptime"] = write("uptime", "1" + std::string(1022, ' ') + "5 2\n");
  EXPECT_EQ("WARNING: Bad data in /proc/uptime file", warning());
}

TEST_F(LogTest, AFileIsAppendedTo) {
  openLogAt("warning", logDirectory());
  logOne();
  EXPECT_TRUE(zol_close_log());
  logOne();
  const std::string record = prefix('E') + "ZOLGL (void f()): one\n";
  EXPECT_EQ(record + record, contentOf(onlyFileIn(logDirectory())));
}

TEST_F(LogTest, AnEmptyDirectoryIsNone) {
  std::free(zol::conf::settings().directory);
  zol::conf::settings().directory = strdup("");
  fakes.link = "/usr/bin/gears";
  fakes.paths["/proc/uptime"] = directory / "absent";
  fakes.paths["/zol-gl.gears." + std::to_string(getpid()) + ".log"] = directory / "log";
  EXPECT_EQ(prefix('E') + "ZOLGL (void f()): one\n", stderrOf(logOne));
}

TEST_F(LogTest, ADirectoryThatCannotBeWrittenToLeavesStandardError) {
  write("file", "");
  for (const char* place : {"no/such/directory", "file"}) {
    openLogAt("warning", directory / place);
    EXPECT_EQ(prefix('E') + "ZOLGL (void f()): one\n", stderrOf(logOne)) << place;
  }
  EXPECT_FALSE(std::filesystem::exists(directory / "no"));
}

TEST_F(LogTest, SettingsChangedLaterHaveNoEffect) {
  stderrOf(logOne);
  setenv("ZOL_GL_LOG_LEVEL", "debug", 1);
  zol::conf::Settings::reload();
  EXPECT_EQ("", stderrOf([] { ZOLGL_DEBUG("a"); }));
}

TEST_F(LogTest, IsOpenedOnceAndClosedOnce) {
  EXPECT_FALSE(zol_close_log());
  EXPECT_TRUE(zol_open_log());
  EXPECT_FALSE(zol_open_log());
  EXPECT_FALSE(get_log_params());
  EXPECT_TRUE(zol_close_log());
  EXPECT_FALSE(zol_close_log());
}

TEST_F(LogTest, ClosingItLeavesTheStreamOpen) {
  openLogAt("warning", logDirectory());
  logOne();
  const std::filesystem::path file = onlyFileIn(logDirectory());
  EXPECT_TRUE(zol_close_log());
  int open = 0;
  for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone; // that of the walk itself
    open += std::filesystem::read_symlink(descriptor, gone) == file;
  }
  EXPECT_EQ(1, open);
}

TEST_F(LogTest, AStateWithoutAStreamWritesNoRecords) {
  EXPECT_TRUE(get_log_params());
  EXPECT_FALSE(zol_open_log());
  EXPECT_EQ("ERROR: a\n",
            stderrOf([] { zol_printlog("ZOLGL", 1, "ERROR", "void f()", true, "a"); }));
}

TEST_F(LogTest, WithoutMemoryNothingIsWrittenAtAll) {
  fakes.newsLeft = 0;
  EXPECT_FALSE(get_log_params());
  fakes.newsLeft = 0;
  EXPECT_FALSE(zol_open_log());
  fakes.newsLeft = 0;
  EXPECT_EQ("", stderrOf([] { zol_printlog("ZOLGL", 1, "ERROR", "void f()", true, "a"); }));
  EXPECT_NE("", stderrOf([] { zol_printlog("ZOLGL", 1, "ERROR", "void f()", true, "a"); }));
}

TEST_F(LogTest, TheThresholdIsUnknownUntilTheLogIsOpen) {
  EXPECT_EQ(zol::LOG_THRESHOLD_UNKNOWN, zol::logThreshold.load());
  EXPECT_TRUE(zol::logWanted(zol::LOG_LEVEL_DEBUG));
  stderrOf(logOne);
  EXPECT_EQ(zol::LOG_LEVEL_WARNING, zol::logThreshold.load());
  EXPECT_TRUE(zol::logWanted(zol::LOG_LEVEL_WARNING));
  EXPECT_FALSE(zol::logWanted(zol::LOG_LEVEL_INFO));
  zol_close_log();
  EXPECT_TRUE(zol::logWanted(zol::LOG_LEVEL_DEBUG));
}

TEST_F(LogTest, TheArgumentsOfARecordThatIsNotWrittenAreNotEvaluated) {
  stderrOf(logOne);
  int evaluated = 0;
  ZOLGL_DEBUG("%d", ++evaluated);
  ZOLGL_INFO("%d", ++evaluated);
  ZOL_DEBUG("%d", ++evaluated);
  EXPECT_EQ(0, evaluated);
}

TEST_F(LogTest, TheMacrosNameTagLevelAndCallingFunction) {
  openLogAt("debug", logDirectory());
  EXPECT_EQ("INFO: is\nERROR: es\nWARNING: as 2\n", stderrOf([] { Caller::all(); }));
  const std::string f = " (static void Caller::all()): ";
  EXPECT_EQ(prefix('E') + "ZOLGL" + f + "e1\n" + prefix('W') + "ZOLGL" + f + "w\n" + prefix('I') +
                "ZOLGL" + f + "i\n" + prefix('D') + "ZOLGL" + f + "d\n" + prefix('E') + "ZOL" + f +
                "ze\n" + prefix('D') + "ZOL" + f + "zd\n" + prefix('I') + "ZOLGL" + f + "is\n" +
                prefix('E') + "ZOLGL" + f + "es\n" + prefix('I') + "ZOLGL (int g(void*)): as\n" +
                prefix('W') + "ZOLGL (int g(void*)): as 2\n" + prefix('E') +
                "ZOL (int g(void*)): as\n",
            contentOf(onlyFileIn(logDirectory())));
}

} // namespace
