#include "frame/frame_rig.h"
#include "rig/lock_probe.h"

#include <atomic>
#include <thread>

using namespace zol::rig;

namespace {

const std::string kPaint = "bool zol::gl::XImagePainter::setup(Display*, VisualID, int, int)";
const std::string kPaintInternal =
    "bool zol::gl::XImagePainter::setupXImagePainterInternal(bool, Display*, VisualID, int, int)";
const std::string kDraw = "void zol::gl::XImagePainter::draw(Display*, int, int)";
const std::string kSingle = "virtual void zol::gl::ReadbackContext::copyToAppDisplay(Display*, "
                            "zol::gl::XImagePainter*, VisualID)";
const std::string kMulti = "virtual void zol::gl::ReadbackContextMultiThread::copyToAppDisplay("
                           "Display*, zol::gl::XImagePainter*, VisualID)";

class Delivery : public FrameRig {
protected:
  // Renders the frame of this number.
  void frame(unsigned number) {
    recorder().setFrame(picture(number));
    swap(display_, window_);
  }
  void deliverFrame(unsigned number, unsigned width = 64, unsigned height = 48) {
    deliver(pictureOf(number, width, height), width, height);
  }
  std::string drawLine() {
    return debugLine(kDraw, "XPutting image on " + hex(window_) + ", size 64 48");
  }
  static std::string sizeLine(int depth = 24) {
    return debugLine(kPaintInternal,
                     "size: 64 x 48, depth: " + std::to_string(depth) + ", bytes per line: 256");
  }
  // The log of the copyback thread from its first look at the painter on.
  Lines paintLog() {
    const Lines& all = otherLog();
    const auto first = std::find(all.begin(), all.end(), debugLine(kPaint, "START"));
    return Lines(first, all.end());
  }
};

// The two ways of the frame -------------------------------------------------------------------

TEST_F(Delivery, BindsTheCopybackContextForEachFrame) {
  open();
  frame(1);
  deliverFrame(1);
  ASSERT_TRUE(eventually([&] { return otherCalls().size() >= 5; }));
  EXPECT_LINES(otherCalls(),
               {"glXMakeCurrent(local, pbuffer1, ctx3)", "glBindBuffer(GL_PIXEL_PACK_BUFFER, 1)",
                "glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, 12288, 1)",
                "glUnmapBuffer(GL_PIXEL_PACK_BUFFER)", "glXMakeCurrent(local, 0, NULL)"});
}

TEST_F(Delivery, InOneThreadMakesNoDriverCall) {
  set("ZOL_GL_FORCE_SINGLE_THREAD_READBACK", "1");
  open();
  for (unsigned number = 1; number <= 3; ++number) {
    frame(number);
    deliverFrame(number);
  }
  EXPECT_EQ(otherCalls(), Lines{});
}

TEST_F(Delivery, KeepsOnlyTheNewestFrame) {
  open();
  frame(1);
  frame(2);
  deliverFrame(2);
}

TEST_F(Delivery, WithNoFramePendingSaysAndDoesNothing) {
  open();
  for (int i = 0; i < 3; ++i)
    frame(1);
  deliverFrame(1);
  ASSERT_TRUE(eventually(outside::deliveryIsHeld));
  const std::size_t lines = otherLog().size();
  const std::size_t calls = otherCalls().size();
  passBy(); // the second post's, over when the third one's is held
  EXPECT_EQ(otherLog().size(), lines);
  EXPECT_EQ(otherCalls().size(), calls);
}

TEST_F(Delivery, ServesEveryWindowInOnePass) {
  open();
  const Window second = createWindow(display_, visuals_.doubled, 64, 48);
  XMoveWindow(display_, second, 300, 300);
  ASSERT_EQ(makeCurrent(display_, second, context_), True);
  frame(1);
  recorder().setFrame(picture(2));
  swap(display_, second);
  deliverFrame(1);
  EXPECT_TRUE(eventually([&] { return pixels(display_, second, 64, 48) == pictureOf(2, 64, 48); }));
}

// While one window is painted, the threads of others find theirs and go on.
TEST_F(Delivery, HoldsUpNoOtherWindowsThread) {
  open();
  const Window second = createWindow(display_, visuals_.doubled, 64, 48);
  XMoveWindow(display_, second, 300, 300);
  const GLXContext context = createContext(display_, visuals_.doubled);
  ASSERT_EQ(makeCurrent(display_, second, context), True);
  ASSERT_EQ(makeCurrent(display_, window_, context_), True);
  frame(1);
  deliverFrame(1);
  frame(2);
  const LockProbe probe("XShmPutImage", [&] {
    EXPECT_EQ(makeCurrent(display_, second, context), True);
    swap(display_, second);
    EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  });
  deliverFrame(2);
  EXPECT_TRUE(probe.called());
  EXPECT_FALSE(probe.held());
}

TEST_F(Delivery, PassesByWhatHasHadNoFrame) {
  open();
  const int size[] = {GLX_PBUFFER_WIDTH, 20, GLX_PBUFFER_HEIGHT, 10, 0};
  ASSERT_NE(GL_OF(host(), glXCreatePbuffer)(display_, configs_.doubled, size), None);
  const Window fresh = createWindow(display_, visuals_.doubled, 64, 48);
  XMoveWindow(display_, fresh, 300, 300);
  ASSERT_EQ(makeCurrent(display_, fresh, context_), True);
  frame(1);
  deliverFrame(1);
  ASSERT_TRUE(eventually([&] { return hasLine(otherLog(), drawLine()); }));
  frame(2); // of a pass that is held
  ASSERT_TRUE(eventually(outside::deliveryIsHeld));
  const Lines lines = otherLog();
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       "D void zol::gl::DrawableInfo::copyback(Display*, XExtCodes*): copyback "
                       "called before readback context has been set. Ignoring."),
            1); // for the window, not for the pbuffer
}

TEST_F(Delivery, FollowsAResize) {
  open();
  frame(1);
  deliverFrame(1);
  resizeWindow(window_, 90, 37);
  frame(2); // still of the old size
  frame(3);
  outside::letDeliveriesPass();
  EXPECT_TRUE(
      eventually([&] { return pixels(display_, window_, 90, 37) == pictureOf(3, 90, 37); }));
  EXPECT_TRUE(hasLine(otherLog(), debugLine(kPaintInternal, "freeing old image")));
}

struct Rate {
  const char* name;
  const char* setting;
  std::uint64_t microseconds;
};

void PrintTo(const Rate& rate, std::ostream* out) {
  *out << rate.name;
}

class Pace : public Delivery, public testing::WithParamInterface<Rate> {};

// The whole interval is slept before each pass, whatever time has passed.
TEST_P(Pace, IsTheFrameRates) {
  set("ZOL_GL_COPYBACK_FRAME_RATE", GetParam().setting);
  open();
  frame(1);
  ASSERT_TRUE(eventually(outside::deliveryIsHeld));
  EXPECT_EQ(outside::heldSleep(), GetParam().microseconds);
  frame(2);
  deliverFrame(2);
  ASSERT_TRUE(eventually(outside::deliveryIsHeld));
  EXPECT_EQ(outside::heldSleep(), GetParam().microseconds);
}

INSTANTIATE_TEST_SUITE_P(Rates, Pace,
                         testing::Values(Rate{"Default", "", 33333}, Rate{"Of60", "60", 16666},
                                         Rate{"Of30", "30", 33333}, Rate{"Of1", "1", 1000000},
                                         Rate{"Of0", "0", 1000000},
                                         Rate{"Negative", "-7", 1000000}),
                         [](const auto& rate) { return std::string(rate.param.name); });

TEST_F(Delivery, IsAtOnceWhenTheRateLeavesNoTimeBetweenPasses) {
  set("ZOL_GL_COPYBACK_FRAME_RATE", "1000001");
  open();
  frame(1);
  EXPECT_TRUE(
      eventually([&] { return pixels(display_, window_, 64, 48) == pictureOf(1, 64, 48); }));
  EXPECT_EQ(outside::calls("usleep"), 0);
}

// Strategies ----------------------------------------------------------------------------------

struct Way {
  const char* name;
  const char* strategy;
  bool sharedMemory; // whether the application's server has it
  bool singleThread;
};

void PrintTo(const Way& way, std::ostream* out) {
  *out << way.name;
}

std::string wayName(const testing::TestParamInfo<Way>& way) {
  return way.param.name;
}

class DeliveredPixels : public Delivery, public testing::WithParamInterface<Way> {
protected:
  void SetUp() override {
    set("ZOL_GL_COPYBACK_STRATEGY", GetParam().strategy);
    if (GetParam().singleThread) set("ZOL_GL_FORCE_SINGLE_THREAD_READBACK", "1");
    if (!GetParam().sharedMemory) serverOptions_ = {"-extension", "MIT-SHM"};
  }
};

TEST_P(DeliveredPixels, AreTheFramesPixels) {
  open(37, 21);
  frame(1);
  deliverFrame(1, 37, 21);
  frame(2);
  deliverFrame(2, 37, 21);
}

TEST_P(DeliveredPixels, AreTheFramesPixelsWithAlphaToo) {
  openFor(&Visuals::alpha, 64, 48);
  frame(1);
  deliverFrame(1);
}

INSTANTIATE_TEST_SUITE_P(Ways, DeliveredPixels,
                         testing::Values(Way{"DetectedShared", "0", true, false},
                                         Way{"DetectedPlain", "0", false, false},
                                         Way{"Shared", "1", true, false},
                                         Way{"Plain", "2", true, false},
                                         Way{"PlainWithoutExtension", "2", false, false},
                                         Way{"SharedInOneThread", "1", true, true},
                                         Way{"DetectedPlainInOneThread", "0", false, true}),
                         wayName);

class Strategy : public Delivery {
protected:
  // What is said until the server has its first say on the segment.
  static Lines detectionLines() {
    return {debugLine(kPaint, "START"),
            debugLine(kPaint, "Now performing auto detect - X extension for shared memory "
                              "available: true"),
            debugLine(kPaint, "Shared memory extension seems available, continuing checks.."),
            debugLine(kPaintInternal, "Trying to setup shared memory for image painter"),
            sizeLine()};
  }
};

TEST_F(Strategy, SharedIsForcedByDefault) {
  open();
  const int handlers = outside::calls("XSetErrorHandler");
  frame(1);
  deliverFrame(1);
  EXPECT_LINES(paintLog(),
               {debugLine(kPaint, "START"), debugLine(kPaint, "Forcing usage of shared memory"),
                debugLine(kPaint, "Setting up XImagePainter with shared memory"),
                debugLine(kPaintInternal, "Trying to setup shared memory for image painter"),
                sizeLine(), debugLine(kPaint, "DONE"), drawLine()});
  EXPECT_EQ(outside::calls("XShmQueryExtension"), 0);
  EXPECT_EQ(outside::calls("XSetErrorHandler"), handlers);
  EXPECT_EQ(outside::calls("XShmPutImage"), 2); // the trial and the frame
  EXPECT_EQ(outside::calls("shmget"), 1);

  frame(2);
  deliverFrame(2);
  const Lines lines = paintLog();
  EXPECT_LINES(Lines(lines.begin() + 7, lines.end()),
               {debugLine(kPaint, "START"), debugLine(kPaint, "Forcing usage of shared memory"),
                debugLine(kPaint, "Setting up XImagePainter with shared memory"),
                debugLine(kPaintInternal, "Trying to setup shared memory for image painter"),
                debugLine(kPaint, "DONE"), drawLine()});
  EXPECT_EQ(outside::calls("XShmPutImage"), 3);
  EXPECT_EQ(outside::calls("shmget"), 1);
}

TEST_F(Strategy, PlainNeverAsksForSharedMemory) {
  set("ZOL_GL_COPYBACK_STRATEGY", "2");
  open();
  const int handlers = outside::calls("XSetErrorHandler");
  frame(1);
  deliverFrame(1);
  EXPECT_LINES(paintLog(),
               {debugLine(kPaint, "START"), debugLine(kPaint, "Forcing usage of non-shared memory"),
                debugLine(kPaint, "Setting up XImagePainter without shared memory"),
                debugLine(kPaintInternal,
                          "Trying to setup image painter with low performance non-shared memory"),
                sizeLine(), debugLine(kPaint, "DONE"), drawLine()});
  EXPECT_EQ(outside::calls("XShmQueryExtension"), 0);
  EXPECT_EQ(outside::calls("XSetErrorHandler"), handlers);
  EXPECT_EQ(outside::calls("XShmPutImage"), 0);
  EXPECT_EQ(outside::calls("shmget"), 0);
  EXPECT_EQ(outside::calls("XPutImage"), 1);
}

TEST_F(Strategy, DetectionTakesSharedMemoryWhereItIs) {
  set("ZOL_GL_COPYBACK_STRATEGY", "0");
  open();
  static const XErrorHandler own = [](Display*, XErrorEvent*) { return 0; };
  XSetErrorHandler(own);
  const int handlers = outside::calls("XSetErrorHandler");
  frame(1);
  deliverFrame(1);
  EXPECT_LINES(paintLog(),
               (detectionLines() + Lines{debugLine(kPaint, "Setup with shmem SUCCEEDED"),
                                         debugLine(kPaint, "DONE"), drawLine()}));
  EXPECT_EQ(outside::calls("XSetErrorHandler"), handlers + 2);
  EXPECT_EQ(XSetErrorHandler(nullptr), own);

  frame(2);
  deliverFrame(2);
  const Lines lines = paintLog();
  EXPECT_LINES(Lines(lines.begin() + 8, lines.end()),
               {debugLine(kPaint, "START"),
                debugLine(kPaint, "Setting up XImagePainter with shared memory"),
                debugLine(kPaintInternal, "Trying to setup shared memory for image painter"),
                debugLine(kPaint, "DONE"), drawLine()});
}

TEST_F(Strategy, DetectionDoesWithoutWhereTheServerHasNone) {
  set("ZOL_GL_COPYBACK_STRATEGY", "0");
  serverOptions_ = {"-extension", "MIT-SHM"};
  open();
  frame(1);
  deliverFrame(1);
  EXPECT_LINES(
      paintLog(),
      {debugLine(kPaint, "START"),
       debugLine(kPaint, "Now performing auto detect - X extension for shared memory available: "
                         "false"),
       debugLine(kPaint, "Shared memory extension is not available, forcing non-shared memory"),
       debugLine(kPaint, "Setting up XImagePainter without shared memory"),
       debugLine(kPaintInternal,
                 "Trying to setup image painter with low performance non-shared memory"),
       sizeLine(), debugLine(kPaint, "DONE"), drawLine()});
  frame(2);
  deliverFrame(2);
  EXPECT_EQ(outside::calls("XShmQueryExtension"), 1);
}

TEST_F(Strategy, DetectionFallsBackWhenTheServerCannotAttach) {
  set("ZOL_GL_COPYBACK_STRATEGY", "0");
  open();
  outside::fail("XShmAttach");
  frame(1);
  deliverFrame(1);
  EXPECT_LINES(
      paintLog(),
      (detectionLines() +
       Lines{"E " + kPaintInternal + ": unable to attach shared memory segment",
             debugLine(kPaint, "Shared memory setup failed, falling back to non-shared"),
             debugLine(kPaintInternal,
                       "Trying to setup image painter with low performance non-shared memory"),
             sizeLine(), debugLine(kPaint, "Setup without shmem returned SUCCESS"),
             debugLine(kPaint, "DONE"), drawLine()}));
}

TEST_F(Strategy, SharedWithoutTheExtensionPaintsNothing) {
  serverOptions_ = {"-extension", "MIT-SHM"};
  open();
  frame(1);
  frame(2);
  passBy();
  EXPECT_LINES(paintLog(),
               {debugLine(kPaint, "START"), debugLine(kPaint, "Forcing usage of shared memory"),
                debugLine(kPaint, "Setting up XImagePainter with shared memory"),
                debugLine(kPaintInternal, "Trying to setup shared memory for image painter"),
                sizeLine(), "E " + kPaintInternal + ": unable to attach shared memory segment",
                debugLine(kPaint, "DONE")});
  EXPECT_NE(pixels(display_, window_, 64, 48), pictureOf(2, 64, 48));
}

TEST_F(Strategy, SharedWithoutASegmentTriesAgainWithTheNextPass) {
  open();
  outside::fail("shmget");
  frame(1);
  frame(1);
  passBy();
  EXPECT_TRUE(
      hasLine(paintLog(), "E " + kPaintInternal + ": unable to create shared memory segment"));
  deliverFrame(1);
}

// Failures ------------------------------------------------------------------------------------

class DeliveryFailure : public Delivery {
protected:
  // The frame of a failing pass stays pending: the next pass delivers it.
  void expectWarningThenDelivery(const std::string& warning) {
    frame(1);
    frame(1);
    passBy();
    EXPECT_TRUE(hasLine(otherLog(), warning)) << testing::PrintToString(otherLog());
    deliverFrame(1);
  }
};

TEST_F(DeliveryFailure, OfBindingTheCopybackContextKeepsTheFrame) {
  open();
  // Of the frames' own two bindings each come two before it.
  recorder().fail("glXMakeCurrent", 5);
  expectWarningThenDelivery("W " + kMulti + ": Failed to make copyback context current");
}

TEST_F(DeliveryFailure, OfMappingTheBufferKeepsTheFrame) {
  open();
  recorder().fail("glMapBufferRange");
  expectWarningThenDelivery("W " + kMulti + ": Failed to map buffer for copyback");
}

TEST_F(DeliveryFailure, OfTheCopybackContextsCreationPaintsNothing) {
  open();
  recorder().fail("glXCreateNewContext", 2);
  frame(1);
  EXPECT_TRUE(hasLine(logged(), "W " + kSetupReadbackLabel + ": Failed to set readback context"));
  frame(1);
  passBy();
  EXPECT_TRUE(hasLine(otherLog(), "W " + kMulti + ": Copyback context is not set, skipping"));
  EXPECT_NE(pixels(display_, window_, 64, 48), pictureOf(1, 64, 48));
}

TEST_F(DeliveryFailure, InOneThreadOfMappingTheBufferPaintsNothing) {
  set("ZOL_GL_FORCE_SINGLE_THREAD_READBACK", "1");
  open();
  recorder().fail("glMapBufferRange", 1, 2);
  frame(1);
  frame(1);
  passBy();
  EXPECT_TRUE(hasLine(otherLog(), "W " + kSingle + ": Buffer is NULL, skipping copyback"));
  EXPECT_NE(pixels(display_, window_, 64, 48), pictureOf(1, 64, 48));
  frame(2);
  deliverFrame(2);
}

TEST_F(DeliveryFailure, OfTheFramebufferLeavesNothingPending) {
  open();
  recorder().setFramebufferStatus(GL_FRAMEBUFFER_UNSUPPORTED);
  frame(1);
  recorder().setFramebufferStatus(GL_FRAMEBUFFER_COMPLETE);
  const Window second = createWindow(display_, visuals_.doubled, 64, 48);
  ASSERT_EQ(makeCurrent(display_, second, context_), True);
  swap(display_, second);
  passBy();
  EXPECT_FALSE(hasLine(otherLog(), drawLine()));
  EXPECT_TRUE(hasLine(otherLog(), "<any>XPutting image on " + hex(second) + ", size 64 48"));
}

TEST_F(DeliveryFailure, OfTheThreadsDisplayDeliversNothing) {
  startServers();
  describeVisuals();
  outside::fail("XOpenDisplay", 1, 3); // the probe, the search's two, and then the thread's own
  ASSERT_EQ(enter(), 1);
  ASSERT_TRUE(eventually([&] {
    return hasLine(otherLog(), "W void zol::gl::CopybackThread::svc(): Could not open the "
                               "copyback display");
  }));
  lookUp();
  display_ = openDisplay();
  context_ = createContext(display_, visuals_.doubled);
  window_ = createWindow(display_, visuals_.doubled, 64, 48);
  ASSERT_EQ(makeCurrent(display_, window_, context_), True);
  frame(1);
  EXPECT_TRUE(hasLine(driverCalls(), "glReadPixels(<any>"));
  EXPECT_EQ(otherCalls(), Lines{});
}

// Windows that go -----------------------------------------------------------------------------

class WindowGone : public Delivery {
protected:
  void SetUp() override { countXErrors(); }
  void TearDown() override {
    Delivery::TearDown();
    EXPECT_EQ(xErrors(), 0) << "errors reached the program's handler";
  }
  // Another window whose frames are delivered after those of the first.
  void another() {
    second_ = createWindow(display_, visuals_.doubled, 64, 48);
    ASSERT_EQ(makeCurrent(display_, second_, context_), True);
    moveWindow(second_, 300, 300);
  }
  void expectOtherWindowServed() {
    recorder().setFrame(picture(7));
    swap(display_, second_);
    outside::letDeliveriesPass();
    EXPECT_TRUE(
        eventually([&] { return pixels(display_, second_, 64, 48) == pictureOf(7, 64, 48); }));
  }
  Window second_ = 0;
};

TEST_F(WindowGone, BeforeItsFirstDeliveryIsNoHarm) {
  open();
  another();
  frame(1);
  destroyWindow(window_);
  expectOtherWindowServed();
}

TEST_F(WindowGone, BetweenDeliveriesIsNoHarm) {
  open();
  another();
  frame(1);
  deliverFrame(1);
  frame(2);
  destroyWindow(window_);
  expectOtherWindowServed();
}

TEST_F(WindowGone, IsNoHarmToPlainDeliveries) {
  set("ZOL_GL_COPYBACK_STRATEGY", "2");
  open();
  another();
  frame(1);
  destroyWindow(window_);
  expectOtherWindowServed();
}

TEST_F(WindowGone, IsNoticedBeforehandWhenToldTo) {
  set("ZOL_GL_CHECK_WINDOW_BEFORE_DRAWING", "1");
  open();
  another();
  frame(1);
  destroyWindow(window_);
  expectOtherWindowServed();
  EXPECT_TRUE(hasLine(otherLog(),
                      "W void zol::gl::DrawableInfo::copyback(Display*, XExtCodes*): Drawable 0x" +
                          hex(window_) + " was destroyed, skipping image copy"));
}

// The whole of it, in a process whose end counts.
RIG_SCENARIO(endsWithAWindowThatIsGone) {
  VendorHost host;
  if (host.enter() != 1) return 99;
  Display* const display = XOpenDisplay(nullptr);
  XVisualInfo wanted{};
  wanted.visualid = std::strtoul(std::getenv("ZOL_RIG_VISUAL"), nullptr, 10);
  int count = 0;
  XVisualInfo* const visual = XGetVisualInfo(display, VisualIDMask, &wanted, &count);
  recorder().nameDisplay(std::getenv("DISPLAY"), "app");
  recorder().setVisual("app", wanted.visualid, {{GLX_USE_GL, 1}, {GLX_DOUBLEBUFFER, 1}});
  recorder().addConfig({std::strtoul(std::getenv("ZOL_RIG_LOCAL_VISUAL"), nullptr, 10),
                        {{GLX_DOUBLEBUFFER, 1}, {GLX_RENDER_TYPE, 3}}});
  const GLXContext context = GL_OF(host, glXCreateContext)(display, visual, nullptr, True);
  XFree(visual);
  const Window window =
      XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 9, 9, 0, 0, 0);
  XMapWindow(display, window);
  XSync(display, False);
  if (!GL_OF(host, glXMakeCurrent)(display, window, context)) return 98;
  outside::holdDeliveries();
  GL_OF(host, glXSwapBuffers)(display, window);
  if (!eventually(outside::deliveryIsHeld)) return 97;
  XDestroyWindow(display, window);
  XSync(display, False);
  outside::letDeliveriesPass();
  GL_OF(host, glXSwapBuffers)(display, window);
  return 0;
}

TEST_F(Delivery, ToAWindowThatIsGoneDoesNotChangeHowTheProgramEnds) {
  startServers();
  describeVisuals();
  const auto defaultVisual = [](const std::string& server) {
    Display* const display = XOpenDisplay(server.c_str());
    const VisualID id = XVisualIDFromVisual(DefaultVisual(display, 0));
    XCloseDisplay(display);
    return std::to_string(id);
  };
  ScenarioOptions options;
  options.environment = {{"ZOL_RIG_VISUAL", defaultVisual(appName())},
                         {"ZOL_RIG_LOCAL_VISUAL", defaultVisual(localName())}};
  const ScenarioResult result = runScenario("endsWithAWindowThatIsGone", options);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
}

// Many threads --------------------------------------------------------------------------------

TEST_F(Delivery, OfManyThreadsKeepsTheDriverCallsApart) {
  start();
  constexpr unsigned kThreads = 4;
  std::atomic<unsigned> served = 0;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) {
    Display* const display = openDisplay();
    const Window window = createWindow(display, visuals_.doubled, 32 + i, 24);
    threads.emplace_back([&, display, window, i] {
      const GLXContext context = createContext(display, visuals_.doubled);
      EXPECT_EQ(makeCurrent(display, window, context), True);
      for (int frame = 0; frame < 40; ++frame) {
        if (frame % 10 == 5) {
          XResizeWindow(display, window, 32 + i + static_cast<unsigned>(frame), 24);
          XSync(display, False);
        }
        swap(display, window);
      }
      EXPECT_EQ(makeCurrent(display, None, nullptr), True);
      GL_OF(host(), glXDestroyContext)(display, context);
      ++served;
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(served, kThreads);
}

} // namespace
