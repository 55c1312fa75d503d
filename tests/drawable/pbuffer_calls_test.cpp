#include "rig/lock_probe.h"
#include "rig/odd_configs.h"

using namespace zol::rig;

namespace {

const std::string kCreate = "GLXPbuffer zol_glXCreatePbuffer(Display*, GLXFBConfig, const int*)";
const std::string kCreateSGIX = "GLXPbufferSGIX zol_glXCreateGLXPbufferSGIX(Display*, "
                                "GLXFBConfigSGIX, unsigned int, unsigned int, int*)";
const std::string kDestroy = "void zol_glXDestroyPbuffer(Display*, GLXPbuffer)";
const std::string kQuerySGIX =
    "int zol_glXQueryGLXPbufferSGIX(Display*, GLXPbufferSGIX, int, unsigned int*)";

// The older query as drivers have it; its public prototype returns nothing.
using QuerySGIX = int (*)(Display*, GLXPbufferSGIX, int, unsigned int*);

class Pbuffers : public OddConfigsRig {
protected:
  void findFunctions() override {
    create_ = GL_OF(host(), glXCreatePbuffer);
    createSGIX_ = GL_OF(host(), glXCreateGLXPbufferSGIX);
    destroy_ = GL_OF(host(), glXDestroyPbuffer);
    destroySGIX_ = GL_OF(host(), glXDestroyGLXPbufferSGIX);
    querySGIX_ = host().get<QuerySGIX>("glXQueryGLXPbufferSGIX");
  }
  GLXPbuffer createPbuffer() {
    const GLXPbuffer made = create_(display_, configs_.doubled, kSmall);
    forget();
    return made;
  }
  std::string configLine(GLXFBConfig config) {
    return debugLine(kCreate, "fbconfig " + hex(config));
  }

  static constexpr int kSmall[] = {GLX_PBUFFER_WIDTH, 20, GLX_PBUFFER_HEIGHT, 10, 0};

  decltype(&::glXCreatePbuffer) create_ = nullptr;
  decltype(&::glXCreateGLXPbufferSGIX) createSGIX_ = nullptr;
  decltype(&::glXDestroyPbuffer) destroy_ = nullptr;
  decltype(&::glXDestroyGLXPbufferSGIX) destroySGIX_ = nullptr;
  QuerySGIX querySGIX_ = nullptr;
};

// Creation -------------------------------------------------------------------------------------

TEST_F(Pbuffers, AreTheDriversWithTheAttributesThatWereAskedFor) {
  open();
  const int attributes[] = {GLX_PBUFFER_HEIGHT,
                            50,
                            GLX_PBUFFER_WIDTH,
                            100,
                            GLX_PRESERVED_CONTENTS,
                            1,
                            GLX_LARGEST_PBUFFER,
                            0,
                            0x9999,
                            -7,
                            0};
  const GLXPbuffer made = create_(display_, configs_.single, attributes);
  EXPECT_LINES(logged(),
               {configLine(configs_.single),
                debugLine(kCreate, "attr, value: GLX_PBUFFER_HEIGHT (32832), 50"),
                debugLine(kCreate, "attr, value: GLX_PBUFFER_WIDTH (32833), 100"),
                debugLine(kCreate, "attr, value: GLX_PRESERVED_CONTENTS (32795), 1"),
                debugLine(kCreate, "attr, value: GLX_LARGEST_PBUFFER (32796), 0"),
                debugLine(kCreate, "attr, value: UNKNOWN (39321), -7"), foundLine(configs_.single),
                debugLine(kCreate, "forcing fbconfig " + hex(configs_.single))});
  EXPECT_LINES(driverCalls(),
               (lookUpCalls("fb2") + Lines{"glXCreatePbuffer(local, fb2, {GLX_PBUFFER_HEIGHT=50, "
                                           "GLX_PBUFFER_WIDTH=100, GLX_PRESERVED_CONTENTS=1, "
                                           "GLX_LARGEST_PBUFFER=0, 0x9999=-7, 0}) = pbuffer1"}));
  EXPECT_EQ(recorder().nameOf(made), "pbuffer1"); // the program has the driver's own id
}

TEST_F(Pbuffers, NeedNoAttributes) {
  open();
  const GLXPbuffer made = create_(display_, configs_.single, nullptr);
  EXPECT_LINES(logged(), {configLine(configs_.single), foundLine(configs_.single),
                          debugLine(kCreate, "forcing fbconfig " + hex(configs_.single))});
  EXPECT_EQ(driverCalls().back(), "glXCreatePbuffer(local, fb2, NULL) = pbuffer1");
  EXPECT_EQ(recorder().nameOf(made), "pbuffer1");
}

TEST_F(Pbuffers, AreMadeWithTheBestConfigOfTheirVisual) {
  open();
  create_(display_, candidate_, nullptr);
  EXPECT_LINES(logged(),
               {configLine(candidate_)} + candidateLines(candidate_) +
                   Lines{debugLine(kCreate, "forcing fbconfig " + hex(configs_.doubled))});
  EXPECT_EQ(driverCalls().back(), "glXCreatePbuffer(local, fb1, NULL) = pbuffer1");
}

TEST_F(Pbuffers, MayBeMadeWithTheConfigThatWasAskedFor) {
  set("ZOL_GL_FORCE_BEST_FBCONFIG", "0");
  open();
  create_(display_, candidate_, nullptr);
  EXPECT_LINES(logged(), {configLine(candidate_)} + candidateLines(candidate_));
  EXPECT_EQ(driverCalls().back(), "glXCreatePbuffer(local, fb4, NULL) = pbuffer1");
}

// No attributes in the log, and no best configuration either.
TEST_F(Pbuffers, OfTheOlderCallAreMadeWithTheConfigThatWasAskedFor) {
  open();
  int attributes[] = {GLX_PRESERVED_CONTENTS, 1, 0};
  const GLXPbuffer made = createSGIX_(display_, candidate_, 33, 44, attributes);
  EXPECT_LINES(logged(), {debugLine(kCreateSGIX, "fbconfig " + hex(candidate_))} +
                             candidateLines(candidate_));
  EXPECT_EQ(driverCalls().back(), "glXCreateGLXPbufferSGIX(local, fb4, 33, 44, "
                                  "{GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer1");
  EXPECT_EQ(recorder().nameOf(made), "pbuffer1");
}

TEST_F(Pbuffers, OfAConfigThatNoVisualStandsForAreNone) {
  open();
  EXPECT_EQ(create_(display_, stranger_, kSmall), None);
  EXPECT_LINES(logged(), {configLine(stranger_),
                          debugLine(kCreate, "attr, value: GLX_PBUFFER_WIDTH (32833), 20"),
                          debugLine(kCreate, "attr, value: GLX_PBUFFER_HEIGHT (32832), 10")} +
                             notFoundLines(stranger_) + Lines{debugLine(kCreate, "no lvi.")});
  EXPECT_EQ(createSGIX_(display_, stranger_, 20, 10, nullptr), None);
  EXPECT_LINES(logged(), {debugLine(kCreateSGIX, "fbconfig " + hex(stranger_))} +
                             notFoundLines(stranger_) + Lines{debugLine(kCreateSGIX, "no lvi.")});
  EXPECT_EQ(recorder().livingPbuffers(), 0);
}

TEST_F(Pbuffers, WithoutALocalDisplayAreNone) {
  prepare();
  EXPECT_EQ(create_(nullptr, configs_.doubled, kSmall), None);
  EXPECT_EQ(createSGIX_(nullptr, configs_.doubled, 20, 10, nullptr), None);
  EXPECT_LINES(logged(), {configLine(configs_.doubled),
                          debugLine(kCreateSGIX, "fbconfig " + hex(configs_.doubled))});
  outside::fail("XOpenDisplay", 1000);
  EXPECT_EQ(create_(display_, configs_.doubled, kSmall), None);
  outside::fail("XOpenDisplay", 1000, 1); // the thread's second connection is had
  EXPECT_EQ(create_(display_, configs_.doubled, kSmall), None);
  EXPECT_EQ(createSGIX_(display_, configs_.doubled, 20, 10, nullptr), None);
  EXPECT_EQ(driverCalls(), Lines{});
}

// The driver's result is not looked at: the record has the id 0.
TEST_F(Pbuffers, ThatTheDriverRefusesAreOnRecordAsZero) {
  open();
  recorder().fail("glXCreatePbuffer");
  EXPECT_EQ(create_(display_, configs_.doubled, kSmall), None);
  unsigned value = 0;
  const auto query = GL_OF(host(), glXQueryDrawable);
  forget();
  query(display_, 0, GLX_WIDTH, &value);
  EXPECT_LINES(driverCalls(), {"glXQueryDrawable(local, 0, GLX_WIDTH, &)"});
}

// Destruction ----------------------------------------------------------------------------------

TEST_F(Pbuffers, EndWithTheirRecord) {
  open();
  const GLXPbuffer made = createPbuffer();
  destroy_(display_, made);
  EXPECT_LINES(logged(), (Lines{debugLine(kDestroy, "START")} + kUnboundEndLines +
                          Lines{debugLine(kDestructorLabel, "Destroying local pbuffer")}));
  EXPECT_LINES(driverCalls(), {"glXGetCurrentContext()<any>", "glXGetCurrentDrawable()",
                               "glXDestroyPbuffer(local, pbuffer1)"});
  destroy_(display_, made); // again: nothing
  EXPECT_LINES(logged(), {debugLine(kDestroy, "START")});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(Pbuffers, EndByTheOlderCallToo) {
  open();
  const GLXPbuffer made = createSGIX_(display_, configs_.doubled, 20, 10, nullptr);
  forget();
  destroySGIX_(display_, made);
  const Lines lines = logged();
  EXPECT_EQ(lines[0],
            debugLine("void zol_glXDestroyGLXPbufferSGIX(Display*, GLXPbufferSGIX)", "START"));
  EXPECT_EQ(lines[1], debugLine(kDestroy, "START"));
  EXPECT_EQ(driverCalls().back(), "glXDestroyPbuffer(local, pbuffer1)");
}

TEST_F(Pbuffers, DoNotEndAsPixmapsNorAsSomebodyElses) {
  open();
  const GLXPbuffer made = createPbuffer();
  GL_OF(host(), glXDestroyPixmap)(display_, made);
  destroy_(display_, made + 1);
  destroy_(nullptr, made);
  onCutOffThread([&] { destroy_(display_, made); });
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_EQ(driverCallsOfOthers(), Lines{});
  EXPECT_EQ(recorder().livingPbuffers(), 1);
}

TEST_F(Pbuffers, ThatEndWhileTheyAreCurrentAreCurrentNoMore) {
  open();
  const GLXPbuffer made = createPbuffer();
  ASSERT_EQ(makeCurrent(display_, made, context_), True);
  const auto drawable = GL_OF(host(), glXGetCurrentDrawable);
  const auto readDrawable = GL_OF(host(), glXGetCurrentReadDrawable);
  const auto viewport = GL_OF(host(), glViewport);
  EXPECT_EQ(drawable(), made);
  EXPECT_EQ(readDrawable(), made);
  destroy_(display_, made);
  EXPECT_EQ(drawable(), None);
  EXPECT_EQ(readDrawable(), None);
  EXPECT_EQ(recorder().livingPbuffers(), 0);
  forget();
  viewport(1, 2, 3, 4);
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(Pbuffers, ThatEndWhileTheyAreOnlyReadLeaveWhatIsDrawnTo) {
  open();
  const GLXPbuffer read = createPbuffer();
  const GLXPbuffer idle = createPbuffer();
  const Window window = createWindow(display_, visuals_.doubled, 64, 48);
  ASSERT_EQ(GL_OF(host(), glXMakeContextCurrent)(display_, window, read, context_), True);
  const auto readDrawable = GL_OF(host(), glXGetCurrentReadDrawable);
  destroy_(display_, idle);
  EXPECT_EQ(readDrawable(), read);
  destroy_(display_, read);
  EXPECT_EQ(readDrawable(), None);
  EXPECT_EQ(GL_OF(host(), glXGetCurrentDrawable)(), window);
}

// What they are on the local display is out of reach then.
TEST_F(Pbuffers, EndOnRecordWithoutALocalDisplayToo) {
  open();
  const GLXPbuffer made = createPbuffer();
  Display* const other = openDisplay(); // one that no local display belongs to yet
  outside::fail("XOpenDisplay", 1000);
  destroy_(other, made);
  outside::fail("XOpenDisplay", 0);
  EXPECT_FALSE(hasLine(logged(), debugLine(kDestructorLabel, "<any>")));
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_EQ(recorder().livingPbuffers(), 1);
  unsigned value = 0;
  GL_OF(host(), glXQueryDrawable)(display_, made, GLX_WIDTH, &value);
  EXPECT_LINES(driverCalls(), {"glXQueryDrawable(app, pbuffer1, GLX_WIDTH, &)"});
}

TEST_F(Pbuffers, OutliveTheSearchForDeadWindows) {
  open();
  createPbuffer();
  ASSERT_EQ(makeCurrent(display_, createWindow(display_, visuals_.doubled, 64, 48), context_),
            True);
  EXPECT_FALSE(hasLine(driverCalls(), "glXDestroyPbuffer(local, pbuffer1)"));
}

// Use ------------------------------------------------------------------------------------------

// Nobody sees a pbuffer's frames but the program.
TEST_F(Pbuffers, AreDrawnToWithoutAnyReadback) {
  open();
  const GLXPbuffer made = createPbuffer();
  ASSERT_EQ(makeCurrent(display_, made, context_), True);
  EXPECT_LINES(driverCalls(), {"glXMakeCurrent(local, pbuffer1, ctx1)"});
  const auto finish = GL_OF(host(), glFinish);
  const auto flush = GL_OF(host(), glFlush);
  const auto viewport = GL_OF(host(), glViewport);
  swap(display_, made);
  finish();
  flush();
  viewport(0, 0, 20, 10);
  EXPECT_LINES(driverCalls(), {"glXSwapBuffers(local, pbuffer1)", "glFinish()", "glFlush()",
                               "glViewport(0, 0, 20, 10)"});
}

TEST_F(Pbuffers, AreLeftForOneAnotherWithoutAFlush) {
  open();
  const GLXPbuffer first = createPbuffer();
  const GLXPbuffer second = createPbuffer();
  ASSERT_EQ(makeCurrent(display_, first, context_), True);
  forget();
  EXPECT_EQ(makeCurrent(display_, second, context_), True);
  EXPECT_EQ(GL_OF(host(), glXMakeContextCurrent)(display_, first, first, context_), True);
  EXPECT_LINES(driverCalls(), {"glXMakeCurrent(local, pbuffer2, ctx1)",
                               "glXMakeContextCurrent(local, pbuffer1, pbuffer1, ctx1)"});
}

// The record goes by the program's configuration, whichever the driver was given: a context of the
// best one is of another.
TEST_F(Pbuffers, AreOnRecordWithTheConfigThatWasAskedFor) {
  open();
  EXPECT_TRUE(isOfAnotherConfig(create_(display_, candidate_, kSmall)));
  EXPECT_TRUE(isOfAnotherConfig(createSGIX_(display_, candidate_, 20, 10, nullptr)));
  EXPECT_FALSE(isOfAnotherConfig(create_(display_, configs_.doubled, kSmall)));
}

TEST_F(Pbuffers, AreAskedAboutByTheOlderCall) {
  open();
  const GLXPbuffer made = createPbuffer();
  recorder().setAnswer("glXQueryGLXPbufferSGIX", 17, {77});
  unsigned value = 0;
  EXPECT_EQ(querySGIX_(display_, made, GLX_WIDTH, &value), 17); // whatever the driver says
  EXPECT_EQ(value, 77u);
  EXPECT_LINES(logged(), {debugLine(kQuerySGIX, "START")});
  EXPECT_LINES(driverCalls(), {"glXQueryGLXPbufferSGIX(local, pbuffer1, GLX_WIDTH, &)"});
}

TEST_F(Pbuffers, AreAllThatTheOlderCallKnows) {
  open();
  const Pixmap pixmap = XCreatePixmap(display_, DefaultRootWindow(display_), 8, 8, 24);
  const GLXPixmap glxPixmap =
      GL_OF(host(), glXCreatePixmap)(display_, configs_.doubled, pixmap, nullptr);
  const Window window = createWindow(display_, visuals_.doubled, 64, 48);
  ASSERT_EQ(makeCurrent(display_, window, context_), True);
  forget();
  for (const GLXDrawable drawable : {glxPixmap, window, GLXDrawable{0x777777}, GLXDrawable{0}}) {
    unsigned value = 5;
    EXPECT_EQ(querySGIX_(display_, drawable, GLX_WIDTH, &value), 2);
    EXPECT_EQ(value, 5u);
    EXPECT_LINES(logged(), {debugLine(kQuerySGIX, "START")});
  }
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(Pbuffers, AreZeroToTheOlderCallWithoutALocalDisplay) {
  prepare();
  unsigned value = 5;
  EXPECT_EQ(querySGIX_(nullptr, 1, GLX_WIDTH, &value), 0);
  EXPECT_EQ(value, 0u);
  outside::fail("XOpenDisplay", 1000, 1);
  value = 5;
  EXPECT_EQ(querySGIX_(display_, 1, GLX_WIDTH, &value), 0);
  EXPECT_EQ(value, 0u);
  EXPECT_EQ(driverCalls(), Lines{});
}

// Programs find the functions all the same: they are the library's.
TEST_F(Pbuffers, OfTheOlderCallAreNoneWithADriverThatLacksIt) {
  recorder().setAbsent("glXCreateGLXPbufferSGIX");
  recorder().setAbsent("glXQueryGLXPbufferSGIX");
  open();
  EXPECT_EQ(createSGIX_(display_, configs_.doubled, 20, 10, nullptr), None);
  unsigned value = 5;
  EXPECT_EQ(querySGIX_(display_, createPbuffer(), GLX_WIDTH, &value), 0);
  EXPECT_EQ(value, 0u);
  EXPECT_EQ(recorder().livingPbuffers(), 1);
}

TEST_F(Pbuffers, AreUsedUnderTheLocalDisplaysMutex) {
  open();
  GLXPbuffer made = 0;
  unsigned value = 0;
  EXPECT_LOCKED(host(), display_, "glXCreateGLXPbufferSGIX",
                made = createSGIX_(display_, configs_.doubled, 20, 10, nullptr));
  EXPECT_LOCKED(host(), display_, "glXQueryGLXPbufferSGIX",
                querySGIX_(display_, made, GLX_WIDTH, &value));
  EXPECT_LOCKED(host(), display_, "glXCreatePbuffer",
                made = create_(display_, configs_.doubled, kSmall));
  EXPECT_LOCKED(host(), display_, "glXDestroyPbuffer", destroy_(display_, made));
}

} // namespace
