// The frames after something went wrong, or nearly so.

#include "frame/frame_rig.h"

using namespace zol::rig;

namespace {

class Recovery : public FrameRig {};

TEST_F(Recovery, OfAReadContextThatCouldNotBeBoundPreparesItWithTheNextFrame) {
  open();
  pastFrame();
  recorder().fail("glXMakeCurrent", 1); // it is lost
  recorder().fail("glXMakeCurrent", 3); // and so is its successor
  swap(display_, window_);
  forget();
  swap(display_, window_);
  const Lines calls = driverCalls();
  EXPECT_TRUE(hasLine(calls, "glPixelStorei(GL_PACK_ALIGNMENT, 1)"));
  EXPECT_TRUE(hasLine(calls, "glReadPixels(<any>"));
}

TEST_F(Recovery, OfAWindowWithoutDrawingNeedsOneSampleOnly) {
  openFor(&Visuals::single);
  const auto flush = GL_OF(host(), glFlush);
  flush(); // a fresh context counts as drawn to
  recorder().setQueryResult(1);
  forget();
  flush();
  const Lines calls = driverCalls();
  EXPECT_TRUE(hasLine(calls, "glFinish()"));
  EXPECT_FALSE(hasLine(calls, "glFlush()"));
}

// The server has made no graphics context for it either, but is told to free one.
TEST_F(Recovery, OfAWindowThatWasGoneBeforeItsFirstFrameRaisesNoError) {
  countXErrors();
  set("ZOL_GL_COPYBACK_STRATEGY", "2");
  open();
  const GLXContext spare = createContext(display_, visuals_.doubled);
  const Window gone = window_;
  window_ = createWindow(display_, visuals_.doubled, 64, 48);
  ASSERT_EQ(makeCurrent(display_, window_, context_), True); // known from here on
  ASSERT_EQ(makeCurrent(display_, gone, context_), True);
  swap(display_, gone);
  destroyWindow(gone);
  ASSERT_EQ(makeCurrent(display_, window_, context_), True);
  recorder().setFrame(picture(1));
  swap(display_, window_);
  deliver(pictureOf(1, 64, 48), 64, 48);
  forget();
  GL_OF(host(), glXDestroyContext)(display_, spare); // forgets windows that are gone
  EXPECT_TRUE(hasLine(logged(), debugLine(kClearDeletedLabel, "deleting 0x" + hex(gone))));
  recorder().setFrame(picture(2));
  swap(display_, window_);
  outside::letDeliveriesPass();
  EXPECT_TRUE(
      eventually([&] { return pixels(display_, window_, 64, 48) == pictureOf(2, 64, 48); }));
  EXPECT_EQ(xErrors(), 0);
}

} // namespace
