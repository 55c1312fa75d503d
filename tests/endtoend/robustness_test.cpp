// Programs that end, fork, close and destroy things at a moment that does not suit the library.

#include "endtoend/delivery.h"
#include "endtoend/observer.h"
#include "endtoend/picture_program.h"
#include "rig/shared_segments.h"

#include <csignal>
#include <cstdio>

namespace zol::endtoend {
namespace {

constexpr std::uint32_t kMagenta = 0xff00ff;

// Frames wait for half a second before they are painted, so that the test comes in between.
const Environment kSlow = {{"ZOL_GL_COPYBACK_FRAME_RATE", "2"}};

class Robustness : public testing::TestWithParam<Delivery> {
protected:
  // The program shows frames as before, in a window of its own.
  void expectAlive(PictureProgram& program) {
    const Window window = program.stage("alive", "300 200 24 double 600 0");
    expectAlive(program, window);
  }
  // In one that it has already: no window is created, so none that is gone is cleared away.
  void expectAlive(PictureProgram& program, Window window) {
    program.ask("current alive alive");
    for (int frame = 101; frame <= 102; ++frame) {
      program.ask("frames bar " + std::to_string(frame) + " " + std::to_string(frame));
      EXPECT_TRUE(observer_.shows(window, paintedScene("bar", frame, 300, 200)));
    }
    EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  }

  // Whether a frame of 300 by 200 pixels was painted, or tried to, this often.
  bool hasTried(PictureProgram& program, Window window, int times) const {
    char put[64];
    std::snprintf(put, sizeof put, "XPutting image on %lx, size 300 200", window);
    int count = 0;
    for (const rig::LogRecord& record : program.log().all()) {
      count +=
          record.message == put ||
          // The automatic choice of a strategy ends here when there is no window to try.
          record.message == "Could not setup XImagePainter - shared and non-shared memory failure";
    }
    return count >= times;
  }

  Environment environment() const { return GetParam().environment(); }

  Folder folder_;
  const std::string display_ = GetParam().display();
  Observer observer_{display_};
};

TEST_P(Robustness, OfAProgramThatDestroysItsWindowBeforeAFrameIsPainted) {
  PictureProgram program(folder_, display_, joined(environment(), kSlow));
  const Window alive = program.stage("alive", "300 200 24 double 600 0");
  const Window window = program.stage("w", "300 200 24 double 0 0");
  program.ask("frames bar 1 3");
  program.ask("destroy w");
  EXPECT_TRUE(observer_.waitFor(alive, [&] { return hasTried(program, window, 1); }));
  expectAlive(program, alive);
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_P(Robustness, OfAProgramWhoseWindowAnotherClientDestroysBeforeAFrameIsPainted) {
  PictureProgram program(folder_, display_, joined(environment(), kSlow));
  const Window alive = program.stage("alive", "300 200 24 double 600 0");
  const Window window = program.stage("w", "300 200 24 double 0 0");
  program.ask("frames bar 1 1");
  ASSERT_TRUE(observer_.shows(window, paintedScene("bar", 1, 300, 200)));
  program.ask("frames bar 2 3");
  XDestroyWindow(observer_.display(), window);
  XSync(observer_.display(), False);
  EXPECT_TRUE(observer_.waitFor(alive, [&] { return hasTried(program, window, 2); }));
  expectAlive(program, alive);
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_P(Robustness, OfAProgramThatGoesOnDrawingInADestroyedWindow) {
  PictureProgram program(folder_, display_, environment());
  const Window window = program.stage("w", "300 200 24 double 0 0");
  program.ask("frames bar 1 1");
  ASSERT_TRUE(observer_.shows(window, paintedScene("bar", 1, 300, 200)));
  XDestroyWindow(observer_.display(), window);
  XSync(observer_.display(), False);
  program.ask("frames bar 2 20");
  expectAlive(program);
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_P(Robustness, OfAProgramThatEndsWhileAFrameWaits) {
  for (const char* ending : {"exit 3", "_exit 3"}) {
    PictureProgram program(folder_, display_, joined(environment(), kSlow));
    program.stage("w", "300 200 24 double 0 0");
    program.ask("frames bar 1 3");
    program.write(std::string("0 ") + ending + "\n");
    EXPECT_EQ(program.wait(), 3) << ending << "\n" << program.errors();
  }
}

TEST_P(Robustness, OfAProgramThatIsKilledWhileAFrameWaits) {
  PictureProgram program(folder_, display_, joined(environment(), kSlow));
  program.stage("w", "300 200 24 double 0 0");
  program.ask("frames bar 1 3");
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait(), -SIGTERM);
}

TEST_P(Robustness, OfAProgramThatClosesItsDisplayBeforeItEnds) {
  PictureProgram program(folder_, display_, environment());
  program.stage("w", "300 200 24 double 0 0");
  program.ask("frames bar 1 3");
  program.ask("release");
  program.ask("close-display");
  EXPECT_EQ(program.end(), 0) << program.errors();
}

// The context is still current, and a frame still waits.
TEST_P(Robustness, OfAProgramThatClosesItsDisplayInTheMiddle) {
  PictureProgram program(folder_, display_, joined(environment(), kSlow));
  program.stage("w", "300 200 24 double 0 0");
  program.ask("frames bar 1 3");
  program.ask("close-display");
  EXPECT_EQ(program.end(), 0) << program.errors();
}

// The child has no copyback thread, and must not wait for one.
TEST_P(Robustness, OfAChildThatEndsWithoutAnotherProgram) {
  PictureProgram program(folder_, display_, environment());
  program.stage("w", "300 200 24 double 0 0");
  program.ask("frames bar 1 3");
#ifdef __SANITIZE_THREAD__
  std::fputs(
      "NOT RUN with the thread sanitizer: a child that ends by exit(). Mesa then joins threads "
      "that only the parent has, and the sanitizer waits for them for ever.\n",
      stderr);
#else
  EXPECT_EQ(program.ask("fork exit"), "status 7") << program.errors();
#endif
  EXPECT_EQ(program.ask("fork _exit"), "status 7") << program.errors();
  program.ask("frames bar 4 6");
  expectAlive(program);
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_P(Robustness, OfTheServersThroughAHundredWindows) {
  PictureProgram program(folder_, display_, environment());
  const Observer local(localDisplay());
  // The first ones bring what stays.
  program.ask("cycle 10");
  expectAlive(program);
  const std::vector<std::string> app = observer_.resources(), here = local.resources();
  const std::vector<int> segments = rig::sharedSegmentsOf(program.pid());
  // What a window shows is nobody's but its user's.
  EXPECT_EQ(segments, std::vector<int>(segments.size(), 0600));
  EXPECT_FALSE(segments.empty()) << "nothing to count";
  program.ask("cycle 100");
  program.ask("forget alive");
  program.ask("destroy alive");
  expectAlive(program);
  // What a pass of the copyback thread still holds goes with the next one.
  EXPECT_TRUE(observer_.waitFor(None, [&] { return observer_.resources() == app; }))
      << testing::PrintToString(app) << "\n"
      << testing::PrintToString(observer_.resources());
  EXPECT_EQ(local.resources(), here);
  const pid_t process = program.pid();
  EXPECT_TRUE(observer_.waitFor(None, [&] { return rig::sharedSegmentsOf(process) == segments; }))
      << rig::sharedSegmentsOf(process).size() << " in place of " << segments.size();
  EXPECT_EQ(program.end(), 0) << program.errors();
  EXPECT_TRUE(observer_.waitFor(None, [&] { return rig::sharedSegmentsOf(process).empty(); }));
}

TEST_P(Robustness, OfAProgramThatLoadsGlLateAndLetsGoOfIt) {
  Program program(folder_, {ZOL_LATE_GL}, joined(environment(), {{"DISPLAY", display_}}));
  const std::string shown = program.readLine();
  ASSERT_EQ(shown.substr(0, 6), "shown ") << program.errors();
  EXPECT_TRUE(program.hasLoaded("libGLX_zol.so.0"));
  const Picture expected{64, 64, std::vector<std::uint32_t>(64 * 64, kMagenta)};
  EXPECT_TRUE(observer_.shows(std::stoul(shown.substr(6), nullptr, 16), expected));
  program.write("\n");
  EXPECT_EQ(program.readLine(), "closed") << program.errors();
  program.write("\n");
  EXPECT_EQ(program.wait(), 0) << program.errors();
}

INSTANTIATE_TEST_SUITE_P(, Robustness,
                         testing::Values(Delivery{0, true, false}, Delivery{1, true, true},
                                         Delivery{2, true, false}, Delivery{2, false, true}),
                         [](const auto& test) { return test.param.name(); });

} // namespace
} // namespace zol::endtoend
