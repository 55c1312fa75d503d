// The launcher: what it refuses, what it starts, and that it leaves nothing behind.

#include "fixture.h"
#include "tests/tools/program.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>

namespace zol::test {

namespace {

struct Refusal {
  std::vector<std::string> options;
  std::string message;
};

std::string socketOf(const std::string& display) {
  return "/tmp/.X11-unix/X" + display.substr(1);
}

// The name of the display that the launcher has printed.
std::string printedDisplay(Program& xzol) {
  xzol.waitForOutput("\n");
  return xzol.output().substr(0, xzol.output().find('\n'));
}

// The files of a display: a number that no server of this machine picks by itself.
struct FixedDisplay {
  std::string name = ":" + std::to_string(20000 + getpid() % 30000);
  std::string socket = socketOf(name);
  std::string lock = "/tmp/.X" + name.substr(1) + "-lock";
};

TEST(Xzol, RefusesOptionsThatMakeNoSenseByName) {
  const std::vector<Refusal> refusals = {
      {{"--frobnicate"}, "unknown option --frobnicate"},
      {{"--geometry"}, "--geometry needs a value"},
      {{"--geometry", "big"}, "--geometry big is not of the form WxH"},
      {{"--geometry", "12x"}, "--geometry 12x is not of the form WxH"},
      {{"--geometry=800x600x24"}, "--geometry 800x600x24 is not of the form WxH"},
      {{"--geometry", "-800x600"}, "--geometry -800x600 is not of the form WxH"},
      {{"--geometry", "63x600"}, "--geometry 63x600 is not between 64x128 and 8192x8192"},
      {{"--geometry", "800x8193"}, "--geometry 800x8193 is not between 64x128 and 8192x8192"},
      {{"--gl-display"}, "--gl-display needs a value"},
      {{"--auth"}, "--auth needs a value"},
      {{"--auth="}, "--auth needs the name of a file"},
      {{"--gl-display", ":0\""}, "--gl-display holds a quotation mark or a control character"},
      {{"--vendor-names", "a\nb"}, "--vendor-names holds a quotation mark or a control character"},
      {{"--gl-display", std::string(256, 'x')}, "--gl-display is longer than 255 characters"},
      {{"-displayfd"}, "-displayfd needs a value"},
      {{"-displayfd", "x"}, "-displayfd x is no file descriptor"},
      {{":"}, ": is no display number"},
      {{":1.0"}, ":1.0 is no display number"},
      {{":60000"}, ":60000 is no display number"},
      {{"-config", "/x", "--geometry", "800x600"},
       "-config takes the place of --geometry, --gl-display and --vendor-names; give it alone"},
  };
  for (const Refusal& refusal : refusals) {
    std::vector<std::string> words = refusal.options;
    words.insert(words.begin(), ZOL_XZOL);
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, 2) << refusal.message;
    EXPECT_EQ(outcome.err, "Xzol: " + refusal.message + "\nTry \"Xzol --help\".\n");
    EXPECT_EQ(outcome.out, "");
  }
}

TEST(Xzol, TellsItsVersionAndItsOptions) {
  const Outcome version = run({ZOL_XZOL, "--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "Xzol " ZOL_VERSION "\n");
  const Outcome help = run({ZOL_XZOL, "--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* option :
       {"--geometry WxH", "--gl-display NAME", "--vendor-names NAMES", "--auth FILE"}) {
    EXPECT_NE(help.out.find(option), std::string::npos) << option;
  }
}

TEST(Xzol, HandsQuestionsToTheXServerOn) {
  const Outcome outcome = run({ZOL_XZOL, "-version"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.err.find("X.Org X Server"), std::string::npos) << outcome.err;
}

TEST(Xzol, SaysWhyTheXServerRefusesToStart) {
  const Outcome outcome = run({ZOL_XZOL, "-frobnicate"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Xzol: the X server ended with status 1:\n"
                         "  Unrecognized option: -frobnicate\n");
}

TEST(Xzol, SaysWhatTheLogSaysWhenTheXServerCannotStart) {
  const Outcome outcome = run({ZOL_XZOL, "-config", "/proc/self/status"});
  EXPECT_NE(outcome.status, 0);
  EXPECT_NE(outcome.err.find("Xzol: the X server ended with status"), std::string::npos);
  EXPECT_NE(outcome.err.find("Problem parsing the config file"), std::string::npos) << outcome.err;
}

TEST(Xzol, SaysThatADisplayIsTaken) {
  const auto server = startXzol();
  const Outcome outcome = run({ZOL_XZOL, server->name()});
  EXPECT_NE(outcome.status, 0);
  EXPECT_NE(outcome.err.find("already"), std::string::npos) << outcome.err;
}

TEST(Xzol, PrintsTheDisplayThatItPicked) {
  Program xzol({ZOL_XZOL});
  EXPECT_EQ(sizeOfRoot(printedDisplay(xzol)), (std::vector<uint32_t>{1280, 1024}));
  xzol.signal(SIGTERM);
  EXPECT_EQ(xzol.wait().status, 0);
}

TEST(Xzol, TheScreenHasExactlyTheSizeAskedFor) {
  using Size = std::vector<uint32_t>;
  for (const Size& size : {Size{64, 128}, Size{640, 480}, Size{1921, 1081}, Size{8192, 8192}}) {
    const std::string text = std::to_string(size[0]) + "x" + std::to_string(size[1]);
    EXPECT_EQ(sizeOfRoot(startXzol({"--geometry", text})->name()), size);
  }
}

TEST(Xzol, HasTheExtensionsThatProgramsExpect) {
  const auto server = startXzol();
  XClient client(server->name(), ByteOrder::little);
  for (const char* name : {"ZOL-V1", "GLX", "MIT-SHM", "RANDR", "DAMAGE", "XTEST", "Composite"}) {
    EXPECT_NE(client.extension(name), 0) << name;
  }
}

TEST(Xzol, AnExtensionCanBeSwitchedOff) {
  const auto server = startXzol({"-extension", "MIT-SHM"});
  XClient client(server->name(), ByteOrder::little);
  EXPECT_EQ(client.extension("MIT-SHM"), 0);
  EXPECT_NE(client.extension("ZOL-V1"), 0);
}

// Whether a client got the answers; it does not when the reset after its predecessor's end throws
// it out.
bool expectAnswers(const std::string& display) {
  try {
    XClient client(display, ByteOrder::little);
    const uint8_t zol = client.extension("ZOL-V1");
    const uint8_t glx = client.extension("GLX");
    const Response name = client.ask(client.request(zol, 1).finish());
    const Response vendors = client.ask(client.request(glx, 19).put32(0).put32(0x20F6).finish());
    EXPECT_EQ(name.data(), (std::vector<uint8_t>{':', '9', '.', '0'}));
    EXPECT_STREQ(reinterpret_cast<const char*>(vendors.data().data()), "zol mesa");
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

TEST(Xzol, AServerResetKeepsItsExtension) {
  const auto server = startXzol({"--gl-display", ":9.0", "-reset"});
  for (int i = 0; i < 3; ++i) { // the last client's end resets the server
    while (!expectAnswers(server->name())) {
    }
  }
}

TEST(Xzol, LeavesNothingBehindWhenItIsAskedToEnd) {
  adoptOrphans();
  const FixedDisplay display;
  for (int signal : {SIGTERM, SIGINT}) {
    Program xzol({ZOL_XZOL, display.name, "-displayfd", "1"});
    xzol.waitForOutput(display.name.substr(1) + "\n");
    EXPECT_TRUE(std::filesystem::exists(display.socket));
    xzol.signal(signal);
    EXPECT_EQ(xzol.wait().status, 0);
    EXPECT_EQ(children(), std::vector<pid_t>());
    EXPECT_FALSE(std::filesystem::exists(display.socket));
    EXPECT_FALSE(std::filesystem::exists(display.lock));
  }
}

bool hasEnded(pid_t child) {
  siginfo_t info{};
  return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == child;
}

// The lock is taken before the server has prepared itself for being asked to end.
TEST(Xzol, ADisplayAskedForByNumberIsLockedAndFreedAtAnyTime) {
  for (int i = 0; i < 10; ++i) {
    const FixedDisplay display;
    Program xzol({ZOL_XZOL, display.name});
    while (!std::filesystem::exists(display.lock)) {
      ASSERT_FALSE(hasEnded(xzol.pid())) << xzol.wait().err;
    }
    xzol.signal(SIGTERM);
    xzol.wait();
    EXPECT_FALSE(std::filesystem::exists(display.lock));
    EXPECT_FALSE(std::filesystem::exists(display.socket));
  }
}

TEST(Xzol, TellsAParentThatIgnoresTheSignalWhenItIsReady) {
  const FixedDisplay display;
  sigset_t ready;
  sigemptyset(&ready);
  sigaddset(&ready, SIGUSR1);
  sigprocmask(SIG_BLOCK, &ready, nullptr);
  // The shell's child is this process's: exec keeps the parent.
  Program xzol({"sh", "-c", "trap '' USR1; exec \"$0\" \"$1\"", ZOL_XZOL, display.name});
  siginfo_t info{};
  EXPECT_EQ(sigwaitinfo(&ready, &info), SIGUSR1);
  EXPECT_EQ(info.si_pid, xzol.pid());
  EXPECT_EQ(sizeOfRoot(display.name), (std::vector<uint32_t>{1280, 1024}));
  xzol.signal(SIGTERM);
  xzol.wait();
}

TEST(Xzol, TheXServerEndsWithAnXzolThatIsKilled) {
  adoptOrphans();
  const FixedDisplay display;
  Program xzol({ZOL_XZOL, display.name, "-displayfd", "1"});
  xzol.waitForOutput("\n");
  const std::vector<pid_t> xorg = childrenOf(xzol.pid());
  ASSERT_EQ(xorg.size(), 1U);
  xzol.signal(SIGKILL);
  EXPECT_EQ(xzol.wait().status, 128 + SIGKILL);
  waitForChildren();
  EXPECT_FALSE(std::filesystem::exists(display.socket));
}

TEST(Xzol, TellsThatTheXServerWasKilled) {
  Program xzol({ZOL_XZOL});
  const std::string name = printedDisplay(xzol);
  const std::vector<pid_t> xorg = childrenOf(xzol.pid());
  ASSERT_EQ(xorg.size(), 1U);
  kill(xorg[0], SIGKILL);
  const Outcome outcome = xzol.wait();
  EXPECT_EQ(outcome.status, 128 + SIGKILL);
  EXPECT_NE(outcome.err.find("Xzol: the X server was killed by Killed"), std::string::npos)
      << outcome.err;
  std::filesystem::remove(socketOf(name));
}

TEST(Xzol, WritesItsLogWhereItIsToldTo) {
  const std::filesystem::path log =
      std::filesystem::temp_directory_path() / ("xzol-test-" + std::to_string(getpid()) + ".log");
  startXzol({"-logfile", log.string()});
  std::ifstream file(log);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  EXPECT_NE(text.find("Initializing extension ZOL-V1"), std::string::npos);
  std::filesystem::remove(log);
}

TEST(Xzol, WritesNoFileByItself) {
  const std::filesystem::path home =
      std::filesystem::temp_directory_path() / ("xzol-test-" + std::to_string(getpid()));
  std::filesystem::create_directory(home);
  const FixedDisplay display;
  Program xzol(
      {"sh", "-c", "cd \"$HOME\" && exec \"$0\" \"$1\" -displayfd 1", ZOL_XZOL, display.name},
      {{"HOME", home.string()}, {"TMPDIR", home.string()}});
  printedDisplay(xzol);
  EXPECT_TRUE(std::filesystem::is_empty(home));
  EXPECT_FALSE(std::filesystem::exists("/var/log/Xorg." + display.name.substr(1) + ".log"));
  xzol.signal(SIGTERM);
  xzol.wait();
  std::filesystem::remove_all(home);
}

} // namespace

} // namespace zol::test
