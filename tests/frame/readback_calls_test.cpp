#include "frame/frame_rig.h"

#include <thread>

using namespace zol::rig;

namespace {

const Lines kContextSetup = {"glPixelStorei(GL_PACK_ALIGNMENT, 1)", "glDisable(GL_DEPTH_TEST)",
                             "glDisable(GL_BLEND)", "glReadBuffer(GL_FRONT)",
                             "glViewport(0, 0, 2, 2)"};

const Lines kUnchanged = {debugLine(kCheckForResizeLabel, "START"),
                          debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 0"),
                          debugLine(kUpdateWindowInfoLabel, "Moved from (0,0) to (0,0)"),
                          debugLine(kReadbackLabel, "DONE")};

std::string sized(int width, int height, const char* between) {
  return std::to_string(width) + between + std::to_string(height);
}

// The GL objects' creation, with the numbers they get, and the frame's way into the buffer.
Lines creationCalls(int width, int height, const std::string& number, bool mapped) {
  const std::string bytes = std::to_string(width * height * 4);
  Lines calls = {"glGenBuffers(1) = " + number,
                 "glBindBuffer(GL_PIXEL_PACK_BUFFER, " + number + ")"};
  if (mapped) calls.push_back("glUnmapBuffer(GL_PIXEL_PACK_BUFFER)");
  return calls +
         Lines{"glBufferData(GL_PIXEL_PACK_BUFFER, " + bytes + ", NULL, GL_STREAM_READ)",
               "glGenTextures(1) = " + number,
               "glBindTexture(GL_TEXTURE_RECTANGLE, " + number + ")",
               "glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, 9728)",
               "glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, 9728)",
               "glBindTexture(GL_TEXTURE_RECTANGLE, " + number + ")",
               "glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA8, " + sized(width, height, ", ") +
                   ", 0, GL_RGBA, GL_UNSIGNED_BYTE, NULL)",
               "glViewport(0, 0, " + sized(width, height, ", ") + ")",
               "glGenFramebuffers(1) = " + number,
               "glBindFramebuffer(GL_FRAMEBUFFER, " + number + ")",
               "glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, " + number + ", 0)",
               "glCheckFramebufferStatus(GL_FRAMEBUFFER)",
               "glBindFramebuffer(GL_FRAMEBUFFER, 0)"};
}

Lines transferCalls(int width, int height, const std::string& number) {
  const std::string size = sized(width, height, ", ");
  return {"glBindFramebuffer(GL_DRAW_FRAMEBUFFER, " + number + ")",
          "glBlitFramebuffer(0, " + sized(height, width, ", ") + ", 0, 0, 0, " + size +
              ", GL_COLOR_BUFFER_BIT, GL_NEAREST)",
          "glBindFramebuffer(GL_READ_FRAMEBUFFER, " + number + ")",
          "glReadPixels(0, 0, " + size + ", GL_BGRA, GL_UNSIGNED_BYTE, NULL)",
          "glBindFramebuffer(GL_FRAMEBUFFER, 0)"};
}

Lines objectLines(int width, int height) {
  return {debugLine(kGPUReadbackLabel, "Readback context size " + sized(width, height, "x")),
          debugLine(kGPUReadbackLabel, "Initializing GPU readback textures"),
          debugLine(kGPUReadbackLabel,
                    "Resizing GPU readback textures to new size " + sized(width, height, " x ")),
          debugLine(kGPUReadbackLabel, "Initializing GPU readback programs")};
}

class Readback : public FrameRig {
protected:
  // What every swap of the current, double-buffered window begins with.
  Lines swapLines(int width = 64, int height = 48) {
    return {debugLine(kSwapBuffersLabel, "drawable " + hex(window_)),
            debugLine(kReadbackLabel, "ldi <ptr>, geom(0,0," + sized(width, height, ",") + ")"),
            debugLine(kSetupReadbackLabel, "START")};
  }
  // What the first one logs, which makes the objects.
  Lines firstLines(const std::string& kind) {
    return swapLines() + Lines{debugLine(kSetupReadbackLabel, kind)} + objectLines(64, 48) +
           kUnchanged;
  }
  const Lines swapCalls_ = {"glXSwapBuffers(local, pbuffer2)", "glXGetCurrentContext() = ctx1",
                            "glGetIntegerv(GL_RENDER_MODE, &)"};
  const Lines restored_ = {"glXMakeCurrent(local, pbuffer2, ctx1)"};
};

TEST_F(Readback, TheFirstOneMakesWhatAllNeed) {
  open();
  swap(display_, window_);
  EXPECT_TRUE(sameLines(firstLines("Multi thread readback"), logged()));
  EXPECT_TRUE(sameLines(
      swapCalls_ +
          Lines{"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = ctx2",
                "glXMakeCurrent(local, pbuffer2, ctx2)"} +
          kContextSetup + Lines{"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, ctx2, 1) = ctx3"} +
          creationCalls(64, 48, "1", false) + transferCalls(64, 48, "1") + restored_,
      driverCalls()));
}

TEST_F(Readback, LaterOnesOnlyTransfer) {
  open();
  pastFrame();
  for (int frame = 0; frame < 2; ++frame) {
    swap(display_, window_);
    EXPECT_TRUE(sameLines(swapLines() +
                              Lines{debugLine(kGPUReadbackLabel, "Readback context size 64x48")} +
                              kUnchanged,
                          logged()));
    EXPECT_TRUE(
        sameLines(swapCalls_ +
                      Lines{"glXMakeCurrent(local, pbuffer2, ctx2)",
                            "glBufferData(GL_PIXEL_PACK_BUFFER, 12288, NULL, GL_STREAM_READ)"} +
                      transferCalls(64, 48, "1") + restored_,
                  driverCalls()));
  }
}

TEST_F(Readback, InOneThreadMapsTheBufferAtOnce) {
  set("ZOL_GL_FORCE_SINGLE_THREAD_READBACK", "1");
  open();
  swap(display_, window_);
  EXPECT_TRUE(sameLines(firstLines("Single thread readback"), logged()));
  const Lines map = {"glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, 12288, 1)"};
  EXPECT_TRUE(sameLines(swapCalls_ +
                            Lines{"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = ctx2",
                                  "glXMakeCurrent(local, pbuffer2, ctx2)"} +
                            kContextSetup + creationCalls(64, 48, "1", true) +
                            transferCalls(64, 48, "1") + map + restored_,
                        driverCalls()));

  swap(display_, window_);
  EXPECT_TRUE(sameLines(
      swapLines() + Lines{debugLine(kGPUReadbackLabel, "Readback context size 64x48")} + kUnchanged,
      logged()));
  EXPECT_TRUE(sameLines(
      swapCalls_ +
          Lines{"glXMakeCurrent(local, pbuffer2, ctx2)", "glUnmapBuffer(GL_PIXEL_PACK_BUFFER)",
                "glBufferData(GL_PIXEL_PACK_BUFFER, 12288, NULL, GL_STREAM_READ)"} +
          transferCalls(64, 48, "1") + map + restored_,
      driverCalls()));
}

TEST_F(Readback, StartsTheCopybackThreadWhenNothingElseHas) {
  set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
  open();
  EXPECT_EQ(loggedByOthers(), Lines{});
  swap(display_, window_);
  ASSERT_TRUE(eventually(outside::deliveryIsHeld));
  EXPECT_LINES(loggedByOthers(), {"D void zol::gl::CopybackThread::svc(): START"});
}

TEST_F(Readback, OfAHeightThatChangedMakesTheTextureAnew) {
  open(64, 48);
  pastFrame();
  resizeWindow(window_, 64, 49);
  pastFrame(); // still the old size; the resize follows it
  swap(display_, window_);
  EXPECT_TRUE(hasLine(logged(), debugLine(kGPUReadbackLabel, "Resizing GPU readback textures to "
                                                             "new size 64 x 49")));
}

TEST_F(Readback, OfATinyWindowReadsTheWindowsSize) {
  open(1, 1);
  swap(display_, window_);
  const Lines calls = driverCalls();
  EXPECT_TRUE(hasLine(calls, "glReadPixels(0, 0, 1, 1, GL_BGRA, GL_UNSIGNED_BYTE, NULL)"));
  EXPECT_TRUE(hasLine(calls, "glBufferData(GL_PIXEL_PACK_BUFFER, 4, NULL, GL_STREAM_READ)"));
}

TEST_F(Readback, PutsAnotherRenderModeBack) {
  open();
  pastFrame();
  recorder().setInteger(GL_RENDER_MODE, GL_FEEDBACK);
  swap(display_, window_);
  const Lines lines = logged();
  EXPECT_EQ(lines[2], debugLine(kReadbackLabel, "forcing render mode"));
  const Lines calls = driverCalls();
  EXPECT_EQ(calls[3], "glRenderMode(GL_RENDER)");
  EXPECT_LINES(Lines(calls.end() - 2, calls.end()),
               {"glXMakeCurrent(local, pbuffer2, ctx1)", "glRenderMode(GL_FEEDBACK)"});
}

// What was current comes back -----------------------------------------------------------------

TEST_F(Readback, OfAnotherWindowPutsTheCurrentOneBack) {
  open();
  const Window other = createWindow(display_, visuals_.doubled, 20, 10);
  ASSERT_EQ(makeCurrent(display_, other, context_), True);
  forget();
  swap(display_, window_);
  const Lines calls = driverCalls();
  EXPECT_EQ(calls.front(), "glXSwapBuffers(local, pbuffer2)");
  EXPECT_TRUE(hasLine(calls, "glXMakeCurrent(local, pbuffer2, ctx2)"));
  EXPECT_EQ(calls.back(), "glXMakeCurrent(local, pbuffer4, ctx1)");
}

TEST_F(Readback, PutsASeparateReadDrawableBack) {
  open();
  const Window other = createWindow(display_, visuals_.doubled, 20, 10);
  ASSERT_EQ(GL_OF(host(), glXMakeContextCurrent)(display_, window_, other, context_), True);
  forget();
  swap(display_, window_);
  EXPECT_EQ(driverCalls().back(), "glXMakeContextCurrent(local, pbuffer2, pbuffer4, ctx1)");
}

TEST_F(Readback, WithNothingCurrentLeavesNothingCurrent) {
  open();
  ASSERT_EQ(makeCurrent(display_, None, nullptr), True);
  forget();
  swap(display_, window_);
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, 0, NULL)");
}

TEST_F(Readback, ByAThreadThatHasNothingCurrentLeavesItSo) {
  open();
  pastFrame();
  std::thread([&] { swap(display_, window_); }).join();
  const Lines calls = driverCallsOfOthers();
  EXPECT_EQ(calls.front(), "glXSwapBuffers(local, pbuffer2)");
  EXPECT_EQ(calls.back(), "glXMakeCurrent(local, 0, NULL)");
}

// Failures ------------------------------------------------------------------------------------

class ReadbackFailure : public Readback {
protected:
  Lines failureLines(const std::string& reason, const Lines& between = {}) {
    return swapLines() + between +
           Lines{"W " + kSetupReadbackLabel + ": " + reason,
                 "W " + kReadbackLabel +
                     ": Failed to create readback contexts for ldi "
                     "<ptr>, 0x0"};
  }
  const std::string lost_ =
      "I " + kSetupReadbackLabel + ": Failed to make GLX context current to the local drawable";
};

TEST_F(ReadbackFailure, WithoutAReadContextEndsTheFrame) {
  open();
  recorder().fail("glXCreateNewContext");
  swap(display_, window_);
  EXPECT_TRUE(sameLines(failureLines("Failed to create GLX read context"), logged()));
  EXPECT_TRUE(sameLines(
      swapCalls_ + Lines{"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) -> failed"} +
          restored_,
      driverCalls()));
  swap(display_, window_);
  EXPECT_TRUE(hasLine(driverCalls(), "glReadPixels(<any>"));
}

TEST_F(ReadbackFailure, TellsTheWindowsPositionInThePlaceOfItsSize) {
  open(64, 48, 11, 22);
  recorder().fail("glXCreateNewContext");
  swap(display_, window_);
  EXPECT_EQ(matchesLine("W " + kReadbackLabel +
                            ": Failed to create readback contexts for ldi <ptr>, 11x22",
                        logged().back()),
            true);
}

TEST_F(ReadbackFailure, OfALostReadContextMakesItAnew) {
  open();
  pastFrame();
  recorder().fail("glXMakeCurrent");
  swap(display_, window_);
  EXPECT_TRUE(sameLines(swapLines() +
                            Lines{lost_, debugLine(kSetupReadbackLabel, "Multi thread readback")} +
                            objectLines(64, 48) + kUnchanged,
                        logged()));
  EXPECT_TRUE(sameLines(
      swapCalls_ +
          Lines{"glXMakeCurrent(local, pbuffer2, ctx2) -> failed", "glXMakeCurrent(local, 0, NULL)",
                "glXDestroyContext(local, ctx2)",
                "glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = ctx4",
                "glXMakeCurrent(local, pbuffer2, ctx4)"} +
          kContextSetup + Lines{"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, ctx4, 1) = ctx5"} +
          creationCalls(64, 48, "2", false) + transferCalls(64, 48, "2") + restored_,
      driverCalls()));
}

TEST_F(ReadbackFailure, OfAFreshReadContextsFirstBindingMakesItAnew) {
  open();
  recorder().fail("glXMakeCurrent");
  swap(display_, window_);
  EXPECT_EQ(logged()[3], lost_);
  const Lines calls = driverCalls();
  EXPECT_LINES(Lines(calls.begin() + 3, calls.begin() + 9),
               {"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = ctx2",
                "glXMakeCurrent(local, pbuffer2, ctx2) -> failed", "glXMakeCurrent(local, 0, NULL)",
                "glXDestroyContext(local, ctx2)",
                "glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = ctx3",
                "glXMakeCurrent(local, pbuffer2, ctx3)"});
}

TEST_F(ReadbackFailure, OfTheSecondCreationEndsTheFrame) {
  open();
  pastFrame();
  recorder().fail("glXMakeCurrent");
  recorder().fail("glXCreateNewContext");
  swap(display_, window_);
  EXPECT_TRUE(sameLines(failureLines("Failed to recreate GLX read context", {lost_}), logged()));
  EXPECT_EQ(driverCalls().back(), restored_[0]);
  swap(display_, window_); // the destroyed context is not touched again
  EXPECT_TRUE(hasLine(driverCalls(), "glReadPixels(<any>"));
}

TEST_F(ReadbackFailure, OfTheSecondBindingEndsTheFrame) {
  open();
  pastFrame();
  recorder().fail("glXMakeCurrent", 1);
  recorder().fail("glXMakeCurrent", 3);
  swap(display_, window_);
  EXPECT_TRUE(sameLines(
      failureLines("Failed to make recreated GLX context current to the local drawable", {lost_}),
      logged()));
  EXPECT_EQ(driverCalls().back(), restored_[0]);
}

TEST_F(ReadbackFailure, OfALookAtAHiddenWindowEndsTheFrame) {
  open();
  unmapWindow(window_);
  pastFrame(); // it is seen to be hidden
  destroyWindow(window_);
  swap(display_, window_);
  EXPECT_LINES(logged(), {debugLine(kSwapBuffersLabel, "drawable " + hex(window_)),
                          debugLine(kReadbackLabel, "failed to update window info")});
  EXPECT_LINES(driverCalls(), {"glXSwapBuffers(local, pbuffer3)"});
}

TEST_F(ReadbackFailure, OfTheFramebufferEndsTheFrame) {
  open();
  recorder().setFramebufferStatus(GL_FRAMEBUFFER_UNSUPPORTED);
  swap(display_, window_);
  EXPECT_TRUE(
      sameLines(swapLines() + Lines{debugLine(kSetupReadbackLabel, "Multi thread readback")} +
                    objectLines(64, 48) +
                    Lines{"E " + kGPUReadbackLabel + ": Invalid framebuffer: 0x8CDD"} + kUnchanged,
                logged()));
  const Lines calls = driverCalls();
  EXPECT_LINES(Lines(calls.end() - 3, calls.end()), {"glCheckFramebufferStatus(GL_FRAMEBUFFER)",
                                                     "glCheckFramebufferStatus(GL_FRAMEBUFFER)",
                                                     "glXMakeCurrent(local, pbuffer2, ctx1)"});
}

} // namespace
