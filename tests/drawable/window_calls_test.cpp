#include "rig/window_rig.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

using namespace zol::rig;

namespace {

std::string pbufferCall(const char* config, int width, int height, int number) {
  return std::string("glXCreatePbuffer(local, ") + config +
         ", {GLX_PBUFFER_WIDTH=" + std::to_string(width) +
         ", GLX_PBUFFER_HEIGHT=" + std::to_string(height) +
         ", GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer" + std::to_string(number);
}

class WindowCalls : public WindowRig {
protected:
  void openAndBind() {
    open();
    bind(window_, context_);
  }

  // The lines and calls from the moment when the window is looked at again.
  static Lines from(const Lines& lines, const std::string& first) {
    const auto found = std::find(lines.begin(), lines.end(), first);
    return Lines(found, lines.end());
  }
  Lines resizeLines() { return from(logged(), debugLine(kCheckForResizeLabel, "START")); }

  // What they are when the window changed without moving.
  Lines changeLines(int needsUpdate, const Lines& changes) {
    return Lines{debugLine(kCheckForResizeLabel, "START"),
                 debugLine(kUpdateWindowInfoLabel,
                           "Pbuffer needs update: " + std::to_string(needsUpdate)),
                 debugLine(kUpdateWindowInfoLabel, "Moved from (0,0) to (0,0)")} +
           changes + Lines{done_};
  }

  const std::string done_ = debugLine(kReadbackLabel, "DONE");
};

// Size ----------------------------------------------------------------------------------------

TEST_F(WindowCalls, ASmallWindowGetsAPbufferOfTenByTen) {
  open(5, 3);
  ASSERT_EQ(makeCurrent(display_, window_, context_), True);
  EXPECT_LINES(driverCalls(), {pbufferCall("fb1", 10, 10, 1), pbufferCall("fb1", 10, 10, 2),
                               "glXMakeCurrent(local, pbuffer2, ctx1)"});
  EXPECT_TRUE(
      hasLine(logged(), debugLine(kUpdatePbufferLabel, "resized pbuffer to new geometry: 5x3")));
}

TEST_F(WindowCalls, AResizeOfTheBoundWindowExchangesItsPbuffer) {
  openAndBind();
  pastFrame();
  resizeWindow(window_, 100, 30);
  swap(display_, window_);
  EXPECT_LINES(resizeLines(),
               (changeLines(1, {debugLine(kUpdateWindowInfoLabel, "Resized from 64x48 to 100x30"),
                                debugLine(kUpdatePbufferLabel,
                                          "resized pbuffer to new geometry: 100x30")})));
  EXPECT_LINES(from(driverCalls(), "glXMakeCurrent(local, pbuffer2, ctx1)"),
               {"glXMakeCurrent(local, pbuffer2, ctx1)", "glXMakeCurrent(local, 0, NULL)",
                "glXDestroyPbuffer(local, pbuffer2)", pbufferCall("fb1", 100, 30, 3),
                "glXMakeContextCurrent(local, pbuffer3, pbuffer3, ctx1)"});
  EXPECT_EQ(recorder().livingPbuffers(), 2);
}

TEST_F(WindowCalls, AResizeWithoutAReadDrawableRebindsTheDrawDrawable) {
  open();
  ASSERT_EQ(GL_OF(host(), glXMakeContextCurrent)(display_, window_, None, context_), True);
  forget();
  resizeWindow(window_, 100, 30);
  swap(display_, window_);
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, pbuffer3, ctx1)");
}

TEST_F(WindowCalls, TheFrameAfterAResizeIsReadFromTheNewPbuffer) {
  openAndBind();
  pastFrame();
  resizeWindow(window_, 100, 30);
  pastFrame();
  swap(display_, window_);
  EXPECT_LINES(driverCalls(),
               {"glXSwapBuffers(local, pbuffer3)", "glXGetCurrentContext() = ctx1",
                "glGetIntegerv(GL_RENDER_MODE, &)", "glXMakeCurrent(local, pbuffer3, ctx2)",
                "glBufferData(GL_PIXEL_PACK_BUFFER, 12000, NULL, GL_STREAM_READ)",
                "glBindTexture(GL_TEXTURE_RECTANGLE, 1)",
                "glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA8, 100, 30, 0, GL_RGBA, "
                "GL_UNSIGNED_BYTE, NULL)",
                "glViewport(0, 0, 100, 30)", "glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 1)",
                "glBlitFramebuffer(0, 30, 100, 0, 0, 0, 100, 30, GL_COLOR_BUFFER_BIT, GL_NEAREST)",
                "glBindFramebuffer(GL_READ_FRAMEBUFFER, 1)",
                "glReadPixels(0, 0, 100, 30, GL_BGRA, GL_UNSIGNED_BYTE, NULL)",
                "glBindFramebuffer(GL_FRAMEBUFFER, 0)", "glXMakeCurrent(local, pbuffer3, ctx1)"});
}

TEST_F(WindowCalls, AResizeThatCannotUnbindLeavesThePbuffer) {
  openAndBind();
  pastFrame();
  resizeWindow(window_, 100, 30);
  recorder().fail("glXMakeCurrent", 3); // after the read context's and the restoring one
  swap(display_, window_);
  EXPECT_LINES(resizeLines(),
               (changeLines(1, {debugLine(kUpdateWindowInfoLabel, "Resized from 64x48 to 100x30"),
                                "W " + kCheckForResizeLabel + ": failed to unset context"})));
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, 0, NULL) -> failed");
  int width = 0, height = 0;
  EXPECT_TRUE(recorder().pbufferSize(0x5a000002, &width, &height));

  // The exchange is made up for with the next frame.
  swap(display_, window_);
  EXPECT_EQ(driverCalls().back(), "glXMakeContextCurrent(local, pbuffer3, pbuffer3, ctx1)");
}

TEST_F(WindowCalls, AResizeThatCannotRebindSaysSo) {
  openAndBind();
  pastFrame();
  resizeWindow(window_, 100, 30);
  recorder().fail("glXMakeContextCurrent");
  swap(display_, window_);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, "W " + kCheckForResizeLabel + ": failed to restore context"));
  EXPECT_EQ(lines.back(), done_);
  EXPECT_EQ(driverCalls().back(),
            "glXMakeContextCurrent(local, pbuffer3, pbuffer3, ctx1) -> failed");

  // The driver has nothing current from then on; what the program is told stays.
  swap(display_, window_);
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, 0, NULL)");
  EXPECT_EQ(GL_OF(host(), glXGetCurrentContext)(), context_);
  EXPECT_EQ(GL_OF(host(), glXGetCurrentDrawable)(), window_);
}

TEST_F(WindowCalls, AMoveIsOnlyNoted) {
  openAndBind();
  pastFrame();
  moveWindow(window_, 11, 22);
  swap(display_, window_);
  EXPECT_LINES(resizeLines(),
               {debugLine(kCheckForResizeLabel, "START"),
                debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 0"),
                debugLine(kUpdateWindowInfoLabel, "Moved from (0,0) to (11,22)"), done_});
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, pbuffer2, ctx1)");
}

// Visibility ----------------------------------------------------------------------------------

TEST_F(WindowCalls, AnUnmapExchangesThePbufferAndStopsTheFrames) {
  openAndBind();
  pastFrame();
  unmapWindow(window_);
  swap(display_, window_);
  EXPECT_LINES(
      resizeLines(),
      (changeLines(0, {debugLine(kUpdateWindowInfoLabel, "Became hidden"),
                       debugLine(kUpdatePbufferLabel, "resized pbuffer to new geometry: 64x48")})));
  EXPECT_LINES(from(driverCalls(), "glXMakeCurrent(local, 0, NULL)"),
               {"glXMakeCurrent(local, 0, NULL)", "glXDestroyPbuffer(local, pbuffer2)",
                pbufferCall("fb1", 64, 48, 3),
                "glXMakeContextCurrent(local, pbuffer3, pbuffer3, ctx1)"});

  swap(display_, window_);
  EXPECT_LINES(logged(), {debugLine(kSwapBuffersLabel, "drawable " + hex(window_)),
                          debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 0"),
                          debugLine(kReadbackLabel, "window not visible")});
  EXPECT_LINES(driverCalls(), {"glXSwapBuffers(local, pbuffer3)"});

  mapWindow(window_);
  swap(display_, window_);
  const Lines lines = logged();
  EXPECT_LINES(Lines(lines.begin(), lines.begin() + 4),
               {debugLine(kSwapBuffersLabel, "drawable " + hex(window_)),
                debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 0"),
                debugLine(kUpdateWindowInfoLabel, "Became visible"),
                debugLine(kReadbackLabel, "ldi <ptr>, geom(0,0,64,48)")});
  EXPECT_TRUE(hasLine(driverCalls(), "glReadPixels(0, 0, 64, 48, GL_BGRA, GL_UNSIGNED_BYTE, "
                                     "NULL)"));
}

TEST_F(WindowCalls, AnUnmapMayKeepThePbuffer) {
  set("ZOL_GL_REFRESH_PBUFFER_ON_VISIBILITY_CHANGED", "0");
  openAndBind();
  pastFrame();
  unmapWindow(window_);
  swap(display_, window_);
  EXPECT_LINES(resizeLines(),
               (changeLines(0, {debugLine(kUpdateWindowInfoLabel, "Became hidden")})));
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, pbuffer2, ctx1)");
}

TEST_F(WindowCalls, VisibilityMayBeOfNoConcern) {
  set("ZOL_GL_ENABLE_VISIBILITY_CHECK", "0");
  openAndBind();
  pastFrame();
  unmapWindow(window_);
  swap(display_, window_);
  EXPECT_FALSE(hasLine(logged(), "<any>Became hidden"));
  swap(display_, window_);
  EXPECT_TRUE(hasLine(driverCalls(), "glReadPixels(<any>"));
}

TEST_F(WindowCalls, AHiddenWindowIsNotLookedAtASecondTimeWhenToldTo) {
  set("ZOL_GL_DOUBLE_CHECK_VISIBLE", "0");
  openAndBind();
  unmapWindow(window_);
  pastFrame();
  mapWindow(window_);
  swap(display_, window_);
  EXPECT_LINES(logged(), {debugLine(kSwapBuffersLabel, "drawable " + hex(window_)),
                          debugLine(kReadbackLabel, "window not visible")});
}

TEST_F(WindowCalls, AWindowBornHiddenBecomesSoWithItsFirstLook) {
  open();
  const Window hidden = createWindow(display_, visuals_.doubled, 20, 10, false);
  forget();
  ASSERT_EQ(makeCurrent(display_, hidden, context_), True);
  const Lines lines = logged();
  EXPECT_LINES(
      Lines(lines.begin() + 1, lines.begin() + 4),
      {debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 1"),
       debugLine(kUpdateWindowInfoLabel, "Became hidden"),
       debugLine(kUpdateWindowInfoLabel, "VisualID set to 0x" + hex(visuals_.doubled.visualid))});
}

// Another configuration -----------------------------------------------------------------------

TEST_F(WindowCalls, AnotherConfigurationReplacesTheRecordInTheSameCall) {
  open();
  const GLXContext alpha = createContext(display_, visuals_.alpha);
  bind(window_, context_);
  ASSERT_EQ(makeCurrent(display_, None, nullptr), True);
  forget();
  EXPECT_EQ(makeCurrent(display_, window_, alpha), True);
  EXPECT_LINES(
      logged(),
      (Lines{debugLine(kMakeCurrentLabel, "drawable: " + hex(window_) + ", context: " + hex(alpha)),
             debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 0"),
             debugLine(kGetDrawableInfoLabel, "Invalidating fbconfig for drawable info"),
             debugLine(kClearDeletedLabel, "deleting 0x" + hex(window_))} +
       kUnboundEndLines +
       Lines{
           debugLine(kDestructorLabel, "Destroying local pbuffer"),
           debugLine(kDestructorLabel, "Destroying dummy pbuffer"),
           debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 1"),
           debugLine(kUpdateWindowInfoLabel, "VisualID set to 0x" + hex(visuals_.doubled.visualid)),
           debugLine(kUpdatePbufferLabel, "resized pbuffer to new geometry: 64x48"),
           debugLine(kGetDrawableInfoLabel,
                     "new local drawable 5a000004 (1) for app drawable " + hex(window_))}));
  EXPECT_LINES(driverCalls(),
               {"glXGetCurrentContext() = NULL", "glXGetCurrentDrawable()",
                "glXDestroyPbuffer(local, pbuffer2)", "glXDestroyPbuffer(local, pbuffer1)",
                pbufferCall("fb3", 10, 10, 3), pbufferCall("fb3", 64, 48, 4),
                "glXMakeCurrent(local, pbuffer4, ctx2)"});
}

TEST_F(WindowCalls, AnotherConfigurationOfTheBoundWindowLeavesNothingDangling) {
  openAndBind();
  pastFrame();
  const GLXContext alpha = createContext(display_, visuals_.alpha);
  forget();
  EXPECT_EQ(makeCurrent(display_, window_, alpha), True);
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, pbuffer4, ctx4)");
  EXPECT_EQ(recorder().livingPbuffers(), 2);
  swap(display_, window_);
  EXPECT_TRUE(hasLine(driverCalls(), "glReadPixels(<any>"));
}

// The end of a window -------------------------------------------------------------------------

TEST_F(WindowCalls, AWindowThatIsGoneIsNoticedByItsNextFrame) {
  openAndBind();
  pastFrame();
  destroyWindow(window_);
  swap(display_, window_);
  EXPECT_LINES(resizeLines(),
               {debugLine(kCheckForResizeLabel, "START"),
                debugLine(kCheckForResizeLabel, "failed to update window info"), done_});
  EXPECT_EQ(recorder().livingPbuffers(), 2);
}

TEST_F(WindowCalls, AWindowThatIsGoneIsForgottenWithTheNextContextsDestruction) {
  open();
  const GLXContext other = createContext(display_, visuals_.doubled);
  bind(window_, context_);
  ASSERT_EQ(makeCurrent(display_, None, nullptr), True);
  destroyWindow(window_);
  forget();
  GL_OF(host(), glXDestroyContext)(display_, other);
  Lines lines = logged();
  lines.erase(lines.begin(), lines.begin() + 2); // the lookup of the function
  EXPECT_LINES(lines, (Lines{debugLine("void zol_glXDestroyContext(Display*, GLXContext)", "START"),
                             debugLine("void zol_glXDestroyContext(Display*, GLXContext)",
                                       "context " + hex(other) + " removed from the map."),
                             debugLine(kClearDeletedLabel, "deleting 0x" + hex(window_))} +
                       kUnboundEndLines +
                       Lines{debugLine(kDestructorLabel, "Destroying local pbuffer"),
                             debugLine(kDestructorLabel, "Destroying dummy pbuffer")}));
  EXPECT_LINES(driverCalls(),
               {"glXGetCurrentContext() = NULL", "glXGetCurrentDrawable()",
                "glXDestroyPbuffer(local, pbuffer2)", "glXDestroyPbuffer(local, pbuffer1)",
                "glXDestroyContext(local, ctx2)"});
  EXPECT_EQ(recorder().livingPbuffers(), 0);
}

class WindowEnd : public WindowCalls {
protected:
  // A first window with frames behind it is gone while a second one is current; something makes
  // the library look.
  void endFirstWindow() {
    open();
    bind(window_, context_);
    pastFrame();
    second_ = createWindow(display_, visuals_.doubled, 20, 10);
    bind(second_, context_);
    destroyWindow(window_);
    other_ = createContext(display_, visuals_.doubled);
    destroy_ = GL_OF(host(), glXDestroyContext);
    forget();
  }
  Lines afterForgetting(const std::string& first) {
    return from(logged(), debugLine(kClearDeletedLabel, first));
  }
  Window second_ = 0;
  GLXContext other_ = nullptr;
  decltype(&::glXDestroyContext) destroy_ = nullptr;
};

TEST_F(WindowEnd, ReleasesWhatItsFramesUsed) {
  endFirstWindow();
  destroy_(display_, other_);
  EXPECT_LINES(afterForgetting("deleting 0x" + hex(window_)),
               {debugLine(kClearDeletedLabel, "deleting 0x" + hex(window_)),
                debugLine(kDestructorLabel, "Destroying DrawableInfo <ptr>"),
                "I " + kDestructorLabel + ": Destroying read context",
                debugLine("void zol::gl::ReadbackContext::releaseOGLResources()",
                          "Released OpenGL resources for ReadbackContext"),
                debugLine("virtual zol::gl::ReadbackContext::~ReadbackContext()",
                          "Destroyed ReadbackContext"),
                debugLine(kDestructorLabel, "Destroying local pbuffer"),
                debugLine(kDestructorLabel, "Destroying dummy pbuffer"),
                debugLine(kDestructorLabel, "Destroying read context")});
  EXPECT_LINES(driverCalls(),
               {"glXGetCurrentContext() = ctx1", "glXGetCurrentDrawable()",
                "glXMakeCurrent(local, pbuffer2, ctx2)", "glDeleteBuffers(1, {1})",
                "glDeleteTextures(1, {1})", "glDeleteFramebuffers(1, {1})",
                "glXMakeCurrent(local, pbuffer4, ctx1)", "glXDestroyContext(local, ctx3)",
                "glXDestroyPbuffer(local, pbuffer2)", "glXDestroyPbuffer(local, pbuffer1)",
                "glXDestroyContext(local, ctx2)", "glXDestroyContext(local, ctx4)"});
  EXPECT_EQ(recorder().livingBuffers(), 0);
}

TEST_F(WindowEnd, LeavesGLObjectsAloneWhenToldTo) {
  set("ZOL_GL_SWITCH_CONTEXT_ON_DRAWABLE_DESTRUCTION", "0");
  endFirstWindow();
  destroy_(display_, other_);
  EXPECT_LINES(driverCalls(),
               {"glXGetCurrentContext() = ctx1", "glXGetCurrentDrawable()",
                "glXDestroyContext(local, ctx3)", "glXDestroyPbuffer(local, pbuffer2)",
                "glXDestroyPbuffer(local, pbuffer1)", "glXDestroyContext(local, ctx2)",
                "glXDestroyContext(local, ctx4)"});
}

TEST_F(WindowEnd, GoesOnWhenItsReadContextCannotBeBound) {
  endFirstWindow();
  recorder().fail("glXMakeCurrent");
  destroy_(display_, other_);
  EXPECT_TRUE(hasLine(logged(), "W " + kDestructorLabel +
                                    ": Failed to bind read context while destroying readback"));
  EXPECT_LINES(driverCalls(),
               {"glXGetCurrentContext() = ctx1", "glXGetCurrentDrawable()",
                "glXMakeCurrent(local, pbuffer2, ctx2) -> failed", "glXDestroyContext(local, ctx3)",
                "glXDestroyPbuffer(local, pbuffer2)", "glXDestroyPbuffer(local, pbuffer1)",
                "glXDestroyContext(local, ctx2)", "glXDestroyContext(local, ctx4)"});
}

// The thread's own record is deleted: nothing may point to it any more.
TEST_F(WindowEnd, OfTheCurrentWindowClearsTheThreadsBinding) {
  openAndBind();
  pastFrame();
  const GLXContext other = createContext(display_, visuals_.doubled);
  destroyWindow(window_);
  GL_OF(host(), glXDestroyContext)(display_, other);
  EXPECT_EQ(GL_OF(host(), glXGetCurrentDrawable)(), 0u);
  EXPECT_EQ(GL_OF(host(), glXGetCurrentReadDrawable)(), 0u);
  EXPECT_EQ(GL_OF(host(), glXGetCurrentContext)(), context_);
  GL_OF(host(), glFlush)();
  EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
}

// A record that another thread has current is out of the registry at once; its local objects stay
// until that thread lets go of it.
TEST_F(WindowEnd, WaitsForTheThreadThatHasTheWindowCurrent) {
  open();
  const GLXContext second = createContext(display_, visuals_.doubled);
  const GLXContext third = createContext(display_, visuals_.doubled);
  std::mutex hold;
  std::unique_lock held(hold);
  std::atomic<bool> bound = false;
  std::thread renderer([&] {
    EXPECT_EQ(makeCurrent(display_, window_, second), True);
    bound = true;
    const std::lock_guard guard(hold);
    GL_OF(host(), glXGetCurrentDrawable)();
    EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  });
  ASSERT_TRUE(eventually([&] { return bound.load(); }));
  destroyWindow(window_);
  forget();
  GL_OF(host(), glXDestroyContext)(display_, third);
  EXPECT_TRUE(hasLine(logged(), debugLine(kClearDeletedLabel, "deleting 0x" + hex(window_))));
  EXPECT_LINES(driverCalls(), {"glXDestroyContext(local, ctx3)"});
  EXPECT_EQ(recorder().livingPbuffers(), 2);

  held.unlock();
  renderer.join();
  EXPECT_EQ(recorder().livingPbuffers(), 0);
  EXPECT_TRUE(hasLine(loggedByOthers(), debugLine(kDestructorLabel, "Destroying local pbuffer")));
}

TEST_F(WindowEnd, BeforeItsFirstBindingIsNoticedWhenItsIdIsUsedAgain) {
  open();
  recorder().fail("glXMakeCurrent");
  ASSERT_EQ(makeCurrent(display_, window_, context_), False);
  destroyWindow(window_);
  forget();
  const int syncs = outside::calls("XSync");
  EXPECT_EQ(makeCurrent(display_, window_, context_), False);
  EXPECT_EQ(outside::calls("XSync"), syncs + 1); // a new window of that id may be on its way
  const Lines lines = logged();
  EXPECT_EQ(lines[1], debugLine(kGetDrawableInfoLabel, hex(window_) + " was deleted"));
  EXPECT_EQ(lines[2], debugLine(kClearDeletedLabel, "deleting 0x" + hex(window_)));
  EXPECT_TRUE(
      hasLine(lines, debugLine(kGetDrawableInfoLabel, "failed to update window info (appDrawable " +
                                                          hex(window_) + ").")));
  EXPECT_EQ(recorder().livingPbuffers(), 0);
}

} // namespace
