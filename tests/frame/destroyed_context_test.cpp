#include "frame/frame_rig.h"

using namespace zol::rig;

namespace {

// A context that the program destroyed lives until it is taken off its thread: nothing that the
// library does on its own behalf may do that.
class DestroyedContext : public FrameRig {
protected:
  void destroy(GLXContext context) { GL_OF(host(), glXDestroyContext)(display_, context); }
  void openAndDestroy() {
    open();
    pastFrame();
    destroy(context_);
    forget();
  }
};

TEST_F(DestroyedContext, StaysOnItsThreadThroughASwap) {
  openAndDestroy();
  swap(display_, window_);
  EXPECT_LINES(logged(), {debugLine(kSwapBuffersLabel, "drawable " + hex(window_)),
                          debugLine(kReadbackLabel,
                                    "the context " + hex(context_) + " is already destroyed")});
  EXPECT_LINES(driverCalls(), {"glXSwapBuffers(local, pbuffer2)"});
}

TEST_F(DestroyedContext, StaysOnItsThreadThroughALookAtAResizedWindow) {
  openAndDestroy();
  const auto viewport = GL_OF(host(), glViewport);
  resizeWindow(window_, 100, 30);
  forget();
  viewport(0, 0, 100, 30);
  EXPECT_TRUE(hasLine(logged(), debugLine(kUpdateWindowInfoLabel, "Resized from 64x48 to 100x30")));
  EXPECT_LINES(driverCalls(), {"glViewport(0, 0, 100, 30)"});

  // The next context's first frame makes up for it.
  ASSERT_EQ(makeCurrent(display_, window_, createContext(display_, visuals_.doubled)), True);
  swap(display_, window_);
  int width = 0, height = 0;
  ASSERT_TRUE(recorder().pbufferSize(0x5a000003, &width, &height));
  EXPECT_EQ(width, 100);
  EXPECT_EQ(height, 30);
}

TEST_F(DestroyedContext, StaysOnItsThreadThroughTheEndOfAnotherWindow) {
  open();
  pastFrame();
  const Window second = createWindow(display_, visuals_.doubled, 20, 10);
  ASSERT_EQ(makeCurrent(display_, second, context_), True);
  const GLXContext other = createContext(display_, visuals_.doubled);
  destroy(context_);
  destroyWindow(window_);
  forget();
  destroy(other); // makes the library look for windows that are gone
  EXPECT_TRUE(hasLine(logged(), debugLine(kClearDeletedLabel, "deleting 0x" + hex(window_))));
  EXPECT_LINES(driverCalls(),
               {"glXGetCurrentContext() = ctx1", "glXGetCurrentDrawable()",
                "glXDestroyContext(local, ctx3)", "glXDestroyPbuffer(local, pbuffer2)",
                "glXDestroyPbuffer(local, pbuffer1)", "glXDestroyContext(local, ctx2)",
                "glXDestroyContext(local, ctx4)"});
}

} // namespace
