#include "rig/fixture.h"

#include <thread>

using namespace zol::rig;

namespace {

class MakeCurrent : public Rig {
protected:
  void open() {
    start();
    display_ = openDisplay();
    context_ = createContext(display_, visuals_.doubled);
    window_ = createWindow(display_, visuals_.doubled, 64, 48);
    makeContextCurrent_ = GL_OF(host(), glXMakeContextCurrent);
    getCurrentContext_ = GL_OF(host(), glXGetCurrentContext);
    getCurrentDrawable_ = GL_OF(host(), glXGetCurrentDrawable);
    getCurrentReadDrawable_ = GL_OF(host(), glXGetCurrentReadDrawable);
    getCurrentDisplay_ = GL_OF(host(), glXGetCurrentDisplay);
    forget();
  }

  void bound(GLXDrawable window, GLXContext context) {
    ASSERT_EQ(makeCurrent(display_, window, context), True);
    forget();
  }

  std::string request(GLXDrawable drawable, GLXContext context) {
    return debugLine(kMakeCurrentLabel,
                     "drawable: " + hex(drawable) + ", context: " + hex(context));
  }
  std::string request(GLXDrawable draw, GLXDrawable read, GLXContext context) {
    return debugLine(kMakeContextCurrentLabel, "drawable: " + hex(draw) + ", read drawable " +
                                                   hex(read) + ", context: " + hex(context));
  }
  // A window of this size becomes known; its pbuffer is the `number`-th that is made.
  Lines newWindowLines(Window window, const XVisualInfo& visual, int width, int height, int number,
                       int doubled = 1) {
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    return {debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 1"),
            debugLine(kUpdateWindowInfoLabel, "VisualID set to 0x" + hex(visual.visualid)),
            debugLine(kUpdatePbufferLabel, "resized pbuffer to new geometry: " + size),
            debugLine(kGetDrawableInfoLabel, "new local drawable " + hex(0x5a000000ul + number) +
                                                 " (" + std::to_string(doubled) +
                                                 ") for app drawable " + hex(window))};
  }

  // The four queries and the drawable that the driver has current.
  void expectCurrent(GLXDrawable draw, GLXDrawable read, GLXContext context) {
    EXPECT_EQ(getCurrentContext_(), context);
    EXPECT_EQ(getCurrentDrawable_(), draw);
    EXPECT_EQ(getCurrentReadDrawable_(), read);
    EXPECT_EQ(getCurrentDisplay_(), context != nullptr ? display_ : nullptr);
  }

  Display* display_ = nullptr;
  GLXContext context_ = nullptr;
  Window window_ = 0;
  decltype(&::glXMakeContextCurrent) makeContextCurrent_ = nullptr;
  decltype(&::glXGetCurrentContext) getCurrentContext_ = nullptr;
  decltype(&::glXGetCurrentDrawable) getCurrentDrawable_ = nullptr;
  decltype(&::glXGetCurrentReadDrawable) getCurrentReadDrawable_ = nullptr;
  decltype(&::glXGetCurrentDisplay) getCurrentDisplay_ = nullptr;
};

TEST_F(MakeCurrent, BindsAPbufferOfTheWindowsSizeInItsPlace) {
  open();
  EXPECT_EQ(makeCurrent(display_, window_, context_), True);
  EXPECT_TRUE(sameLines(Lines{request(window_, context_)} +
                            newWindowLines(window_, visuals_.doubled, 64, 48, 2),
                        logged()));
  EXPECT_LINES(driverCalls(),
               {"glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=10, GLX_PBUFFER_HEIGHT=10, "
                "GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer1",
                "glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=64, GLX_PBUFFER_HEIGHT=48, "
                "GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer2",
                "glXMakeCurrent(local, pbuffer2, ctx1)"});
  expectCurrent(window_, window_, context_);
}

TEST_F(MakeCurrent, AgainWithTheSameWindowOnlyBindsAgain) {
  open();
  bound(window_, context_);
  EXPECT_EQ(makeCurrent(display_, window_, context_), True);
  EXPECT_LINES(logged(), {request(window_, context_)});
  EXPECT_LINES(driverCalls(), {"glXMakeCurrent(local, pbuffer2, ctx1)"});
}

TEST_F(MakeCurrent, QueriesLogOnlyThatTheyWereCalled) {
  open();
  bound(window_, context_);
  expectCurrent(window_, window_, context_);
  EXPECT_LINES(logged(), {debugLine("__GLXcontextRec* zol_glXGetCurrentContext()", "START"),
                          debugLine("GLXDrawable zol_glXGetCurrentDrawable()", "START"),
                          debugLine("GLXDrawable zol_glXGetCurrentReadDrawable()", "START"),
                          debugLine("Display* zol_glXGetCurrentDisplay()", "START")});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(MakeCurrent, FlushesTheWindowThatIsLeftTwice) {
  open();
  const Window other = createWindow(display_, visuals_.doubled, 20, 10);
  bound(window_, context_);
  EXPECT_EQ(makeCurrent(display_, other, context_), True);
  EXPECT_TRUE(sameLines(Lines{request(other, context_),
                              debugLine(kMakeCurrentLabel, "flushing old context"),
                              debugLine(kFinishOrFlushLabel, "draw 405, dbf 1")} +
                            newWindowLines(other, visuals_.doubled, 20, 10, 4) +
                            Lines{debugLine(kMakeCurrentLabel, "flushing old drawable output"),
                                  debugLine(kFinishOrFlushLabel, "draw 405, dbf 1")},
                        logged()));
  EXPECT_LINES(driverCalls(),
               {"glFlush()",
                "glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=10, GLX_PBUFFER_HEIGHT=10, "
                "GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer3",
                "glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=20, GLX_PBUFFER_HEIGHT=10, "
                "GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer4",
                "glFlush()", "glXMakeCurrent(local, pbuffer4, ctx1)"});
  expectCurrent(other, other, context_);
}

TEST_F(MakeCurrent, DeliversWhatWasDrawnToTheFrontBufferThatIsLeft) {
  open();
  outside::holdDeliveries();
  const GLXContext single = createContext(display_, visuals_.single);
  const Window first = createWindow(display_, visuals_.single, 20, 10);
  const Window second = createWindow(display_, visuals_.single, 30, 15);
  bound(first, single);
  recorder().setQueryResult(0);
  EXPECT_EQ(makeCurrent(display_, second, single), True);
  // A fresh context may have drawn in ways that no query counts, so the first flush is a frame.
  const Lines calls = driverCalls();
  EXPECT_LINES(Lines(calls.begin(), calls.begin() + 5),
               {"glGenQueries(1) = 1", "glEndQuery(GL_SAMPLES_PASSED)",
                "glGetQueryObjectiv(1, GL_QUERY_RESULT, &)", "glBeginQuery(GL_SAMPLES_PASSED, 1)",
                "glFinish()"});
  EXPECT_TRUE(hasLine(calls, "glReadPixels(0, 0, 20, 10, GL_BGRA, GL_UNSIGNED_BYTE, NULL)"));
  // The second flush finds nothing new.
  EXPECT_LINES(Lines(calls.end() - 5, calls.end()),
               {"glEndQuery(GL_SAMPLES_PASSED)", "glGetQueryObjectiv(1, GL_QUERY_RESULT, &)",
                "glBeginQuery(GL_SAMPLES_PASSED, 1)", "glFlush()",
                "glXMakeCurrent(local, pbuffer4, ctx2)"});
  const Lines lines = logged();
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       debugLine(kFinishOrFlushLabel, "draw 404, dbf 0 - drawn 0 pixels")),
            2);
}

TEST_F(MakeCurrent, ReleasesWhatIsCurrent) {
  open();
  bound(window_, context_);
  EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  EXPECT_LINES(logged(), {request(0, nullptr), debugLine(kMakeCurrentLabel, "flushing old context"),
                          debugLine(kFinishOrFlushLabel, "draw 405, dbf 1")});
  EXPECT_LINES(driverCalls(), {"glFlush()", "glXMakeCurrent(local, 0, NULL)"});
  expectCurrent(0, 0, nullptr);

  forget();
  EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  EXPECT_LINES(logged(), {request(0, nullptr),
                          debugLine(kMakeCurrentLabel, "no current context, skipping...")});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(MakeCurrent, RefusesHalfARequest) {
  open();
  EXPECT_EQ(makeCurrent(display_, window_, nullptr), False);
  EXPECT_LINES(logged(),
               {request(window_, nullptr),
                "I " + kMakeCurrentLabel + ": bad parameter combination passed, skipping..."});
  EXPECT_EQ(makeCurrent(display_, None, context_), False);
  EXPECT_LINES(logged(),
               {request(0, context_),
                "I " + kMakeCurrentLabel + ": bad parameter combination passed, skipping..."});
  EXPECT_EQ(makeContextCurrent_(display_, None, window_, context_), False);
  EXPECT_LINES(logged(), {request(0, window_, context_),
                          "I " + kMakeContextCurrentLabel +
                              ": bad parameter combination passed, skipping..."});
  EXPECT_EQ(makeContextCurrent_(display_, None, window_, nullptr), False);
  EXPECT_EQ(makeContextCurrent_(display_, window_, window_, nullptr), False);
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(MakeCurrent, ThatTheDriverRefusesLeavesTheBindingOnRecord) {
  open();
  const Window other = createWindow(display_, visuals_.doubled, 20, 10);
  bound(window_, context_);
  recorder().fail("glXMakeCurrent");
  EXPECT_EQ(makeCurrent(display_, other, context_), False);
  EXPECT_EQ(logged().back(), debugLine(kMakeCurrentLabel, "failed on local make current."));
  expectCurrent(window_, window_, context_);
}

TEST_F(MakeCurrent, ThatTheDriverDoesNotReleaseStaysOnRecord) {
  open();
  bound(window_, context_);
  recorder().fail("glXMakeCurrent");
  EXPECT_EQ(makeCurrent(display_, None, nullptr), False);
  expectCurrent(window_, window_, context_);
  recorder().fail("glXMakeContextCurrent");
  EXPECT_EQ(makeContextCurrent_(display_, None, None, nullptr), False);
  expectCurrent(window_, window_, context_);
  EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  expectCurrent(None, None, nullptr);
}

TEST_F(MakeCurrent, FailsForAWindowThatDoesNotExist) {
  open();
  bound(window_, context_);
  EXPECT_EQ(makeCurrent(display_, 0x00f00f00, context_), False);
  EXPECT_LINES(
      logged(),
      {request(0x00f00f00, context_), debugLine(kMakeCurrentLabel, "flushing old context"),
       debugLine(kFinishOrFlushLabel, "draw 405, dbf 1"),
       debugLine(kGetDrawableInfoLabel, "failed to update window info (appDrawable f00f00)."),
       debugLine(kDestructorLabel, "Destroying DrawableInfo <ptr>"),
       debugLine(kMakeCurrentLabel, "failed for no drawable.")});
  EXPECT_LINES(driverCalls(),
               {"glFlush()", "glXGetCurrentContext() = ctx1", "glXGetCurrentDrawable()"});
  expectCurrent(window_, window_, context_);
}

TEST_F(MakeCurrent, FailsForAWindowWhoseVisualHasNoConfiguration) {
  open();
  recorder().setChosenConfigs({});
  XVisualInfo plain = visuals_.doubled;
  plain.visualid = XVisualIDFromVisual(DefaultVisual(display_, 0));
  int count = 0;
  XVisualInfo wanted{};
  wanted.depth = 24;
  XVisualInfo* const all = XGetVisualInfo(display_, VisualDepthMask, &wanted, &count);
  for (int i = 0; i < count; ++i) {
    if (all[i].visualid != visuals_.doubled.visualid &&
        all[i].visualid != visuals_.single.visualid) {
      plain = all[i];
    }
  }
  XFree(all);
  const Window window = createWindow(display_, plain, 20, 10);
  EXPECT_EQ(makeCurrent(display_, window, context_), False);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, debugLine(kGetDrawableInfoLabel, "no lvi for " + hex(window))));
  EXPECT_EQ(lines.back(), debugLine(kMakeCurrentLabel, "failed for no drawable."));
}

TEST_F(MakeCurrent, WithoutALocalDisplayFails) {
  startServers();
  describeVisuals();
  begin();
  display_ = openDisplay();
  const Window window = createWindow(display_, visuals_.doubled, 20, 10);
  const GLXContext context = reinterpret_cast<GLXContext>(0x1234);
  outside::fail("XOpenDisplay", 2, 1);
  EXPECT_EQ(makeCurrent(display_, window, context), False);
  EXPECT_EQ(logged().back(), debugLine(kMakeCurrentLabel, "no local display"));
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(MakeCurrent, AThreadWithoutAContextOfItsOwnGetsOneToThrowAway) {
  open();
  std::thread([&] { EXPECT_EQ(makeCurrent(display_, window_, context_), True); }).join();
  EXPECT_TRUE(
      hasLine(loggedByOthers(), debugLine(kGetDrawableInfoLabel, "creating throwaway ctx")));
  EXPECT_LINES(driverCallsOfOthers(kQueries),
               {"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = ctx2",
                "glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=10, GLX_PBUFFER_HEIGHT=10, "
                "GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer1",
                "glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=64, GLX_PBUFFER_HEIGHT=48, "
                "GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer2",
                "glXMakeCurrent(local, pbuffer2, ctx1)"});
}

TEST_F(MakeCurrent, AnotherContextTakesTheWindowOver) {
  open();
  bound(window_, context_);
  const GLXContext second = createContext(display_, visuals_.doubled, context_);
  forget();
  EXPECT_EQ(makeCurrent(display_, window_, second), True);
  EXPECT_LINES(logged(), {request(window_, second)});
  EXPECT_LINES(driverCalls(), {"glXMakeCurrent(local, pbuffer2, ctx2)"});
  expectCurrent(window_, window_, second);
  // The first is idle again: its destruction forgets it at once.
  GL_OF(host(), glXDestroyContext)(display_, context_);
  EXPECT_TRUE(hasLine(logged(), "D void zol_glXDestroyContext(Display*, GLXContext): context " +
                                    hex(context_) + " removed from the map."));
}

TEST_F(MakeCurrent, OfADestroyedContextsSuccessorReapsItsRecord) {
  open();
  bound(window_, context_);
  const GLXContext second = createContext(display_, visuals_.doubled);
  GL_OF(host(), glXDestroyContext)(display_, context_);
  forget();
  EXPECT_EQ(makeCurrent(display_, window_, second), True);
  EXPECT_LINES(logged(),
               {request(window_, second), debugLine(kSetCurrentLabel, "context " + hex(context_) +
                                                                          " removed from the "
                                                                          "map.")});
}

TEST_F(MakeCurrent, OfADestroyedContextWarnsThatItIsUnknown) {
  open();
  bound(window_, context_);
  GL_OF(host(), glXDestroyContext)(display_, context_);
  forget();
  // The driver lets a thread keep a destroyed context while it is current.
  EXPECT_EQ(makeCurrent(display_, window_, context_), True);
  EXPECT_LINES(logged(),
               {request(window_, context_),
                debugLine(kSetCurrentLabel, "context " + hex(context_) + " removed from the map."),
                "W " + kSetCurrentLabel + ": context " + hex(context_) + " not found in the map."});
}

// Draw and read apart -------------------------------------------------------------------------

class MakeContextCurrent : public MakeCurrent {};

TEST_F(MakeContextCurrent, BindsBothPbuffers) {
  open();
  const Window other = createWindow(display_, visuals_.doubled, 20, 10);
  EXPECT_EQ(makeContextCurrent_(display_, window_, other, context_), True);
  EXPECT_TRUE(sameLines(Lines{request(window_, other, context_)} +
                            newWindowLines(window_, visuals_.doubled, 64, 48, 2) +
                            newWindowLines(other, visuals_.doubled, 20, 10, 4),
                        logged()));
  EXPECT_EQ(driverCalls(kQueries).back(), "glXMakeContextCurrent(local, pbuffer2, pbuffer4, ctx1)");
  expectCurrent(window_, other, context_);
}

TEST_F(MakeContextCurrent, MayHaveNothingToReadFrom) {
  open();
  EXPECT_EQ(makeContextCurrent_(display_, window_, None, context_), True);
  EXPECT_EQ(driverCalls(kQueries).back(), "glXMakeContextCurrent(local, pbuffer2, 0, ctx1)");
  expectCurrent(window_, 0, context_);
}

TEST_F(MakeContextCurrent, SaysNothingWhenItFlushesTheSecondTime) {
  open();
  const Window other = createWindow(display_, visuals_.doubled, 20, 10);
  bound(window_, context_);
  EXPECT_EQ(makeContextCurrent_(display_, other, other, context_), True);
  EXPECT_TRUE(sameLines(Lines{request(other, other, context_),
                              debugLine(kMakeContextCurrentLabel, "flushing old context"),
                              debugLine(kFinishOrFlushLabel, "draw 405, dbf 1")} +
                            newWindowLines(other, visuals_.doubled, 20, 10, 4) +
                            Lines{debugLine(kFinishOrFlushLabel, "draw 405, dbf 1")},
                        logged()));
}

TEST_F(MakeContextCurrent, FailsWithoutAWordOfItsOwn) {
  open();
  bound(window_, context_);
  EXPECT_EQ(makeContextCurrent_(display_, window_, 0x00f00f00, context_), False);
  EXPECT_LINES(logged(), {request(window_, 0x00f00f00, context_),
                          debugLine(kGetDrawableInfoLabel,
                                    "failed to update window info (appDrawable f00f00)."),
                          debugLine(kDestructorLabel, "Destroying DrawableInfo <ptr>")});
  recorder().fail("glXMakeContextCurrent");
  forget();
  EXPECT_EQ(makeContextCurrent_(display_, window_, window_, context_), False);
  EXPECT_LINES(logged(), {request(window_, window_, context_)});
  expectCurrent(window_, window_, context_);
}

TEST_F(MakeContextCurrent, ReleasesWithAllThreeEmpty) {
  open();
  bound(window_, context_);
  EXPECT_EQ(makeContextCurrent_(display_, None, None, nullptr), True);
  EXPECT_LINES(logged(),
               {request(0, 0, nullptr), debugLine(kMakeContextCurrentLabel, "flushing old context"),
                debugLine(kFinishOrFlushLabel, "draw 405, dbf 1")});
  const Lines calls = driverCalls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0], "glFlush()");
  EXPECT_TRUE(calls[1] == "glXMakeContextCurrent(local, 0, 0, NULL)" ||
              calls[1] == "glXMakeCurrent(local, 0, NULL)")
      << calls[1];
  expectCurrent(0, 0, nullptr);
  forget();
  EXPECT_EQ(makeContextCurrent_(display_, None, None, nullptr), True);
  EXPECT_LINES(logged(), {request(0, 0, nullptr),
                          debugLine(kMakeContextCurrentLabel, "no current context, skipping...")});
  EXPECT_EQ(driverCalls(), Lines{});
}

// The debug callback --------------------------------------------------------------------------

TEST_F(MakeCurrent, InstallsTheDebugCallbackOncePerContext) {
  set("ZOL_GL_ADD_GL_DEBUG_CALLBACK", "1");
  open();
  EXPECT_EQ(makeCurrent(display_, window_, context_), True);
  EXPECT_EQ(logged().back(), "I " + kSetCurrentLabel + ": Registered OpenGL debug callback");
  const Lines calls = driverCalls(kQueries);
  EXPECT_LINES(Lines(calls.end() - 4, calls.end()),
               {"glXMakeCurrent(local, pbuffer2, ctx1)", "glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS)",
                "glDebugMessageCallback(function, NULL)",
                "glDebugMessageControl(GL_DONT_CARE, GL_DONT_CARE, GL_DONT_CARE, 0, NULL, 1)"});
  EXPECT_EQ(makeCurrent(display_, window_, context_), True);
  EXPECT_LINES(driverCalls(), {"glXMakeCurrent(local, pbuffer2, ctx1)"});
}

TEST_F(MakeCurrent, LogsWhatTheDriverReports) {
  set("ZOL_GL_ADD_GL_DEBUG_CALLBACK", "1");
  open();
  bound(window_, context_);
  const GLDEBUGPROC report = recorder().debugCallback();
  ASSERT_NE(report, nullptr);
  const GLenum types[] = {GL_DEBUG_TYPE_ERROR,
                          GL_DEBUG_TYPE_DEPRECATED_BEHAVIOR,
                          GL_DEBUG_TYPE_UNDEFINED_BEHAVIOR,
                          GL_DEBUG_TYPE_PORTABILITY,
                          GL_DEBUG_TYPE_PERFORMANCE,
                          GL_DEBUG_TYPE_OTHER,
                          GL_DEBUG_TYPE_MARKER};
  for (const GLenum type : types) {
    report(GL_DEBUG_SOURCE_API, type, 7, GL_DEBUG_SEVERITY_HIGH, -1, "text", nullptr);
  }
  for (const GLenum severity :
       {GL_DEBUG_SEVERITY_MEDIUM, GL_DEBUG_SEVERITY_LOW, GL_DEBUG_SEVERITY_NOTIFICATION}) {
    report(GL_DEBUG_SOURCE_API, GL_DEBUG_TYPE_ERROR, 7, severity, -1, "100%", nullptr);
  }
  const std::string label = "I void debugCallback(GLenum, GLenum, GLuint, GLenum, GLsizei, const "
                            "GLchar*, const void*): [GL DEBUG] type=";
  EXPECT_LINES(logged(),
               {label + "Error, severity=High: text",
                label + "Deprecated behaviour, severity=High: text",
                label + "Undefined behaviour, severity=High: text",
                label + "Portability, severity=High: text",
                label + "Performance, severity=High: text", label + "Other, severity=High: text",
                label + "Unknown, severity=High: text", label + "Error, severity=Medium: 100%",
                label + "Error, severity=Low: 100%", label + "Error, severity=Unknown: 100%"});
}

// Forwarded calls -----------------------------------------------------------------------------

class ForwardedCall : public MakeCurrent {};

TEST_F(ForwardedCall, IsDirectAsksTheDriver) {
  open();
  const auto isDirect = GL_OF(host(), glXIsDirect);
  forget();
  EXPECT_EQ(isDirect(display_, context_), True);
  EXPECT_LINES(logged(), {debugLine("int zol_glXIsDirect(Display*, GLXContext)", "START")});
  EXPECT_LINES(driverCalls(), {"glXIsDirect(local, ctx1)"});
  EXPECT_EQ(isDirect(display_, nullptr), False);
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(ForwardedCall, QueryContextHandsTheAnswerOn) {
  open();
  const auto query = GL_OF(host(), glXQueryContext);
  forget();
  int value = 0;
  EXPECT_EQ(query(display_, context_, GLX_FBCONFIG_ID, &value), 0);
  EXPECT_LINES(driverCalls(), {"glXQueryContext(local, ctx1, GLX_FBCONFIG_ID, &)"});
  EXPECT_EQ(query(nullptr, context_, GLX_FBCONFIG_ID, &value), -1);
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(ForwardedCall, QueryContextFailsWithoutALocalDisplay) {
  startServers();
  describeVisuals();
  begin();
  display_ = openDisplay();
  const auto query = GL_OF(host(), glXQueryContext);
  outside::fail("XOpenDisplay", 2, 1);
  int value = 0;
  EXPECT_EQ(query(display_, reinterpret_cast<GLXContext>(0x1234), 1, &value), -1);
  EXPECT_EQ(logged().back(), debugLine("int zol_glXQueryContext(Display*, GLXContext, int, int*)",
                                       "no local display"));
}

TEST_F(ForwardedCall, CopyContextTakesTheDrawBufferAlong) {
  open();
  const GLXContext single = createContext(display_, visuals_.single);
  bound(window_, context_);
  outside::holdDeliveries();
  const auto copy = GL_OF(host(), glXCopyContext);
  const auto flush = GL_OF(host(), glFlush);
  forget();
  copy(display_, single, context_, 0);
  EXPECT_LINES(
      logged(),
      {debugLine("void zol_glXCopyContext(Display*, GLXContext, GLXContext, long unsigned int)",
                 "START")});
  EXPECT_LINES(driverCalls(), {"glXCopyContext(local, ctx2, ctx1, 0)"});
  flush();
  EXPECT_TRUE(hasLine(logged(), debugLine(kFinishOrFlushLabel, "draw 404, dbf 1")));
}

} // namespace
