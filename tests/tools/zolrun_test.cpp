#include "program.h"
#include "tools/display_server.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace zol::test {

namespace {

constexpr char kTryHelp[] = "Try \"zolrun --help\".\n";

std::vector<std::string> zolrun(std::vector<std::string> words) {
  words.insert(words.begin(), ZOL_ZOLRUN);
  return words;
}

std::vector<std::string> headless(const std::string& script) {
  return zolrun({"--headless", "--", "sh", "-c", script});
}

std::unique_ptr<tools::DisplayServer> startXzol(std::vector<std::string> options = {}) {
  options.insert(options.begin(), ZOL_XZOL);
  std::string error;
  auto server = tools::DisplayServer::start(std::move(options), &error);
  if (!server) throw std::runtime_error(error);
  return server;
}

std::string lineOf(const std::string& text, const std::string& start) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(start)) return line.substr(start.size());
  }
  return "(none)";
}

// What a terminal shows, with plain line ends.
std::string withoutReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

// What a run has made on this machine and must not leave: looked up while it runs.
struct Traces {
  std::vector<std::string> sockets;

  // From the words "DISPLAY=:5" and "ZOL_GL_DISPLAY=:4" in the command's output.
  explicit Traces(const std::string& output) {
    for (const char* variable : {"DISPLAY=:", "ZOL_GL_DISPLAY=:"}) {
      const std::string number = lineOf(withoutReturns(output), variable);
      const std::string path = "/tmp/.X11-unix/X" + number;
      struct stat info {};
      EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
      sockets.push_back(path);
      inodes.push_back(info);
    }
  }

  void expectGone() const {
    EXPECT_EQ(children(), std::vector<pid_t>());
    for (size_t i = 0; i < sockets.size(); ++i) {
      struct stat now {};
      if (stat(sockets[i].c_str(), &now) != 0) continue;
      // Another run may have taken the number by now.
      EXPECT_TRUE(now.st_ino != inodes[i].st_ino ||
                  now.st_ctim.tv_sec != inodes[i].st_ctim.tv_sec ||
                  now.st_ctim.tv_nsec != inodes[i].st_ctim.tv_nsec)
          << sockets[i] << " was left";
    }
  }

private:
  std::vector<struct stat> inodes;
};

constexpr char kReport[] = "env | grep -E '^(ZOL_GL_)?DISPLAY='; echo ready; ";

// A run that has started its command, which says what it sees, and goes on with `script`.
class RunningZolrun {
public:
  explicit RunningZolrun(const std::string& script, bool onTerminal = false)
      : program(onTerminal ? Program::onTerminal(headless(kReport + script))
                           : Program(headless(kReport + script))) {
    adoptOrphans();
    program.waitForOutput("ready");
  }

  Program program;
};

constexpr char kWait[] = "while :; do sleep 0.05; done";

TEST(Zolrun, RefusesCommandLinesThatMakeNoSense) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> refusals = {
      {{}, "no command given"},
      {{"--headless"}, "no command given"},
      {{"--"}, "no command given"},
      {{"--frobnicate", "true"}, "unknown option --frobnicate"},
      {{"-x", "true"}, "unknown option -x"},
      {{"--headless", "--geometry"}, "--geometry needs a value"},
      {{"--headless", "--geometry", "x", "true"}, "--geometry x is not of the form WxH"},
      {{"--geometry", "800x600", "true"},
       "--geometry is the size of the screen that --headless makes"},
      {{"--gl-display=", "true"}, "--gl-display takes a text that is not empty, not \"\""},
      {{"--fps", "fast", "true"}, "--fps takes a whole number, not \"fast\""},
      {{"--fps", "0", "true"}, "--fps takes a number of 1 or more, not \"0\""},
      {{"--strategy", "3", "true"}, "--strategy takes 0, 1 or 2, not \"3\""},
      {{"--log-level", "loud", "true"},
       "--log-level takes error, warning, info or debug, not \"loud\""},
      {{"--log-level", "error warning", "true"},
       "--log-level takes error, warning, info or debug, not \"error warning\""},
      {{"--log-dir", std::string(1024, 'x'), "true"},
       "--log-dir: the library reads no more than 1023 characters"},
      {{"--set", "multisample", "true"}, "--set takes KEY=VALUE, not \"multisample\""},
      {{"--set", "multisample=4x", "true"}, "--set multisample takes a whole number, not \"4x\""},
      {{"--set", "verbose=yes", "true"}, "--set verbose takes true, false, 1 or 0, not \"yes\""},
      {{"--set", "denylist=", "true"}, "--set denylist takes a text that is not empty, not \"\""},
      {{"--show-fps", "--log-level=error", "true"}, "--show-fps needs --log-level info or debug"},
  };
  for (const auto& [words, message] : refusals) {
    const Outcome outcome = run(zolrun(words));
    EXPECT_EQ(outcome.status, 125) << message;
    EXPECT_EQ(outcome.err, "zolrun: " + message + "\n" + kTryHelp);
    EXPECT_EQ(outcome.out, "");
  }
}

TEST(Zolrun, NamesEverySettingWhenOneIsUnknown) {
  const Outcome outcome = run(zolrun({"--set", "use-sample-query=1", "true"}));
  EXPECT_EQ(outcome.status, 125);
  const std::string start =
      "zolrun: there is no setting \"use-sample-query\"; did you mean use-sample-queries?\n"
      "The settings are:\n  verbose\n  level\n  directory\n";
  EXPECT_TRUE(outcome.err.starts_with(start)) << outcome.err;
  EXPECT_TRUE(outcome.err.ends_with(std::string("\n  recursive-local-display-lock\n") + kTryHelp))
      << outcome.err;
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 39 + 3);
  const Outcome unlike = run(zolrun({"--set", "colour=1", "true"}));
  EXPECT_TRUE(unlike.err.starts_with("zolrun: there is no setting \"colour\"\nThe settings are:\n"))
      << unlike.err;
}

TEST(Zolrun, TellsItsVersionAndItsOptions) {
  const Outcome version = run(zolrun({"--version"}));
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "zolrun " ZOL_VERSION "\n");
  const Outcome help = run(zolrun({"--help"}));
  EXPECT_EQ(help.status, 0);
  for (const char* option :
       {"--headless", "--geometry WxH", "--gl-display NAME", "--fps N", "--strategy N",
        "--no-readback", "--log-level LEVEL", "--log-dir FOLDER", "--set KEY=VALUE", "--show-fps",
        "--verbose", "--help", "--version"}) {
    EXPECT_NE(help.out.find(option), std::string::npos) << option;
  }
}

TEST(Zolrun, SaysThatThereIsNoDisplay) {
  const Outcome outcome = run(zolrun({"true"}), {{"DISPLAY", ""}});
  EXPECT_EQ(outcome.status, 125);
  EXPECT_EQ(outcome.err, "zolrun: DISPLAY is not set.\n"
                         "Set it to a display that Xzol serves, or use zolrun --headless.\n");
}

TEST(Zolrun, NamesADisplayThatCannotBeReached) {
  const Outcome outcome = run(zolrun({"true"}), {{"DISPLAY", ":59999"}});
  EXPECT_EQ(outcome.status, 125);
  EXPECT_EQ(outcome.err, "zolrun: cannot connect to display :59999\n");
}

TEST(Zolrun, NamesAGLDisplayThatCannotBeReached) {
  const Outcome outcome = run(zolrun({"--headless", "--gl-display", ":59998", "true"}));
  EXPECT_EQ(outcome.status, 125);
  EXPECT_EQ(outcome.err, "zolrun: cannot connect to display :59998\n");
}

TEST(Zolrun, GivesUpOnADisplayThatNeverAnswers) {
  const std::string number = std::to_string(20000 + getpid() % 30000);
  const std::string path = "/tmp/.X11-unix/X" + number;
  const tools::UniqueFd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  std::filesystem::create_directories("/tmp/.X11-unix");
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener.get(), 5), 0);
  const Outcome outcome = run(zolrun({"true"}), {{"DISPLAY", ":" + number}});
  std::filesystem::remove(path);
  EXPECT_EQ(outcome.status, 125);
  EXPECT_EQ(outcome.err, "zolrun: display :" + number + " did not answer within 5 seconds\n");
}

TEST(Zolrun, SaysWhatToDoAboutADisplayWithoutTheExtension) {
  const auto file = std::filesystem::temp_directory_path() /
                    ("zolrun-test-" + std::to_string(getpid()) + ".conf");
  std::ofstream(file) << "Section \"Device\"\nIdentifier \"d\"\nDriver \"dummy\"\nEndSection\n"
                         "Section \"ServerFlags\"\nOption \"AutoAddDevices\" \"off\"\nEndSection\n";
  const auto server = startXzol({"-config", file.string()});
  std::filesystem::remove(file);
  const Outcome outcome = run(zolrun({"true"}), {{"DISPLAY", server->name()}});
  EXPECT_EQ(outcome.status, 125);
  EXPECT_EQ(outcome.err,
            "zolrun: display " + server->name() +
                " does not have the extension ZOL-V1: it is not served by Xzol.\n"
                "Start \"Xzol :N\" and set DISPLAY to it, or use zolrun --headless.\n");
}

TEST(Zolrun, SaysThatTheDisplayLacksGlx) {
  const auto server = startXzol({"-extension", "GLX"});
  const Outcome outcome = run(zolrun({"true"}), {{"DISPLAY", server->name()}});
  EXPECT_EQ(outcome.status, 125);
  EXPECT_EQ(outcome.err,
            "zolrun: display " + server->name() + " does not have the extension GLX\n");
}

TEST(Zolrun, SaysThatTheCommandIsMissingOrCannotRun) {
  const auto server = startXzol();
  for (const std::vector<std::string>& mode :
       {std::vector<std::string>{}, std::vector<std::string>{"--headless"}}) {
    const auto outcomeOf = [&](const char* command) {
      std::vector<std::string> words = mode;
      words.emplace_back(command);
      return run(zolrun(words), {{"DISPLAY", server->name()}});
    };
    const Outcome missing = outcomeOf("no-such-command");
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(missing.err, "zolrun: no-such-command: command not found\n");
    const Outcome missingFile = outcomeOf("/nonexistent/command");
    EXPECT_EQ(missingFile.status, 127);
    EXPECT_EQ(missingFile.err, "zolrun: /nonexistent/command: No such file or directory\n");
    const Outcome noProgram = outcomeOf("/etc/passwd");
    EXPECT_EQ(noProgram.status, 126);
    EXPECT_EQ(noProgram.err, "zolrun: /etc/passwd: Permission denied\n");
  }
}

TEST(Zolrun, LeavesADisplayThatAnnouncesTheLibraryToItself) {
  const auto server = startXzol();
  const Outcome outcome = run(zolrun({"env"}), {{"DISPLAY", server->name()},
                                                {"LD_LIBRARY_PATH", ""},
                                                {"ZOL_GL_DISPLAY", ""},
                                                {"MARK", "kept"}});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(lineOf(outcome.out, "LD_LIBRARY_PATH="), ZOL_LIBRARY_FOLDER);
  EXPECT_EQ(lineOf(outcome.out, "DISPLAY="), server->name());
  EXPECT_EQ(lineOf(outcome.out, "__GLX_VENDOR_LIBRARY_NAME="), "(none)");
  EXPECT_EQ(lineOf(outcome.out, "ZOL_GL_DISPLAY="), "(none)");
  EXPECT_EQ(lineOf(outcome.out, "MARK="), "kept");
}

TEST(Zolrun, NamesTheLibraryOnADisplayThatDoesNotAnnounceIt) {
  const auto server = startXzol({"--vendor-names", "mesa zolsoft"});
  const Outcome outcome = run(zolrun({"env"}), {{"DISPLAY", server->name()}});
  EXPECT_EQ(lineOf(outcome.out, "__GLX_VENDOR_LIBRARY_NAME="), "zol") << outcome.err;
}

TEST(Zolrun, NamesTheLibraryWhenTheEnvironmentNamesAnother) {
  const auto server = startXzol();
  const Outcome outcome = run(zolrun({"env"}), {{"DISPLAY", server->name()},
                                                {"__GLX_VENDOR_LIBRARY_NAME", "mesa"},
                                                {"LD_LIBRARY_PATH", "/some/where"}});
  EXPECT_EQ(lineOf(outcome.out, "__GLX_VENDOR_LIBRARY_NAME="), "zol") << outcome.err;
  EXPECT_EQ(lineOf(outcome.out, "LD_LIBRARY_PATH="), ZOL_LIBRARY_FOLDER ":/some/where");
}

TEST(Zolrun, NamesTheLibrarysFolderOnlyOnce) {
  const auto server = startXzol();
  for (const std::string path :
       {ZOL_LIBRARY_FOLDER, "/some/where:" ZOL_LIBRARY_FOLDER, ZOL_LIBRARY_FOLDER "/../lib/"}) {
    const Outcome outcome =
        run(zolrun({"env"}), {{"DISPLAY", server->name()}, {"LD_LIBRARY_PATH", path}});
    EXPECT_EQ(lineOf(outcome.out, "LD_LIBRARY_PATH="), path) << outcome.err;
  }
}

TEST(Zolrun, HandsTheGLDisplayOn) {
  const auto server = startXzol();
  const Outcome outcome = run(zolrun({"--gl-display", ":7.5", "env"}),
                              {{"DISPLAY", server->name()}, {"ZOL_GL_DISPLAY", ":6"}});
  EXPECT_EQ(lineOf(outcome.out, "ZOL_GL_DISPLAY="), ":7.5") << outcome.err;
}

TEST(Zolrun, EveryOptionForASettingSetsItsVariable) {
  const auto server = startXzol();
  const Outcome outcome =
      run(zolrun({"--fps", "60", "--fps=25", "--log-level", "info", "--log-dir", "/some/where",
                  "--no-readback", "--strategy=2", "--set", "multisample=-1", "--set",
                  "denylist=a b=c", "--set=print-zol-version=true", "env"}),
          {{"DISPLAY", server->name()}, {"ZOL_GL_LOG_LEVEL", "error"}, {"ZOL_GL_MARK", "kept"}});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"ZOL_GL_COPYBACK_FRAME_RATE=", "25"},
      {"ZOL_GL_LOG_LEVEL=", "info"},
      {"ZOL_GL_LOG_DIR=", "/some/where"},
      {"ZOL_GL_NO_READBACK=", "1"},
      {"ZOL_GL_COPYBACK_STRATEGY=", "2"},
      {"ZOL_GL_MULTISAMPLE=", "-1"},
      {"ZOL_GL_DENYLIST=", "a b=c"},
      {"ZOL_GL_PRINT_VERSION=", "true"},
      {"ZOL_GL_MARK=", "kept"},
  };
  for (const auto& [variable, value] : expected)
    EXPECT_EQ(lineOf(outcome.out, variable), value) << variable;
}

TEST(Zolrun, SaysWhatItSetsWhenAsked) {
  const auto server = startXzol();
  const Outcome outcome = run(zolrun({"--verbose", "--fps", "60", "true"}),
                              {{"DISPLAY", server->name()}, {"LD_LIBRARY_PATH", ""}});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "zolrun: sets LD_LIBRARY_PATH=" ZOL_LIBRARY_FOLDER "\n"
                         "zolrun: sets ZOL_GL_COPYBACK_FRAME_RATE=60\n");
}

// Writes records as the library does, in two pieces.
constexpr char kLogging[] = R"(
  log=$ZOL_GL_LOG_DIR/zol-gl.20261120-010203.program.$$.log
  printf 'W Nov 20 22:45:10:168140 12:13 ZOLGL (void f()): mind this\n' >> $log
  printf 'I Nov 20 22:45:10:168141 12:13 ZOLGL (void g(int*)): Produced 4 fra' >> $log
  printf 'mes in the last 5001 ms: average FPS 0.800\nI Nov 20 22:45:10 12:13 ZOLGL (void f()): no' >> $log
  echo level $ZOL_GL_LOG_LEVEL
  echo folder $ZOL_GL_LOG_DIR
  exit 3)";
constexpr char kReportLine[] =
    "zolrun: process 12: Produced 4 frames in the last 5001 ms: average FPS 0.800\n";

TEST(Zolrun, ShowsTheReportsOfTheFrameRateAndWhatElseWouldHaveBeenSeen) {
  const auto server = startXzol();
  const Outcome outcome = run(zolrun({"--show-fps", "sh", "-c", kLogging}),
                              {{"DISPLAY", server->name()}, {"ZOL_GL_LOG_LEVEL", "error"}});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.err,
            std::string("W Nov 20 22:45:10:168140 12:13 ZOLGL (void f()): mind this\n") +
                kReportLine);
  EXPECT_EQ(lineOf(outcome.out, "level "), "info");
  EXPECT_FALSE(std::filesystem::exists(lineOf(outcome.out, "folder "))) << outcome.out;
}

TEST(Zolrun, ReportsOfTheFrameRateStayInTheLogThatWasAskedFor) {
  const auto server = startXzol();
  char folder[] = "/tmp/zolrun-test-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::filesystem::path before = std::filesystem::path(folder) / "zol-gl.before.log";
  std::ofstream(before) << "I Nov 20 22:45:10:168140 1:1 ZOLGL (f): Produced 9 frames\n";
  const Outcome outcome =
      run(zolrun({"--show-fps", "--log-level", "debug", "--log-dir", folder, "sh", "-c", kLogging}),
          {{"DISPLAY", server->name()}});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.err, kReportLine);
  EXPECT_EQ(lineOf(outcome.out, "level "), "debug");
  EXPECT_EQ(lineOf(outcome.out, "folder "), folder);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2);
  std::filesystem::remove_all(folder);
}

TEST(Zolrun, SaysThatThereIsNoRoomForTheReports) {
  const auto server = startXzol();
  const Outcome outcome =
      run(zolrun({"--show-fps", "true"}), {{"DISPLAY", server->name()}, {"TMPDIR", "/proc"}});
  EXPECT_EQ(outcome.status, 125);
  EXPECT_TRUE(
      outcome.err.starts_with("zolrun: cannot make a folder for the library's log: /proc/zolrun-"))
      << outcome.err;
}

TEST(Zolrun, BecomesTheCommand) {
  const auto server = startXzol();
  Program program(zolrun({"--", "sh", "-c", "echo $$; exit 42"}), {{"DISPLAY", server->name()}});
  const std::string pid = std::to_string(program.pid());
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.out, pid + "\n");
  EXPECT_EQ(outcome.status, 42);
}

TEST(ZolrunHeadless, TheScreenIsPrivateAndHasTheSizeAskedFor) {
  const Outcome outcome = run(zolrun({"--headless", "--geometry", "803x601", "xdpyinfo"}));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("dimensions:    803x601 pixels"), std::string::npos);
  EXPECT_NE(outcome.out.find("ZOL-V1"), std::string::npos);
}

TEST(ZolrunHeadless, ANamedGLDisplayTakesThePlaceOfTheSoftwareOne) {
  const auto gl = startXzol();
  const std::string script = "echo DISPLAYS: $DISPLAY $ZOL_GL_DISPLAY";
  const auto expectUsed = [&](const Outcome& outcome) {
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.ends_with(" " + gl->name() + "\n")) << outcome.out;
  };
  expectUsed(run(zolrun({"--headless", "--gl-display", gl->name(), "sh", "-c", script}),
                 {{"ZOL_GL_DISPLAY", ":59997"}}));
  expectUsed(run(headless(script), {{"ZOL_GL_DISPLAY", gl->name()}}));
}

TEST(ZolrunHeadless, FramesAreFinishedBeforeTheySwapWhereTheProcessorRenders) {
  const auto gl = startXzol();
  const std::string script = "echo ${ZOL_GL_FINISH_BEFORE_SWAP-unset}";
  EXPECT_EQ(run(headless(script)).out, "true\n");
  EXPECT_EQ(run(headless(script), {{"ZOL_GL_FINISH_BEFORE_SWAP", "0"}}).out, "0\n");
  EXPECT_EQ(
      run(zolrun({"--headless", "--set", "finish-before-swap=false", "sh", "-c", script})).out,
      "false\n");
  EXPECT_EQ(run(headless(script), {{"ZOL_GL_DISPLAY", gl->name()}}).out, "unset\n");
}

// Starts glxgears in a script; a library that was built with a sanitizer needs its runtime first.
constexpr char kGears[] = "LD_PRELOAD='" ZOL_SANITIZER_RUNTIME "' glxgears >/dev/null 2>&1 & ";

// GLVND falls back on another vendor in silence, so what was loaded is looked at.
TEST(ZolrunHeadless, GoesThroughBothLibrariesToTheDriver) {
  const Outcome outcome = run(headless(
      std::string(kGears) + "until grep -q libGLX_mesa /proc/$!/maps; do sleep 0.05; done; "
                            "grep -o '/[^ ]*libGLX_zol[a-z]*[.]so[.]0' /proc/$!/maps | sort -u; "
                            "kill $!"));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out,
            ZOL_LIBRARY_FOLDER "/libGLX_zol.so.0\n" ZOL_LIBRARY_FOLDER "/libGLX_zolsoft.so.0\n");
}

TEST(ZolrunHeadless, ShowsTheFrameRateThatTheLibraryReports) {
  const Outcome outcome = run(zolrun(
      {"--headless", "--show-fps", "--", "sh", "-c",
       std::string(kGears) + "until grep -qs Produced $ZOL_GL_LOG_DIR/*; do sleep 0.05; done; "
                             "echo process $!; kill $!"}));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  const std::string report = "zolrun: process " + lineOf(outcome.out, "process ") + ": Produced ";
  EXPECT_NE(outcome.err.find(report), std::string::npos) << outcome.err;
}

// The library says so by itself, wherever its log goes.
TEST(ZolrunHeadless, SaysOnlyOnceWhatTheDriverLacksBesideTheFrameRate) {
  const Outcome outcome =
      run(zolrun({"--headless", "--show-fps", "--", "sh", "-c",
                  "LD_PRELOAD='" ZOL_SANITIZER_RUNTIME "' glxinfo -B >/dev/null"}),
          {{"ZOL_GL_LOG_DIR", ""}});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  const std::string lack = "system_glXJoinSwapGroupNV is NULL";
  const size_t first = outcome.err.find(lack);
  EXPECT_NE(first, std::string::npos) << outcome.err;
  EXPECT_EQ(first, outcome.err.rfind(lack)) << outcome.err;
}

TEST(ZolrunHeadless, PassesTheExitStatusOnAndLeavesNoProcess) {
  adoptOrphans();
  const Outcome outcome = run(headless("exit 7"));
  EXPECT_EQ(outcome.status, 7);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(children(), std::vector<pid_t>());
}

// What comes of a signal to zolrun with a command that has set such a trap.
void expectEnd(const std::string& trap, int signal, int status) {
  RunningZolrun zolrun(trap + "; echo set; " + kWait);
  zolrun.program.waitForOutput("set\n");
  const Traces traces(zolrun.program.output());
  zolrun.program.signal(signal);
  EXPECT_EQ(zolrun.program.wait().status, status);
  traces.expectGone();
}

TEST(ZolrunHeadless, ACommandKilledByASignalGives128AndItsNumber) {
  expectEnd("trap 'kill -SEGV $$' HUP", SIGHUP, 128 + SIGSEGV);
}

TEST(ZolrunHeadless, SignalsReachTheCommandWhichMayAnswerThem) {
  for (int signal : {SIGTERM, SIGHUP, SIGINT, SIGQUIT}) {
    const std::string script =
        "trap 'echo told; exit 9' " + std::to_string(signal) + "; echo set; " + kWait;
    RunningZolrun zolrun(script);
    zolrun.program.waitForOutput("set\n");
    const Traces traces(zolrun.program.output());
    zolrun.program.signal(signal);
    const Outcome outcome = zolrun.program.wait();
    EXPECT_EQ(outcome.status, 9) << strsignal(signal);
    EXPECT_TRUE(outcome.out.ends_with("set\ntold\n")) << outcome.out;
    traces.expectGone();
  }
}

TEST(ZolrunHeadless, ACommandThatIgnoresTheRequestToEndIsKilled) {
  expectEnd("trap '' TERM", SIGTERM, 128 + SIGKILL);
}

TEST(ZolrunHeadless, CtrlCAtTheTerminalReachesTheCommandOnce) {
  RunningZolrun zolrun(std::string("trap 'echo told' INT; trap 'exit 9' USR1; echo set; ") + kWait,
                       true);
  zolrun.program.waitForOutput("set\r\n");
  const Traces traces(zolrun.program.output());
  zolrun.program.typeKey('\x03');
  zolrun.program.waitForOutput("told\r\n");
  // The servers are still there for the command to finish its work.
  EXPECT_EQ(childrenOf(zolrun.program.pid()).size(), 3U);
  zolrun.program.signal(SIGTERM);
  const Outcome outcome = zolrun.program.wait();
  EXPECT_EQ(outcome.status, 128 + SIGTERM);
  const std::string text = withoutReturns(outcome.out);
  EXPECT_EQ(text.find("told"), text.rfind("told")) << text;
  traces.expectGone();
}

TEST(ZolrunHeadless, CtrlCEndsACommandThatDoesNotCatchIt) {
  RunningZolrun zolrun("exec sleep 1000", true);
  const Traces traces(zolrun.program.output());
  zolrun.program.typeKey('\x03');
  EXPECT_EQ(zolrun.program.wait().status, 128 + SIGINT);
  traces.expectGone();
}

TEST(ZolrunHeadless, WhatTheCommandLeavesRunningEndsWithTheDisplays) {
  RunningZolrun zolrun("(trap '' HUP; sleep 1000) & setsid sleep 1000 & (trap '' TERM; echo set; " +
                       std::string(kWait) + ") & sleep 0.2; exit 3");
  zolrun.program.waitForOutput("set\n");
  const Traces traces(zolrun.program.output());
  EXPECT_EQ(zolrun.program.wait().status, 3);
  traces.expectGone();
}

TEST(ZolrunHeadless, EverythingEndsWithAZolrunThatIsKilled) {
  RunningZolrun zolrun("exec sleep 1000");
  const Traces traces(zolrun.program.output());
  zolrun.program.signal(SIGKILL);
  EXPECT_EQ(zolrun.program.wait().status, 128 + SIGKILL);
  waitForChildren();
  traces.expectGone();
}

TEST(ZolrunHeadless, LeavesNoSharedMemory) {
  const auto segmentsOf = [](pid_t maker) {
    std::ifstream table("/proc/sysvipc/shm");
    std::string line;
    std::getline(table, line); // the heading
    int count = 0;
    while (std::getline(table, line)) {
      std::istringstream fields(line);
      std::string key, id, mode, size, creator;
      fields >> key >> id >> mode >> size >> creator;
      count += creator == std::to_string(maker);
    }
    return count;
  };
  for (const char* end : {"TERM", "KILL"}) {
    // Long enough to have a segment in use.
    Program program(headless(std::string(kGears) +
                             "echo maker $!; "
                             "until grep -q SYSV /proc/$!/maps; do sleep 0.05; done; kill -" +
                             std::string(end) + " $!; wait $! 2>/dev/null; echo done"));
    program.waitForOutput("done\n");
    const pid_t maker = std::stoi(lineOf(program.output(), "maker "));
    program.wait();
    EXPECT_EQ(segmentsOf(maker), 0) << end;
  }
}

} // namespace

} // namespace zol::test
