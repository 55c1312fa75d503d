#include "frame/frame_rig.h"
#include "rig/lock_probe.h"

#include <algorithm>
#include <optional>

using namespace zol::rig;

namespace {

const std::string kFinish = "void zol_glFinish()";
const std::string kFlush = "void zol_glFlush()";

class Swap : public FrameRig {
protected:
  static bool readBack(const Lines& calls) { return countOf(calls, "glReadPixels(<any>") == 1; }
  static std::ptrdiff_t countOf(const Lines& calls, const std::string& call) {
    return std::count_if(calls.begin(), calls.end(),
                         [&](const std::string& line) { return matchesLine(call, line); });
  }
};

TEST_F(Swap, OfAnUnknownDrawableDoesNothing) {
  open();
  swap(display_, 0x00f00f00);
  EXPECT_LINES(logged(), {debugLine(kSwapBuffersLabel, "drawable f00f00"),
                          debugLine(kSwapBuffersLabel, "no local drawable")});
  swap(display_, None);
  EXPECT_LINES(logged(), {debugLine(kSwapBuffersLabel, "drawable 0")});
  swap(nullptr, window_);
  EXPECT_LINES(logged(), {debugLine(kSwapBuffersLabel, "drawable " + hex(window_))});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(Swap, OfASingleBufferedWindowOnlyReadsBack) {
  openFor(&Visuals::single);
  swap(display_, window_);
  const Lines calls = driverCalls();
  EXPECT_FALSE(hasLine(calls, "glXSwapBuffers(<any>"));
  EXPECT_TRUE(readBack(calls));
}

TEST_F(Swap, MayFinishFirst) {
  set("ZOL_GL_FINISH_BEFORE_SWAP", "1");
  open();
  swap(display_, window_);
  const Lines calls = driverCalls();
  EXPECT_LINES(Lines(calls.begin(), calls.begin() + 2),
               {"glFinish()", "glXSwapBuffers(local, pbuffer2)"});
}

TEST_F(Swap, MayDropEverySecondOne) {
  set("ZOL_GL_SKIP_DOUBLE_SWAP", "1");
  open();
  for (int frame = 1; frame <= 6; ++frame) {
    swap(display_, window_);
    const Lines lines = logged();
    const Lines calls = driverCalls();
    if (frame % 2 == 1) {
      EXPECT_EQ(calls.front(), "glXSwapBuffers(local, pbuffer2)");
      EXPECT_TRUE(readBack(calls));
    } else {
      EXPECT_EQ(calls, Lines{});
      EXPECT_LINES(lines, {debugLine(kSwapBuffersLabel, "drawable " + hex(window_))});
    }
  }
}

TEST_F(Swap, OfASingleBufferedWindowIsNeverDropped) {
  set("ZOL_GL_SKIP_DOUBLE_SWAP", "1");
  openFor(&Visuals::single);
  for (int frame = 0; frame < 2; ++frame) {
    swap(display_, window_);
    EXPECT_TRUE(readBack(driverCalls()));
  }
}

TEST_F(Swap, MayReadNothingBack) {
  set("ZOL_GL_NO_READBACK", "1");
  open();
  swap(display_, window_);
  EXPECT_LINES(logged(), {debugLine(kSwapBuffersLabel, "drawable " + hex(window_))});
  EXPECT_LINES(driverCalls(), {"glXSwapBuffers(local, pbuffer2)"});
}

// Other threads wait while the local display is used, and go on while pixels are on their way.
TEST_F(Swap, LocksTheLocalDisplayButNotForTheTransfer) {
  open();
  pastFrame();
  EXPECT_LOCKED(host(), display_, "glXSwapBuffers", swap(display_, window_));
  EXPECT_LOCKED(host(), display_, "glXMakeCurrent", swap(display_, window_));
  EXPECT_UNLOCKED(host(), display_, "glBufferData", swap(display_, window_));
  EXPECT_UNLOCKED(host(), display_, "glReadPixels", swap(display_, window_));
  recorder().setInteger(GL_RENDER_MODE, GL_SELECT);
  std::optional<LockProbe> restoring;
  recorder().setHook("glReadPixels", [&] { restoring.emplace(host(), display_, "glRenderMode"); });
  swap(display_, window_);
  recorder().setHook("glReadPixels", nullptr);
  EXPECT_TRUE(restoring->called());
  EXPECT_TRUE(restoring->held());
}

TEST_F(Swap, LocksTheLocalDisplayWhileItMakesTheReadContext) {
  for (const char* const function :
       {"glXCreateNewContext", "glXMakeCurrent", "glPixelStorei", "glViewport"}) {
    SCOPED_TRACE(function);
    if (display_ == nullptr) open();
    window_ = createWindow(display_, visuals_.doubled, 64, 48);
    ASSERT_EQ(makeCurrent(display_, window_, context_), True);
    EXPECT_LOCKED(host(), display_, function, swap(display_, window_));
  }
}

// Time ----------------------------------------------------------------------------------------

class FrameTime : public Swap {
protected:
  static constexpr std::uint64_t kBegin = 1000000000000;
  void frameAt(std::uint64_t milliseconds) {
    outside::setTime(kBegin + milliseconds);
    swap(display_, window_);
  }
};

TEST_F(FrameTime, IntervalMakesUpForFramesThatComeTooSoon) {
  set("ZOL_GL_READBACK_INTERVAL", "100");
  open();
  outside::recordSleeps();
  frameAt(0);
  EXPECT_EQ(outside::sleeps(), std::vector<std::uint64_t>{});
  frameAt(10); // returns at 100
  EXPECT_EQ(outside::sleeps(), std::vector<std::uint64_t>{90000});
  frameAt(110); // 10 after that: returns at 200
  EXPECT_EQ(outside::sleeps(), (std::vector<std::uint64_t>{90000, 90000}));
  frameAt(300); // exactly the interval since the last one
  frameAt(500);
  EXPECT_EQ(outside::sleeps().size(), 2u);
  frameAt(599);
  EXPECT_EQ(outside::sleeps(), (std::vector<std::uint64_t>{90000, 90000, 1000}));
}

TEST_F(FrameTime, NegativeIntervalAlwaysSleeps) {
  set("ZOL_GL_READBACK_INTERVAL", "-5");
  open();
  outside::recordSleeps();
  frameAt(0);
  ASSERT_EQ(outside::sleeps().size(), 1u);
  frameAt(outside::sleeps()[0] / 1000 + 10);
  ASSERT_EQ(outside::sleeps().size(), 2u);
  EXPECT_EQ(outside::sleeps()[1], static_cast<std::uint32_t>(-15 * 1000));
}

TEST_F(FrameTime, NoIntervalNeverSleeps) {
  open();
  outside::recordSleeps();
  frameAt(0);
  frameAt(0);
  EXPECT_EQ(outside::sleeps(), std::vector<std::uint64_t>{});
}

TEST_F(FrameTime, RateIsReportedAfterMoreThanFiveSeconds) {
  open();
  const std::string label = "I void zol::gl::DrawableInfo::incrementFpsCounter(<any>): ";
  frameAt(0);
  frameAt(2500);
  frameAt(5000);
  EXPECT_FALSE(hasLine(logged(), label + "<any>"));
  frameAt(5001);
  EXPECT_TRUE(
      hasLine(logged(), label + "Produced 4 frames in the last 5001 ms: average FPS 0.800"));
  frameAt(10001);
  EXPECT_FALSE(hasLine(logged(), label + "<any>"));
  frameAt(15001);
  EXPECT_TRUE(
      hasLine(logged(), label + "Produced 2 frames in the last 10000 ms: average FPS 0.200"));
}

// Finishing and flushing ----------------------------------------------------------------------

class Finish : public Swap {
protected:
  void get() {
    finish_ = GL_OF(host(), glFinish);
    flush_ = GL_OF(host(), glFlush);
    forget();
  }
  decltype(&::glFinish) finish_ = nullptr;
  decltype(&::glFlush) flush_ = nullptr;
};

TEST_F(Finish, WithNothingCurrentIsTheDrivers) {
  start();
  get();
  finish_();
  EXPECT_LINES(logged(), {debugLine(kFinish, "START")});
  flush_();
  EXPECT_LINES(logged(), {debugLine(kFlush, "START")});
  EXPECT_LINES(driverCalls(), {"glFinish()", "glFlush()"});
}

TEST_F(Finish, OfTheBackBufferIsTheDrivers) {
  open();
  get();
  finish_();
  EXPECT_LINES(logged(),
               {debugLine(kFinish, "START"), debugLine(kFinishOrFlushLabel, "draw 405, dbf 1")});
  EXPECT_LINES(driverCalls(), {"glFinish()"});
  flush_();
  EXPECT_LINES(logged(),
               {debugLine(kFlush, "START"), debugLine(kFinishOrFlushLabel, "draw 405, dbf 1")});
  EXPECT_LINES(driverCalls(), {"glFlush()"});
}

TEST_F(Finish, OfTheFrontBufferIsAFrame) {
  openFor(&Visuals::single);
  get();
  flush_();
  const Lines lines = logged();
  EXPECT_LINES(Lines(lines.begin(), lines.begin() + 3),
               {debugLine(kFlush, "START"), debugLine(kFinishOrFlushLabel, "draw 404, dbf 0"),
                debugLine(kFinishOrFlushLabel, "draw 404, dbf 0 - drawn 1 pixels")});
  const Lines calls = driverCalls();
  EXPECT_LINES(Lines(calls.begin(), calls.begin() + 5),
               {"glGenQueries(1) = 1", "glEndQuery(GL_SAMPLES_PASSED)",
                "glGetQueryObjectiv(1, GL_QUERY_RESULT, &)", "glBeginQuery(GL_SAMPLES_PASSED, 1)",
                "glFinish()"});
  EXPECT_TRUE(readBack(calls));
  EXPECT_EQ(countOf(calls, "glFinish()"), 1);
  EXPECT_FALSE(hasLine(calls, "glFlush()"));
}

TEST_F(Finish, WithNothingDrawnIsTheDriversAgain) {
  openFor(&Visuals::single);
  get();
  flush_(); // a fresh context counts as drawn to
  forget();
  recorder().setQueryResult(0);
  flush_();
  EXPECT_LINES(logged(),
               {debugLine(kFlush, "START"), debugLine(kFinishOrFlushLabel, "draw 404, dbf 0"),
                debugLine(kFinishOrFlushLabel, "draw 404, dbf 0 - drawn 0 pixels")});
  EXPECT_LINES(driverCalls(),
               {"glEndQuery(GL_SAMPLES_PASSED)", "glGetQueryObjectiv(1, GL_QUERY_RESULT, &)",
                "glBeginQuery(GL_SAMPLES_PASSED, 1)", "glFlush()"});
  recorder().setQueryResult(5);
  finish_();
  EXPECT_TRUE(readBack(driverCalls()));
}

TEST_F(Finish, WithoutQueriesIsAlwaysAFrame) {
  set("ZOL_GL_USE_SAMPLE_QUERIES", "0");
  openFor(&Visuals::single);
  get();
  recorder().setQueryResult(0);
  for (int i = 0; i < 2; ++i) {
    flush_();
    const Lines calls = driverCalls();
    EXPECT_EQ(calls.front(), "glFinish()");
    EXPECT_TRUE(readBack(calls));
  }
}

TEST_F(Finish, OfADestroyedContextDoesNothing) {
  open();
  get();
  GL_OF(host(), glXDestroyContext)(display_, context_);
  forget();
  finish_();
  EXPECT_LINES(logged(), {debugLine(kFinish, "START"),
                          debugLine(kFinishOrFlushLabel,
                                    "the context " + hex(context_) + " is already destroyed")});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(Finish, OfAnUnknownContextDoesNothing) {
  open();
  get();
  GL_OF(host(), glXDestroyContext)(display_, context_);
  makeCurrent(display_, window_, context_);
  forget();
  finish_();
  EXPECT_LINES(logged(), {debugLine(kFinish, "START"),
                          debugLine(kFinishOrFlushLabel, "cannot find context " + hex(context_) +
                                                             " in the context map")});
  EXPECT_EQ(driverCalls(), Lines{});
}

} // namespace
