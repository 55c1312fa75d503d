#include "frame/frame_rig.h"

#include <algorithm>
#include <atomic>
#include <thread>

using namespace zol::rig;

namespace {

constexpr int kFrames = 50;

// Each window has one read context, which can be current to one thread at a time: the recording
// driver complains when two of them meet in it.
TEST_F(FrameRig, ThreadsThatShareAWindowTakeTurnsWithItsReadContext) {
  open();
  ASSERT_EQ(makeCurrent(display_, None, nullptr), True);
  const GLXContext contexts[] = {context_, createContext(display_, visuals_.doubled)};
  outside::letDeliveriesPass();
  recorder().setHook("glReadPixels", std::this_thread::yield);
  std::atomic<int> waiting = 2;
  const auto render = [&](GLXContext context) {
    EXPECT_EQ(makeCurrent(display_, window_, context), True);
    --waiting;
    while (waiting > 0)
      std::this_thread::yield();
    for (int frame = 0; frame < kFrames; ++frame)
      swap(display_, window_);
    EXPECT_EQ(GL_OF(host(), glXGetCurrentContext)(), context);
    EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  };
  forget();
  std::thread first(render, contexts[0]), second(render, contexts[1]);
  first.join();
  second.join();
  const Lines calls = driverCallsOfOthers();
  const auto count = [&](const std::string& call) {
    return std::count_if(calls.begin(), calls.end(),
                         [&](const std::string& line) { return matchesLine(call, line); });
  };
  EXPECT_EQ(count("glXSwapBuffers(local, pbuffer2)"), 2 * kFrames);
  EXPECT_EQ(count("glReadPixels(<any>"), 2 * kFrames);
  EXPECT_EQ(recorder().complaints(), Lines{});
}

} // namespace
