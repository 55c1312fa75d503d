// Pbuffers, contexts and connections that come and go; what the X server hears of it.
#include "softgpu/fixture.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sys/resource.h>

namespace zol::softgpu::test {
namespace {

using Lifetime = PbufferTest;

long serverMegabytes() {
  std::ifstream statm("/proc/" + std::to_string(server().pid()) + "/statm");
  long pages = 0;
  statm >> pages;
  return pages * 4 / 1024;
}

TEST_F(Lifetime, ADestroyedPbufferLivesOnWhileItIsCurrent) {
  GLXContext context = makeContext();
  const GLXPbuffer pbuffer = currentPbuffer(context);
  gl.glDrawBuffer(GL_FRONT);
  fill(red);
  gl.glXDestroyPbuffer(display, pbuffer);
  EXPECT_EQ(whole(GL_FRONT), red);
  gl.glDrawBuffer(GL_BACK);
  fill(green);
  EXPECT_EQ(whole(GL_BACK), green);
  const GLXPbuffer next = currentPbuffer(context);
  fill(blue);
  swap(next);
  EXPECT_EQ(whole(GL_FRONT), blue);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(Lifetime, ADestroyedContextLivesOnWhileItIsCurrent) {
  GLXContext context = makeContext();
  const GLXPbuffer pbuffer = currentPbuffer(context);
  gl.glDrawBuffer(GL_FRONT);
  destroy(context);
  fill(red);
  EXPECT_EQ(whole(GL_FRONT), red);
  release();
  // The next may well get the same address; it starts afresh.
  context = makeContext();
  makeCurrent(pbuffer, context);
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_BACK);
  EXPECT_EQ(whole(GL_FRONT), red);
}

TEST_F(Lifetime, NothingOfADestroyedPbufferStaysInTheServer) {
  GLXContext context = makeContext();
  auto round = [&] {
    const GLXPbuffer pbuffer = makePbuffer(1000, 1000);
    makeCurrent(pbuffer, context);
    fill(red);
    swap(pbuffer);
    release();
    gl.glXDestroyPbuffer(display, pbuffer);
  };
  round();
  XSync(display, False);
  const long before = serverMegabytes();
  for (int i = 0; i < 50; ++i)
    round();
  XSync(display, False);
  EXPECT_LT(serverMegabytes(), before + 40); // 50 pairs would be 400
}

TEST_F(Lifetime, AnotherConnectionGoesOnWhenOneIsClosed) {
  GLXContext context = makeContext();
  const GLXPbuffer pbuffer = currentPbuffer(context);
  fill(red);
  swap(pbuffer);
  close();
  for (int i = 0; i < 3; ++i) {
    display = XOpenDisplay(server().name().c_str());
    ASSERT_NE(display, nullptr);
    config = chooseConfig(true);
    const GLXPbuffer next = makePbuffer();
    makeCurrent(next, makeContext());
    EXPECT_EQ(whole(GL_FRONT), black);
    fill(green);
    swap(next);
    EXPECT_EQ(whole(GL_FRONT), green);
    close();
  }
}

TEST_F(Lifetime, AConnectionClosesRightAfterDrawing) {
  for (int i = 0; i < 20; ++i) {
    const GLXPbuffer pbuffer = makePbuffer(1000, 1000);
    makeCurrent(pbuffer, makeContext());
    fill(red);
    gl.glXMakeCurrent(display, None, nullptr);
    XCloseDisplay(display);
    forget();
    display = XOpenDisplay(server().name().c_str());
    ASSERT_NE(display, nullptr);
    config = chooseConfig(true);
  }
}

// What draws into a pbuffer that was never shown is let go of at once, and waited for only when it
// must be.
class LetGoOfAtOnce : public PbufferTest {
protected:
  static constexpr int size = 1000;
  // The other driver, slow, draws in the program's own thread.
  const int rounds = getenv("GALLIUM_DRIVER") ? 1 : 20;

  // After a swap of another pbuffer there is a context to wait with.
  void drawAndLetGo() {
    shown_ = currentPbuffer();
    swap(shown_);
    drawn_ = makePbuffer(size, size);
    context_ = makeContext();
    makeCurrent(drawn_, context_);
    for (int i = 0; i < 20; ++i)
      fill(i % 2 ? red : green, 1, 1, size - 2, size - 2);
    gl.glXMakeCurrent(display, None, nullptr);
  }
  void destroyPbuffers() {
    gl.glXDestroyPbuffer(display, drawn_);
    gl.glXDestroyPbuffer(display, shown_);
  }
  void closeAndReopen() {
    XCloseDisplay(display);
    forget();
    display = XOpenDisplay(server().name().c_str());
    ASSERT_NE(display, nullptr);
    config = chooseConfig(true);
  }

  static Color pixel(int x, int y) {
    std::array<uint8_t, 4> read{};
    gl.glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, read.data());
    return {read[0], read[1], read[2]};
  }

  GLXPbuffer drawn_ = None;
  GLXContext context_ = nullptr;

private:
  GLXPbuffer shown_ = None;
};

TEST_F(LetGoOfAtOnce, TheConnectionClosesRightAfterDrawing) {
  for (int i = 0; i < rounds; ++i) {
    drawAndLetGo();
    closeAndReopen();
  }
}

TEST_F(LetGoOfAtOnce, TheConnectionClosesRightAfterAllIsDestroyed) {
  for (int i = 0; i < rounds; ++i) {
    drawAndLetGo();
    destroy(context_);
    destroyPbuffers();
    closeAndReopen();
  }
}

TEST_F(LetGoOfAtOnce, EveryContextFindsWhatWasDrawn) {
  for (int i = 0; i < rounds; ++i) {
    drawAndLetGo();
    makeCurrent(drawn_, i % 2 ? context_ : makeContext());
    EXPECT_EQ(pixel(size / 2, size / 2), red);
    release();
    destroyPbuffers();
  }
}

TEST_F(LetGoOfAtOnce, NothingIsSentToTheServer) {
  swap(currentPbuffer());
  GLXContext context = makeContext();
  const GLXPbuffer pbuffer = makePbuffer();
  makeCurrent(pbuffer, context);
  EXPECT_EQ(requests([&] {
              fill(red);
              gl.glXMakeCurrent(display, None, nullptr);
            }),
            0U);
}

TEST_F(Lifetime, ASwapSendsNothingToTheServer) {
  const GLXPbuffer pbuffer = currentPbuffer();
  fill(red);
  swap(pbuffer); // makes the front buffer
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_EQ(requests([&] {
              for (int i = 0; i < 5; ++i) {
                fill(i % 2 ? red : green);
                swap(pbuffer);
                EXPECT_EQ(whole(GL_FRONT), i % 2 ? red : green);
              }
            }),
            0U);
}

TEST_F(Lifetime, FlushingFrontDrawingSendsNothingToTheServer) {
  currentPbuffer();
  gl.glDrawBuffer(GL_FRONT);
  fill(red);
  gl.glFinish();
  EXPECT_EQ(requests([&] {
              fill(green);
              gl.glFlush();
              fill(blue);
              gl.glFinish();
              gl.glDrawBuffer(GL_FRONT_AND_BACK);
              fill(white);
              gl.glFlush();
              gl.glDrawBuffer(GL_BACK);
              gl.glFinish();
              EXPECT_EQ(whole(GL_FRONT), white);
            }),
            0U);
}

TEST_F(Lifetime, SingleBufferedPbuffersAreTheDriversOwn) {
  config = chooseConfig(false);
  ASSERT_NE(config, nullptr);
  const GLXPbuffer pbuffer = currentPbuffer();
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_FRONT);
  fill(red);
  gl.glFinish();
  EXPECT_EQ(wholeOfReadBuffer(), red);
  swap(pbuffer);
  EXPECT_EQ(wholeOfReadBuffer(), red);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

// What a display says of its FBConfigs and visuals: their ids and some of their attributes.
std::vector<std::vector<int>> configsOf(const std::string& name) {
  std::vector<std::vector<int>> all;
  Display* const display = XOpenDisplay(name.c_str());
  if (!display) throw std::runtime_error("no connection to " + name);
  int count = 0;
  GLXFBConfig* const configs = gl.glXGetFBConfigs(display, DefaultScreen(display), &count);
  for (int i = 0; i < count; ++i) {
    std::vector<int> answers;
    for (const int attribute :
         {GLX_FBCONFIG_ID, GLX_VISUAL_ID, GLX_RED_SIZE, GLX_BUFFER_SIZE, GLX_DOUBLEBUFFER}) {
      int first = -1;
      int again = -2;
      EXPECT_EQ(gl.glXGetFBConfigAttrib(display, configs[i], attribute, &first), Success);
      EXPECT_EQ(gl.glXGetFBConfigAttrib(display, configs[i], attribute, &again), Success);
      EXPECT_EQ(first, again);
      answers.push_back(first);
    }
    if (XVisualInfo* const visual = gl.glXGetVisualFromFBConfig(display, configs[i])) {
      int size = -1;
      EXPECT_EQ(gl.glXGetConfig(display, visual, GLX_BUFFER_SIZE, &size), Success);
      answers.push_back(size);
      XFree(visual);
    }
    all.push_back(answers);
  }
  XFree(configs);
  XCloseDisplay(display);
  return all;
}

TEST_F(Lifetime, AnswersAboutConfigurationsEndWithTheConnection) {
  std::string error;
  const auto other = tools::DisplayServer::start({"Xvfb", "-screen", "0", "64x64x16"}, &error);
  ASSERT_NE(other, nullptr) << error;
  const auto here = configsOf(server().name());
  const auto there = configsOf(other->name());
  ASSERT_NE(here, there);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(configsOf(server().name()), here);
    EXPECT_EQ(configsOf(other->name()), there);
  }
}

TEST_F(Lifetime, AVisualIsAnsweredForOnTheScreenThatIsAsked) {
  std::string error;
  const auto other = tools::DisplayServer::start(
      {"Xvfb", "-screen", "0", "64x64x24", "-screen", "1", "64x64x24"}, &error);
  ASSERT_NE(other, nullptr) << error;
  Display* const twoScreens = XOpenDisplay(other->name().c_str());
  ASSERT_NE(twoScreens, nullptr);
  int attributes[] = {GLX_RGBA, None};
  XVisualInfo* const visual = gl.glXChooseVisual(twoScreens, 0, attributes);
  ASSERT_NE(visual, nullptr);
  XVisualInfo elsewhere = *visual;
  elsewhere.screen = 1;
  int value = -1;
  EXPECT_EQ(gl.glXGetConfig(twoScreens, &elsewhere, GLX_USE_GL, &value), Success);
  EXPECT_EQ(value, False);
  EXPECT_EQ(gl.glXGetConfig(twoScreens, visual, GLX_USE_GL, &value), Success);
  EXPECT_EQ(value, True);
  EXPECT_EQ(gl.glXGetConfig(twoScreens, visual, GLX_BUFFER_SIZE, &value), Success);
  EXPECT_EQ(gl.glXGetConfig(twoScreens, &elsewhere, GLX_BUFFER_SIZE, &value), GLX_BAD_VISUAL);
  XFree(visual);
  XCloseDisplay(twoScreens);
}

TEST_F(Lifetime, ARefusalAboutAConfigurationIsTheDriversOwn) {
  int value = 7;
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(gl.glXGetFBConfigAttrib(display, config, 0x7fff, &value), GLX_BAD_ATTRIBUTE);
  EXPECT_EQ(value, 7);
}

TEST_F(Lifetime, AServerWithoutMemoryLeavesThePbufferAsTheDriverMadeIt) {
  const int w = 3000;
  const int h = 3000; // 36 megabytes more are not to be had
  const GLXPbuffer pbuffer = makePbuffer(w, h);
  makeCurrent(pbuffer, makeContext());
  fill(red);
  gl.glFinish();
  XSync(display, False);
  const rlimit tight{static_cast<rlim_t>(serverMegabytes() + 8) << 20, RLIM_INFINITY};
  const rlimit free{RLIM_INFINITY, RLIM_INFINITY};
  ASSERT_EQ(prlimit(server().pid(), RLIMIT_AS, &tight, nullptr), 0);
  gl.glReadBuffer(GL_FRONT);
  ASSERT_EQ(prlimit(server().pid(), RLIMIT_AS, &free, nullptr), 0);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_FRONT);
  gl.glReadBuffer(GL_BACK);
  EXPECT_EQ(wholeOfReadBuffer(w, h), red);
  EXPECT_GT(requests([&] { swap(pbuffer); }), 0U); // the driver's own swap
  gl.glDrawBuffer(GL_FRONT);
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT);
  gl.glDrawBuffer(GL_BACK);
  fill(green);
  EXPECT_EQ(whole(GL_BACK, w, h), green);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

// A program that registers an exit handler, draws a frame and has it read in the handler, by a blit
// that shades.
class ExitHandler : public PbufferTest {
protected:
  ExitHandler() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void drawAndExit(GLXFBConfig of) {
    makeCurrent(makePbuffer(of, width, height),
                gl.glXCreateNewContext(display, of, GLX_RGBA_TYPE, nullptr, True));
    std::atexit(readFrame);
    gl.glColor3f(0, 1, 0);
    gl.glRectf(-1, -1, 1, 1);
    std::exit(0);
  }

private:
  static void readFrame() {
    const GLuint framebuffer = bindTextureFramebuffer();
    gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    gl.glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
    std::cerr << "read " << wholeOfReadBuffer();
  }
};

// Whose picture softpipe takes from the X server, which has none.
TEST_F(ExitHandler, ReadsTheFrameOfASingleBufferedPbuffer) {
  EXPECT_EXIT(drawAndExit(chooseConfig(false, GLX_ALPHA_SIZE, 8)), testing::ExitedWithCode(0),
              "read .0 (0|255) 0.");
}

TEST_F(ExitHandler, ReadsTheFrameOfAPbufferThatIsNotLikeTheFirst) {
  GLXFBConfig const withAlpha = chooseConfig(true, GLX_ALPHA_SIZE, 8);
  int alpha = -1;
  ASSERT_EQ(gl.glXGetFBConfigAttrib(display, config, GLX_ALPHA_SIZE, &alpha), Success);
  ASSERT_EQ(alpha, 0);
  EXPECT_EXIT((makePbuffer(withAlpha, width, height), drawAndExit(config)),
              testing::ExitedWithCode(0), "read .0 255 0.");
}

} // namespace
} // namespace zol::softgpu::test
