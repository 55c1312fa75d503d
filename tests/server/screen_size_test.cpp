// The size of the screen while the server runs: xrandr takes it to any that fits into its memory.

#include "fixture.h"
#include "tests/tools/program.h"

namespace zol::test {

namespace {

using Words = std::vector<std::string>;
using Size = std::vector<uint32_t>;

Outcome xrandr(const std::string& display, Words options) {
  options.insert(options.begin(), {"xrandr", "--display", display});
  return run(options);
}

void expectXrandr(const std::string& display, const Words& options, const Size& size) {
  const Outcome outcome = xrandr(display, options);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(sizeOfRoot(display), size);
}

TEST(ScreenSize, IsOfferedForOneScreenAndForSeveral) {
  const auto server = startXzol({"--geometry", "1300x777"});
  const Outcome outcome = xrandr(server->name(), {"--query"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  for (const char* size : {"640x480", "1280x1024", "1920x1080", "2560x1440", "3840x1080",
                           "3840x2160", "5760x1080", "7680x4320", "8192x8192"}) {
    EXPECT_NE(outcome.out.find("\n   " + std::string(size) + " "), std::string::npos) << size;
  }
  // The current and preferred one.
  EXPECT_NE(outcome.out.find("\n   1300x777      60.00*+\n"), std::string::npos) << outcome.out;
}

TEST(ScreenSize, ChangesToAnyThatIsOffered) {
  const auto server = startXzol();
  for (const Size& size : {Size{640, 480}, Size{5760, 1080}, Size{8192, 8192}, Size{1280, 1024}}) {
    const std::string mode = std::to_string(size[0]) + "x" + std::to_string(size[1]);
    expectXrandr(server->name(), {"--output", "DUMMY0", "--mode", mode}, size);
  }
}

TEST(ScreenSize, GrowsToAnySizeAroundTheModeShown) {
  const auto server = startXzol({"--geometry", "640x480"});
  expectXrandr(server->name(), {"--fb", "1001x613"}, {1001, 613});
  expectXrandr(server->name(), {"--fb", "3333x2222"}, {3333, 2222});
  expectXrandr(server->name(), {"--fb", "20000x1000"}, {20000, 1000});
  expectXrandr(server->name(), {"--fb", "640x480"}, {640, 480});
}

TEST(ScreenSize, ShrinksToAnySizeWithASmallerMode) {
  const auto server = startXzol({"--geometry", "1920x1080"});
  expectXrandr(server->name(), {"--output", "DUMMY0", "--mode", "640x480", "--fb", "901x503"},
               {901, 503});
}

TEST(ScreenSize, TakesAModeOfTheUsers) {
  const auto server = startXzol();
  const Words mode = {"--newmode", "1501x901", "100", "1501", "1502", "1503",
                      "1504",      "901",      "902", "903",  "904"};
  EXPECT_EQ(xrandr(server->name(), mode).status, 0);
  EXPECT_EQ(xrandr(server->name(), {"--addmode", "DUMMY0", "1501x901"}).status, 0);
  expectXrandr(server->name(), {"--output", "DUMMY0", "--mode", "1501x901"}, {1501, 901});
}

TEST(ScreenSize, HoldsSeveralMonitorsSideBySide) {
  const auto server = startXzol({"--geometry", "1920x1080"});
  EXPECT_EQ(xrandr(server->name(), {"--addmode", "DUMMY1", "1280x720"}).status, 0);
  expectXrandr(server->name(), {"--output", "DUMMY1", "--mode", "1280x720", "--right-of", "DUMMY0"},
               {3200, 1080});
  const Outcome monitors = xrandr(server->name(), {"--listmonitors"});
  EXPECT_NE(monitors.out.find("Monitors: 2\n"), std::string::npos) << monitors.out;
}

TEST(ScreenSize, OfMoreThanItsMemoryIsRefusedAndTheServerLivesOn) {
  const auto server = startXzol();
  const Outcome outcome = xrandr(server->name(), {"--fb", "10000x10000"});
  EXPECT_NE(outcome.status, 0);
  EXPECT_NE(outcome.err.find("BadMatch"), std::string::npos) << outcome.err;
  EXPECT_EQ(sizeOfRoot(server->name()), (Size{1280, 1024}));
}

} // namespace

} // namespace zol::test
