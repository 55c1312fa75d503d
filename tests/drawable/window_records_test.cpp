// What becomes of the records of windows that are not current, or no longer there.

#include "rig/lock_probe.h"
#include "rig/window_rig.h"

#include <algorithm>
#include <string>
#include <thread>
#include <utility>

using namespace zol::rig;

namespace {

class WindowRecords : public WindowRig {
protected:
  static bool mentions(const Lines& lines, const std::string& text) {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  }
};

// Nothing is bound that would have to be unbound for it.
TEST_F(WindowRecords, AResizedWindowThatIsNotCurrentGetsItsPbufferWithoutABinding) {
  open();
  bind(window_, context_);
  pastFrame();
  const Window other = createWindow(display_, visuals_.doubled, 20, 20);
  bind(other, context_);
  resizeWindow(window_, 100, 30);
  swap(display_, window_);
  const Lines calls = driverCalls();
  EXPECT_FALSE(hasLine(calls, "glXMakeCurrent(local, 0, NULL)"));
  ASSERT_GE(calls.size(), 2U);
  EXPECT_LINES(Lines(calls.end() - 2, calls.end()),
               {"glXDestroyPbuffer(local, pbuffer2)",
                "glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=100, GLX_PBUFFER_HEIGHT=30, "
                "GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer5"});
}

// The thread's own drawable stays what is drawn to.
TEST_F(WindowRecords, AResizedWindowThatIsOnlyReadIsReadAgain) {
  open();
  const Window read = createWindow(display_, visuals_.doubled, 20, 10);
  ASSERT_EQ(GL_OF(host(), glXMakeContextCurrent)(display_, window_, read, context_), True);
  pastFrame(read);
  resizeWindow(read, 30, 15);
  swap(display_, read);
  const Lines calls = driverCalls();
  ASSERT_GE(calls.size(), 4U);
  EXPECT_LINES(Lines(calls.end() - 4, calls.end()),
               {"glXMakeCurrent(local, 0, NULL)", "glXDestroyPbuffer(local, pbuffer4)",
                "glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=30, GLX_PBUFFER_HEIGHT=15, "
                "GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer5",
                "glXMakeContextCurrent(local, pbuffer2, pbuffer5, ctx1)"});
}

// The library asks on a connection of its own: what the program has not sent yet goes first.
TEST_F(WindowRecords, ANewOneIsOfTheSizeThatTheProgramGaveLast) {
  open();
  const auto sized = [this](const std::string& size) {
    return hasLine(logged(),
                   debugLine(kUpdatePbufferLabel, "resized pbuffer to new geometry: " + size));
  };
  XResizeWindow(display_, window_, 80, 60);
  ASSERT_EQ(makeCurrent(display_, window_, context_), True);
  EXPECT_TRUE(sized("80x60"));
  const GLXContext alpha = createContext(display_, visuals_.alpha);
  XResizeWindow(display_, window_, 70, 50);
  ASSERT_EQ(makeCurrent(display_, window_, alpha), True);
  EXPECT_TRUE(sized("70x50"));
}

TEST_F(WindowRecords, ThreadsThatUseAWindowFirstShareItsRecord) {
  open();
  const GLXContext second = createContext(display_, visuals_.doubled);
  {
    const LockProbe probe("glXCreatePbuffer", [&] {
      EXPECT_EQ(makeCurrent(display_, window_, second), True);
      EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
    });
    EXPECT_EQ(makeCurrent(display_, window_, context_), True);
    EXPECT_TRUE(probe.held()); // neither thread found a record
  }
  EXPECT_EQ(recorder().livingPbuffers(), 2);
}

TEST_F(WindowRecords, OneSideThatChangesIsEnoughForANewPbuffer) {
  open();
  bind(window_, context_);
  pastFrame();
  const std::pair<int, int> sizes[] = {{65, 48}, {65, 47}};
  for (const auto& [width, height] : sizes) {
    resizeWindow(window_, static_cast<unsigned>(width), static_cast<unsigned>(height));
    swap(display_, window_);
    EXPECT_TRUE(
        hasLine(logged(), debugLine(kUpdatePbufferLabel,
                                    "resized pbuffer to new geometry: " + std::to_string(width) +
                                        "x" + std::to_string(height))));
    forget();
  }
}

TEST_F(WindowRecords, AWindowThatIsGoneKeepsItsRecordForAnotherConfiguration) {
  open();
  const GLXContext alpha = createContext(display_, visuals_.alpha);
  bind(window_, context_);
  pastFrame();
  destroyWindow(window_);
  forget();
  EXPECT_EQ(makeCurrent(display_, window_, alpha), True);
  EXPECT_TRUE(hasLine(logged(), kRecordKeptLine));
  EXPECT_EQ(driverCalls().back(),
            "glXMakeCurrent(local, pbuffer2, " + recorder().nameOf(alpha) + ")");
}

// Whether one is still there is asked only of those that were never current.
TEST_F(WindowRecords, AWindowThatIsOnlyReadCountsAsCurrentToo) {
  open();
  const auto makeContextCurrent = GL_OF(host(), glXMakeContextCurrent);
  const Window read = createWindow(display_, visuals_.doubled, 20, 20);
  ASSERT_EQ(makeContextCurrent(display_, window_, read, context_), True);
  destroyWindow(read);
  forget();
  EXPECT_EQ(makeContextCurrent(display_, window_, read, context_), True);
  EXPECT_FALSE(mentions(logged(), "was deleted"));
}

TEST_F(WindowRecords, AHiddenWindowThatIsGoneHasNoFrame) {
  open();
  bind(window_, context_);
  pastFrame();
  unmapWindow(window_);
  pastFrame(); // notices that it is hidden
  pastFrame();
  destroyWindow(window_);
  forget();
  swap(display_, window_);
  EXPECT_LINES(logged(), {debugLine(kSwapBuffersLabel, "drawable " + hex(window_)),
                          debugLine(kReadbackLabel, "failed to update window info")});
  EXPECT_LINES(driverCalls(), {"glXSwapBuffers(local, pbuffer3)"});
}

// The copyback thread may have been at work with the first one.
TEST_F(WindowRecords, AReplacedReadbackLivesAsLongAsItsWindow) {
  open();
  bind(window_, context_);
  pastFrame();
  recorder().fail("glXMakeCurrent"); // the read context is lost
  pastFrame();
  EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  const int contexts = recorder().livingContexts();
  destroyWindow(window_);
  forget();
  GL_OF(host(), glXDestroyContext)(display_, createContext(display_, visuals_.doubled));
  const Lines lines = logged();
  const std::string gone = debugLine("virtual zol::gl::ReadbackContext::~ReadbackContext()",
                                     "Destroyed ReadbackContext");
  EXPECT_EQ(std::count(lines.begin(), lines.end(), gone), 2);
  // The read context and the copyback contexts of both.
  EXPECT_EQ(recorder().livingContexts(), contexts - 3);
  EXPECT_EQ(recorder().livingPbuffers(), 0);
}

// Through many windows with frames, pixmaps, pbuffers and contexts, the driver has the same number
// of objects after each.
TEST_F(WindowRecords, ManyInTurnLeaveTheDriverNothing) {
  struct Living {
    int contexts, pbuffers, buffers;
    bool operator==(const Living&) const = default;
  };
  open();
  outside::letDeliveriesPass();
  bind(window_, context_);
  const int attributes[] = {GLX_PBUFFER_WIDTH, 20, GLX_PBUFFER_HEIGHT, 10, 0};
  const auto turn = [&] {
    GLXContext const context = createContext(display_, visuals_.doubled);
    const Window window = createWindow(display_, visuals_.doubled, 40, 30);
    const GLXPbuffer pbuffer =
        GL_OF(host(), glXCreatePbuffer)(display_, configs_.doubled, attributes);
    bind(window, context);
    pastFrame(window);
    resizeWindow(window, 50, 20);
    pastFrame(window);
    bind(pbuffer, context);
    bind(window_, context_);
    destroyWindow(window);
    GL_OF(host(), glXDestroyPbuffer)(display_, pbuffer);
    GL_OF(host(), glXDestroyContext)(display_, context); // the window's record goes with it
    return Living{recorder().livingContexts(), recorder().livingPbuffers(),
                  recorder().livingBuffers()};
  };
  const Living first = turn();
  EXPECT_GE(first.contexts, 1);
  EXPECT_EQ(first.pbuffers, 2);
  for (int i = 2; i <= 300; ++i)
    ASSERT_EQ(turn(), first) << "turn " << i;
}

// Windows end late: with the next drawable that the library makes, in the order of their records.
class GoneWindows : public WindowRecords {
protected:
  void openAndDestroy() {
    open();
    bind(window_, context_);
    second_ = createWindow(display_, visuals_.doubled, 20, 20);
    bind(second_, context_);
    destroyWindow(window_);
    destroyWindow(second_);
    forget();
    swap(display_, second_);
    EXPECT_LINES(endings(), {});
    EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
    EXPECT_LINES(endings(), {});
    EXPECT_EQ(recorder().livingPbuffers(), 4);
  }
  Lines endings() {
    Lines lines = logged();
    std::erase_if(lines, [](const std::string& line) {
      return line.find("deleting 0x") == std::string::npos;
    });
    return lines;
  }
  void expectEndings(int livingPbuffers) {
    EXPECT_LINES(endings(), {debugLine(kClearDeletedLabel, "deleting 0x" + hex(window_)),
                             debugLine(kClearDeletedLabel, "deleting 0x" + hex(second_))});
    EXPECT_EQ(recorder().livingPbuffers(), livingPbuffers);
  }

  Window second_ = 0;
};

TEST_F(GoneWindows, EndWhenAnotherWindowIsUsed) {
  openAndDestroy();
  EXPECT_EQ(makeCurrent(display_, createWindow(display_, visuals_.doubled, 30, 30), context_),
            True);
  expectEndings(2);
}

TEST_F(GoneWindows, EndWhenAPixmapIsMade) {
  openAndDestroy();
  const Pixmap pixmap = XCreatePixmap(display_, DefaultRootWindow(display_), 8, 8, 24);
  EXPECT_NE(GL_OF(host(), glXCreatePixmap)(display_, configs_.doubled, pixmap, nullptr), None);
  expectEndings(0);
}

TEST_F(GoneWindows, EndWhenAPixmapOfAVisualIsMade) {
  openAndDestroy();
  const Pixmap pixmap = XCreatePixmap(display_, DefaultRootWindow(display_), 8, 8, 24);
  EXPECT_NE(GL_OF(host(), glXCreateGLXPixmap)(display_, &visuals_.doubled, pixmap), None);
  expectEndings(0);
}

// Other threads find their drawables in the meantime.
TEST_F(GoneWindows, EndWithoutTheListOfDrawablesBeingLocked) {
  openAndDestroy();
  const auto query = GL_OF(host(), glXQueryDrawable);
  const LockProbe probe("glXDestroyPbuffer", [&] {
    unsigned value = 0;
    query(display_, window_, GLX_WIDTH, &value);
  });
  GL_OF(host(), glXDestroyContext)(display_, createContext(display_, visuals_.doubled));
  EXPECT_TRUE(probe.called());
  EXPECT_FALSE(probe.held());
  // Both are out of it before the first is deleted.
  EXPECT_LINES(driverCallsOfOthers(), {"glXQueryDrawable(app, <any>, GLX_WIDTH, &)"});
}

} // namespace
