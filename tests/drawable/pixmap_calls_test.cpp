#include "rig/local_objects.h"
#include "rig/lock_probe.h"
#include "rig/odd_configs.h"

#include <cstring>
#include <unistd.h>

using namespace zol::rig;

namespace {

const std::string kCreate =
    "GLXPixmap zol_glXCreatePixmap(Display*, GLXFBConfig, Pixmap, const int*)";
const std::string kCreateOld = "GLXPixmap zol_glXCreateGLXPixmap(Display*, XVisualInfo*, Pixmap)";
const std::string kDestroy = "void zol_glXDestroyPixmap(Display*, GLXPixmap)";

class GLXPixmaps : public OddConfigsRig {
protected:
  void findFunctions() override {
    create_ = GL_OF(host(), glXCreatePixmap);
    createOld_ = GL_OF(host(), glXCreateGLXPixmap);
    createSGIX_ = GL_OF(host(), glXCreateGLXPixmapWithConfigSGIX);
    destroy_ = GL_OF(host(), glXDestroyPixmap);
    destroyOld_ = GL_OF(host(), glXDestroyGLXPixmap);
  }
  void open() {
    OddConfigsRig::open();
    local_ = XOpenDisplay(localServer().name().c_str());
    ASSERT_NE(local_, nullptr);
  }
  ~GLXPixmaps() override {
    if (local_ != nullptr) XCloseDisplay(local_);
  }

  Pixmap createAppPixmap(unsigned width, unsigned height, unsigned depth = 24) {
    const Pixmap pixmap =
        XCreatePixmap(display_, DefaultRootWindow(display_), width, height, depth);
    XSync(display_, False);
    return pixmap;
  }
  std::string configLine(GLXFBConfig config) {
    return debugLine(kCreate, "fbconfig " + hex(config));
  }
  static std::string recordLine(const std::string& label) {
    return debugLine(label, "Pixmap ldi <ptr>, lvi: <ptr>");
  }

  Display* local_ = nullptr; // the test's own connection
  decltype(&::glXCreatePixmap) create_ = nullptr;
  decltype(&::glXCreateGLXPixmap) createOld_ = nullptr;
  decltype(&::glXCreateGLXPixmapWithConfigSGIX) createSGIX_ = nullptr;
  decltype(&::glXDestroyPixmap) destroy_ = nullptr;
  decltype(&::glXDestroyGLXPixmap) destroyOld_ = nullptr;
};

// Creation -------------------------------------------------------------------------------------

TEST_F(GLXPixmaps, AreTheDriversForALocalPixmapOfTheSameSizeAndDepth) {
  open();
  for (const unsigned depth : {24u, 32u}) {
    const Pixmap pixmap = createAppPixmap(64, 32, depth);
    const GLXPixmap made = create_(display_, configs_.doubled, pixmap, nullptr);
    EXPECT_LINES(logged(), {configLine(configs_.doubled), foundLine(configs_.doubled),
                            debugLine(kCreate, "forcing fbconfig " + hex(configs_.doubled)),
                            recordLine(kCreate)});
    const Lines calls = driverCalls();
    EXPECT_LINES(calls, (lookUpCalls("fb1") +
                         Lines{"glXCreatePixmap(local, fb1, 0x<hex>, NULL) = glxpixmap<num>"}));
    EXPECT_EQ(" = " + recorder().nameOf(made), calls.back().substr(calls.back().rfind(" = ")));
    const LocalGeometry geometry = localGeometry(local_, argument(calls.back(), 2));
    EXPECT_EQ(geometry.width, 64u);
    EXPECT_EQ(geometry.height, 32u);
    EXPECT_EQ(geometry.depth, depth);
    EXPECT_NE(argument(calls.back(), 2), pixmap);
  }
}

TEST_F(GLXPixmaps, HaveTheirAttributesPassedOn) {
  open();
  const int attributes[] = {0x20D5, 0x20D9, 0x20D6, 0x20DC, 0};
  create_(display_, configs_.single, createAppPixmap(8, 8), attributes);
  EXPECT_LINES(driverCalls(),
               (lookUpCalls("fb2") + Lines{"glXCreatePixmap(local, fb2, 0x<hex>, {0x20d5=8409, "
                                           "0x20d6=8412, 0}) = glxpixmap1"}));
}

TEST_F(GLXPixmaps, AreMadeWithTheBestConfigOfTheirVisual) {
  open();
  create_(display_, candidate_, createAppPixmap(8, 8), nullptr);
  EXPECT_LINES(logged(), {configLine(candidate_)} + candidateLines(candidate_) +
                             Lines{debugLine(kCreate, "forcing fbconfig " + hex(configs_.doubled)),
                                   recordLine(kCreate)});
  EXPECT_TRUE(hasLine(driverCalls(), "glXCreatePixmap(local, fb1, 0x<hex>, NULL) = glxpixmap1"));
}

TEST_F(GLXPixmaps, MayBeMadeWithTheConfigThatWasAskedFor) {
  set("ZOL_GL_FORCE_BEST_FBCONFIG", "0");
  open();
  create_(display_, candidate_, createAppPixmap(8, 8), nullptr);
  EXPECT_LINES(logged(),
               {configLine(candidate_)} + candidateLines(candidate_) + Lines{recordLine(kCreate)});
  EXPECT_TRUE(hasLine(driverCalls(), "glXCreatePixmap(local, fb4, 0x<hex>, NULL) = glxpixmap1"));
}

TEST_F(GLXPixmaps, OfAConfigThatNoVisualStandsForAreNone) {
  open();
  EXPECT_EQ(create_(display_, stranger_, createAppPixmap(8, 8), nullptr), None);
  EXPECT_LINES(logged(), {configLine(stranger_)} + notFoundLines(stranger_) +
                             Lines{debugLine(kCreate, "no lvi.")});
  EXPECT_FALSE(hasLine(driverCalls(), "glXCreatePixmap(<any>"));
}

TEST_F(GLXPixmaps, OfAPixmapThatIsNoneAreNone) {
  open();
  countXErrors();
  EXPECT_EQ(create_(display_, configs_.doubled, 0x777777, nullptr), None);
  EXPECT_EQ(xErrors(), 1); // the program is told by its own server
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(GLXPixmaps, WithoutALocalDisplayAreNone) {
  prepare();
  const Pixmap pixmap = createAppPixmap(8, 8);
  EXPECT_EQ(create_(nullptr, configs_.doubled, pixmap, nullptr), None);
  EXPECT_LINES(logged(), {configLine(configs_.doubled)});
  outside::fail("XOpenDisplay", 1000);
  EXPECT_EQ(create_(display_, configs_.doubled, pixmap, nullptr), None);
  outside::fail("XOpenDisplay", 1000, 1); // the thread's second connection is had
  EXPECT_EQ(create_(display_, configs_.doubled, pixmap, nullptr), None);
  EXPECT_EQ(createOld_(display_, &visuals_.doubled, pixmap), None);
  EXPECT_EQ(createSGIX_(display_, configs_.doubled, pixmap), None);
  EXPECT_EQ(driverCalls(), Lines{});
}

// The driver's result is not looked at: the record has the id 0.
TEST_F(GLXPixmaps, ThatTheDriverRefusesAreOnRecordAsZero) {
  open();
  recorder().fail("glXCreatePixmap");
  EXPECT_EQ(create_(display_, configs_.doubled, createAppPixmap(8, 8), nullptr), None);
  EXPECT_TRUE(hasLine(logged(), recordLine(kCreate)));
  driverCalls();
  unsigned value = 0;
  const auto query = GL_OF(host(), glXQueryDrawable);
  query(display_, 0, GLX_WIDTH, &value);
  EXPECT_LINES(driverCalls(), {"glXQueryDrawable(local, 0, GLX_WIDTH, &)"});
}

TEST_F(GLXPixmaps, OfAVisualAreMadeWithItsBestConfigWhateverIsSet) {
  set("ZOL_GL_FORCE_BEST_FBCONFIG", "0");
  open();
  const GLXPixmap made = createOld_(display_, &visuals_.doubled, createAppPixmap(8, 8));
  EXPECT_LINES(logged(), {debugLine(kCreateOld, "visual id " + hex(visuals_.doubled.visualid)),
                          recordLine(kCreateOld)});
  EXPECT_LINES(driverCalls(), {"glXCreatePixmap(local, fb1, 0x<hex>, NULL) = glxpixmap1"});
  EXPECT_EQ(recorder().nameOf(made), "glxpixmap1");
}

TEST_F(GLXPixmaps, OfAVisualThatIsUnknownAreNone) {
  open();
  XVisualInfo unknown = visuals_.doubled;
  unknown.visualid = 0x7fff;
  EXPECT_EQ(createOld_(display_, &unknown, createAppPixmap(8, 8)), None);
  EXPECT_LINES(logged(),
               {debugLine(kCreateOld, "visual id 7fff"),
                debugLine("zol::gl::LocalVisualInfo* _getLVI(Display*, VisualID, zol::gl::TSD*)",
                          "LVI for app visual 7fff not found"),
                debugLine(kCreateOld, "FAILED for no lvi.")});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(GLXPixmaps, OfAnOlderCallAreThoseWithoutAttributes) {
  open();
  createSGIX_(display_, configs_.single, createAppPixmap(8, 8));
  EXPECT_LINES(logged(), {debugLine("GLXPixmap zol_glXCreateGLXPixmapWithConfigSGIX(Display*, "
                                    "GLXFBConfigSGIX, Pixmap)",
                                    "START"),
                          configLine(configs_.single), foundLine(configs_.single),
                          debugLine(kCreate, "forcing fbconfig " + hex(configs_.single)),
                          recordLine(kCreate)});
  EXPECT_TRUE(
      matchesLine("glXCreatePixmap(local, fb2, 0x<hex>, NULL) = glxpixmap1", driverCalls().back()));
}

// The hidden window ----------------------------------------------------------------------------

TEST_F(GLXPixmaps, ShareOneHiddenWindowOfTheProcess) {
  open();
  EXPECT_EQ(hiddenWindows(local_), std::vector<Window>{}); // made when it is first needed
  create_(display_, configs_.doubled, createAppPixmap(8, 8), nullptr);
  const std::vector<Window> windows = hiddenWindows(local_);
  ASSERT_EQ(windows.size(), 1u);
  createOld_(display_, &visuals_.alpha, createAppPixmap(8, 8, 32));
  destroy_(display_, create_(display_, configs_.single, createAppPixmap(8, 8), nullptr));
  EXPECT_EQ(hiddenWindows(local_), windows);

  XWindowAttributes attributes{};
  ASSERT_NE(XGetWindowAttributes(local_, windows[0], &attributes), 0);
  EXPECT_EQ(attributes.root, DefaultRootWindow(local_));
  EXPECT_EQ(attributes.map_state, IsUnmapped);
  EXPECT_EQ(attributes.width, 10);
  EXPECT_EQ(attributes.height, 10);
  EXPECT_EQ(attributes.border_width, 0);
  EXPECT_EQ(windowName(local_, windows[0]), ownPath() + " (ZOL-GL)");
  const CardinalProperty pid = cardinalProperty(local_, windows[0], "_NET_WM_PID");
  EXPECT_EQ(pid.count, 1u);
  EXPECT_EQ(pid.value, static_cast<unsigned long>(getpid()));
}

TEST_F(GLXPixmaps, HaveTheHiddenWindowOnTheLocalDisplaysOwnScreen) {
  startServersWithSecondScreen();
  describeVisuals();
  begin();
  display_ = openDisplay();
  local_ = XOpenDisplay((localServer().name() + ".1").c_str());
  ASSERT_NE(local_, nullptr);
  const auto create = GL_OF(host(), glXCreatePixmap);
  ASSERT_NE(create(display_, configs_.doubled, createAppPixmap(8, 8), nullptr), None);
  const std::vector<Window> windows = hiddenWindows(local_); // of the second screen's root
  ASSERT_EQ(windows.size(), 1u);
}

// Destruction ----------------------------------------------------------------------------------

TEST_F(GLXPixmaps, EndWithTheirLocalPixmap) {
  open();
  const GLXPixmap made = create_(display_, configs_.doubled, createAppPixmap(8, 8), nullptr);
  const XID localPixmap = argument(driverCalls().back(), 2);
  forget();
  destroy_(display_, made);
  EXPECT_LINES(logged(), (Lines{debugLine(kDestroy, "START")} + kUnboundEndLines +
                          Lines{debugLine(kDestructorLabel, "Destroying local pixmap")}));
  EXPECT_LINES(driverCalls(), {"glXGetCurrentContext()<any>", "glXGetCurrentDrawable()",
                               "glXDestroyPixmap(local, glxpixmap1)"});
  createAppPixmap(8, 8); // the local connection has to come by the server once more
  create_(display_, configs_.doubled, createAppPixmap(8, 8), nullptr);
  EXPECT_TRUE(eventually([&] { return !localExists(local_, localPixmap); }));
  forget();
  destroy_(display_, made); // again: nothing
  EXPECT_LINES(logged(), {debugLine(kDestroy, "START")});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(GLXPixmaps, EndByTheOlderCallToo) {
  open();
  const GLXPixmap made = createOld_(display_, &visuals_.doubled, createAppPixmap(8, 8));
  forget();
  destroyOld_(display_, made);
  const Lines lines = logged();
  EXPECT_EQ(lines[0], debugLine("void zol_glXDestroyGLXPixmap(Display*, GLXPixmap)", "START"));
  EXPECT_EQ(lines[1], debugLine(kDestroy, "START"));
  EXPECT_EQ(driverCalls().back(), "glXDestroyPixmap(local, glxpixmap1)");
}

TEST_F(GLXPixmaps, DoNotEndAsPbuffersNorAsSomebodyElses) {
  open();
  const GLXPixmap made = create_(display_, configs_.doubled, createAppPixmap(8, 8), nullptr);
  forget();
  GL_OF(host(), glXDestroyPbuffer)(display_, made);
  destroy_(display_, made + 1);
  destroy_(nullptr, made);
  onCutOffThread([&] { destroy_(display_, made); });
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_EQ(driverCallsOfOthers(), Lines{});
  destroy_(display_, made);
  EXPECT_EQ(driverCalls().back(), "glXDestroyPixmap(local, glxpixmap1)");
}

TEST_F(GLXPixmaps, OutliveTheSearchForDeadWindows) {
  open();
  const Pixmap pixmap = createAppPixmap(8, 8);
  const GLXPixmap made = create_(display_, configs_.doubled, pixmap, nullptr);
  XFreePixmap(display_, pixmap);
  ASSERT_EQ(makeCurrent(display_, createWindow(display_, visuals_.doubled, 64, 48), context_),
            True);
  EXPECT_FALSE(hasLine(driverCalls(), "glXDestroyPixmap(<any>"));
  destroy_(display_, made);
  EXPECT_TRUE(hasLine(driverCalls(), "glXDestroyPixmap(local, glxpixmap1)"));
}

// Use ------------------------------------------------------------------------------------------

TEST_F(GLXPixmaps, AreCopiedBackWhenTheProgramFinishesOrFlushes) {
  open();
  const Pixmap pixmap = createAppPixmap(7, 5);
  const GLXPixmap made = create_(display_, configs_.doubled, pixmap, nullptr);
  const XID localPixmap = argument(driverCalls().back(), 2);
  ASSERT_EQ(makeCurrent(display_, made, context_), True);
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, glxpixmap1, ctx1)");
  const auto finish = GL_OF(host(), glFinish);
  const auto flush = GL_OF(host(), glFlush);
  const std::string copied = "Copying pixmap " + std::to_string(localPixmap) + " to " +
                             std::to_string(pixmap) + "\n (0,0 7x5)";
  unsigned long colour = 0x123456;
  for (const auto& [function, call] :
       {std::pair{finish, "glFinish()"}, std::pair{flush, "glFlush()"}}) {
    colour += 0x10101;
    recorder().setHook(std::string(call, std::strlen(call) - 2), // the driver draws
                       [&] { fillLocal(local_, localPixmap, colour); });
    forget();
    function();
    EXPECT_TRUE(
        hasLine(logged(), debugLine("void copybackPixmap(zol::gl::DrawableInfo*)", copied)));
    EXPECT_LINES(driverCalls(), {call});
    EXPECT_EQ(pixels(display_, pixmap, 7, 5),
              std::vector<std::uint32_t>(35, static_cast<std::uint32_t>(colour)));
  }
}

// What a program sends next goes out with it.
TEST_F(GLXPixmaps, AreCopiedBackWithoutAFlushOfTheProgramsConnection) {
  open();
  const Pixmap pixmap = createAppPixmap(7, 5);
  const GLXPixmap made = create_(display_, configs_.doubled, pixmap, nullptr);
  fillLocal(local_, argument(driverCalls().back(), 2), 0x123456);
  ASSERT_EQ(makeCurrent(display_, made, context_), True);
  Display* const other = openDisplay();
  const auto before = pixels(other, pixmap, 7, 5);
  const std::vector<std::uint32_t> after(35, 0x123456);
  ASSERT_NE(before, after);
  GL_OF(host(), glFinish)();
  EXPECT_EQ(pixels(other, pixmap, 7, 5), before);
  XSync(display_, False);
  EXPECT_EQ(pixels(other, pixmap, 7, 5), after);
}

TEST_F(GLXPixmaps, AreLeftWhenTheyCannotBeReadOrWritten) {
  open();
  const GLXPixmap made = create_(display_, configs_.doubled, createAppPixmap(7, 5), nullptr);
  ASSERT_EQ(makeCurrent(display_, made, context_), True);
  const auto finish = GL_OF(host(), glFinish);
  forget();
  for (const char* const function : {"XGetImage", "XCreateGC"}) {
    outside::fail(function);
    finish();
    EXPECT_EQ(outside::calls("XPutImage"), 0) << function;
    EXPECT_LINES(driverCalls(), {"glFinish()"});
  }
  finish();
  EXPECT_EQ(outside::calls("XPutImage"), 1);
}

// The record goes by the program's configuration, whichever the driver was given: a context of the
// best one is of another.
TEST_F(GLXPixmaps, AreOnRecordWithTheConfigThatWasAskedFor) {
  open();
  EXPECT_TRUE(isOfAnotherConfig(create_(display_, candidate_, createAppPixmap(8, 8), nullptr)));
  EXPECT_FALSE(
      isOfAnotherConfig(create_(display_, configs_.doubled, createAppPixmap(8, 8), nullptr)));
  EXPECT_FALSE(isOfAnotherConfig(createOld_(display_, &visuals_.doubled, createAppPixmap(8, 8))));
}

TEST_F(GLXPixmaps, AreMadeAndEndUnderTheLocalDisplaysMutex) {
  open();
  const Pixmap pixmap = createAppPixmap(8, 8);
  GLXPixmap made = 0;
  EXPECT_LOCKED(host(), display_, "glXCreatePixmap",
                made = create_(display_, configs_.doubled, pixmap, nullptr));
  EXPECT_LOCKED(host(), display_, "glXDestroyPixmap", destroy_(display_, made));
  EXPECT_LOCKED(host(), display_, "glXCreatePixmap",
                made = createOld_(display_, &visuals_.doubled, pixmap));
}

} // namespace
