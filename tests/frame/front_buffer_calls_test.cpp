#include "frame/frame_rig.h"
#include "rig/lock_probe.h"

#include <array>

using namespace zol::rig;

namespace {

const std::string kDrawBuffer = "void zol_glDrawBuffer(GLenum)";
const std::string kRenderMode = "GLint zol_glRenderMode(GLenum)";
const std::string kViewport = "void zol_glViewport(GLint, GLint, GLsizei, GLsizei)";
const std::string kPixelChange = "void setNonRasterPixelChange()";

// What the end of a count asks the driver.
const Lines kEndCount = {"glEndQuery(GL_SAMPLES_PASSED)",
                         "glGetQueryObjectiv(1, GL_QUERY_RESULT, &)"};

class FrontBuffer : public FrameRig {
protected:
  // A window with its context current and the functions at hand. The context has its query and has
  // had its first frame, which it gets whether or not it was drawn to.
  void openDoubled() {
    FrameRig::open();
    settle();
  }
  void openSingle() {
    openFor(&Visuals::single);
    settle();
  }
  void findFunctions() {
    drawBuffer_ = GL_OF(host(), glDrawBuffer);
    renderMode_ = GL_OF(host(), glRenderMode);
    genQueries_ = GL_OF(host(), glGenQueries);
    genQueriesARB_ = GL_OF(host(), glGenQueriesARB);
    clear_ = GL_OF(host(), glClear);
    copyPixels_ = GL_OF(host(), glCopyPixels);
    drawPixels_ = GL_OF(host(), glDrawPixels);
    bitmap_ = GL_OF(host(), glBitmap);
    viewport_ = GL_OF(host(), glViewport);
    finish_ = GL_OF(host(), glFinish);
    flush_ = GL_OF(host(), glFlush);
    popAttrib_ = byProgram<decltype(&::glPopAttrib)>("glPopAttrib");
    forget();
  }
  template <class Function>
  Function byProgram(const char* name) {
    return reinterpret_cast<Function>(
        GL_OF(host(), glXGetProcAddress)(reinterpret_cast<const GLubyte*>(name)));
  }
  // Draws to a buffer, and nothing of that is looked at.
  void drawTo(GLenum mode) {
    drawBuffer_(mode);
    forget();
  }
  static bool readBack(const Lines& calls) { return hasLine(calls, "glReadPixels(<any>"); }

  // The lines of a call that finds the context.
  Lines foundLines(const std::string& mode, const std::string& old, int doubled) {
    return {debugLine(kDrawBuffer, "START"), debugLine(kDrawBuffer, "mode " + mode),
            debugLine(kDrawBuffer, "found context <ptr> (old mode: " + old +
                                       ", dbf: " + std::to_string(doubled) + ")")};
  }
  // Calls that find no context say why, and do not reach the driver.
  void expectNobodys(GLenum mode, const std::string& modeName, const std::string& reason) {
    drawBuffer_(GL_FRONT);
    EXPECT_EQ(renderMode_(mode), 0);
    EXPECT_LINES(logged(),
                 {debugLine(kDrawBuffer, "START"), debugLine(kDrawBuffer, "mode FRONT (0x404)"),
                  debugLine(kDrawBuffer, reason), debugLine(kRenderMode, "mode: " + modeName),
                  debugLine(kRenderMode, reason)});
    EXPECT_EQ(driverCalls(), Lines{});
  }
  // Whether the contexts are locked when `call` comes to this function of the driver.
  bool contextsLocked(const char* function, const std::function<void()>& call) {
    const LockProbe probe(function, [this] { createContext(display_, visuals_.doubled); });
    call();
    EXPECT_TRUE(probe.called()) << function;
    return probe.held();
  }
  // The tracked buffer, which the next call tells.
  std::string tracked() {
    forget();
    drawBuffer_(0x7777); // of no class: changes nothing
    driverCalls();
    const Lines lines = logged();
    const std::string line = lines.size() > 2 ? lines[2] : "";
    const std::size_t begin = line.find("(old mode: ") + 11;
    return line.substr(begin, line.find(',') - begin);
  }

  decltype(&::glDrawBuffer) drawBuffer_ = nullptr;
  decltype(&::glRenderMode) renderMode_ = nullptr;
  decltype(&::glGenQueries) genQueries_ = nullptr;
  decltype(&::glGenQueriesARB) genQueriesARB_ = nullptr;
  decltype(&::glClear) clear_ = nullptr;
  decltype(&::glCopyPixels) copyPixels_ = nullptr;
  decltype(&::glDrawPixels) drawPixels_ = nullptr;
  decltype(&::glBitmap) bitmap_ = nullptr;
  decltype(&::glViewport) viewport_ = nullptr;
  decltype(&::glFinish) finish_ = nullptr;
  decltype(&::glFlush) flush_ = nullptr;
  decltype(&::glPopAttrib) popAttrib_ = nullptr;

  const Lines done_ = {debugLine(kDrawBuffer, "DONE")};

private:
  // Contexts begin as if drawn to: one frame of the front buffer takes that mark off.
  void settle() {
    findFunctions();
    drawBuffer_(GL_FRONT);
    flush_();
    drawBuffer_(GL_BACK); // which a single-buffered context does not have
    recorder().setQueryResult(0);
    forget();
  }
};

// Which buffer ---------------------------------------------------------------------------------

TEST_F(FrontBuffer, IsSwitchedToWithACountOfSamples) {
  open();
  findFunctions();
  drawBuffer_(GL_FRONT);
  EXPECT_LINES(logged(), (foundLines("FRONT (0x404)", "BACK", 1) +
                          Lines{debugLine(kDrawBuffer, "mode 404 - starting query")} + done_));
  EXPECT_LINES(driverCalls(), {"glGenQueries(1) = 1", "glBeginQuery(GL_SAMPLES_PASSED, 1)",
                               "glDrawBuffer(GL_FRONT)"});
  EXPECT_EQ(tracked(), "FRONT");
}

TEST_F(FrontBuffer, IsLeftWithoutAReadbackWhenNothingWasDrawn) {
  openDoubled();
  drawTo(GL_FRONT);
  drawBuffer_(GL_BACK);
  EXPECT_LINES(logged(), (foundLines("BACK (0x405)", "FRONT", 1) +
                          Lines{debugLine(kDrawBuffer, "mode 405 - Finishing query"),
                                debugLine(kDrawBuffer,
                                          "switch from front to back after drawing 0 pixels...")} +
                          done_));
  EXPECT_LINES(driverCalls(), (kEndCount + Lines{"glDrawBuffer(GL_BACK)"}));
  EXPECT_EQ(tracked(), "BACK");
}

TEST_F(FrontBuffer, IsReadBackWhenItIsLeftAfterDrawing) {
  openDoubled();
  drawTo(GL_FRONT);
  recorder().setQueryResult(1);
  drawBuffer_(GL_BACK);
  const Lines lines = logged();
  EXPECT_LINES(
      Lines(lines.begin(), lines.begin() + 5),
      (foundLines("BACK (0x405)", "FRONT", 1) +
       Lines{debugLine(kDrawBuffer, "mode 405 - Finishing query"),
             debugLine(kDrawBuffer, "switch from front to back after drawing 1 pixels...")}));
  EXPECT_EQ(lines[lines.size() - 2], debugLine(kReadbackLabel, "DONE"));
  EXPECT_EQ(lines.back(), done_[0]);
  const Lines calls = driverCalls();
  EXPECT_LINES(Lines(calls.begin(), calls.begin() + 4),
               (kEndCount + Lines{"glFinish()", "glXGetCurrentContext()<any>"}));
  EXPECT_TRUE(readBack(calls));
  EXPECT_EQ(calls.back(), "glDrawBuffer(GL_BACK)");
}

TEST_F(FrontBuffer, IsReadBackAfterAChangeThatNoSampleTells) {
  openDoubled();
  drawTo(GL_FRONT);
  clear_(GL_COLOR_BUFFER_BIT);
  forget();
  drawBuffer_(GL_BACK);
  EXPECT_TRUE(hasLine(
      logged(), debugLine(kDrawBuffer, "switch from front to back after drawing 0 pixels...")));
  EXPECT_TRUE(readBack(driverCalls()));
  // The mark stays: only a finish or a flush takes it off.
  drawTo(GL_FRONT);
  drawBuffer_(GL_BACK);
  EXPECT_TRUE(readBack(driverCalls()));
  drawTo(GL_FRONT);
  flush_();
  EXPECT_TRUE(readBack(driverCalls()));
  drawBuffer_(GL_BACK);
  EXPECT_FALSE(readBack(driverCalls()));
}

TEST_F(FrontBuffer, OfAPbufferIsFinishedAndNotReadBack) {
  openDoubled();
  const int size[] = {GLX_PBUFFER_WIDTH, 20, GLX_PBUFFER_HEIGHT, 10, 0};
  const GLXPbuffer pbuffer = GL_OF(host(), glXCreatePbuffer)(display_, configs_.doubled, size);
  ASSERT_EQ(makeCurrent(display_, pbuffer, context_), True);
  drawTo(GL_FRONT);
  recorder().setQueryResult(7);
  drawBuffer_(GL_BACK);
  EXPECT_LINES(driverCalls(), (kEndCount + Lines{"glFinish()", "glDrawBuffer(GL_BACK)"}));
}

// Which of the switches of a double-buffered context begin a count and which end one, as it is:
// GL_NONE, GL_LEFT and GL_RIGHT are front buffers and GL_FRONT_AND_BACK is a back buffer, a count
// begins on the way from a plain back buffer to any front buffer, and ends on the way from GL_FRONT
// or GL_FRONT_AND_BACK to GL_BACK alone, begun or not.
TEST_F(FrontBuffer, IsCountedOnTheWayFromBackToFrontAndOnTheWayBack) {
  openDoubled();
  const std::array<GLenum, 10> modes = {
      GL_NONE,  GL_FRONT_LEFT, GL_FRONT_RIGHT, GL_BACK_LEFT, GL_BACK_RIGHT,
      GL_FRONT, GL_BACK,       GL_LEFT,        GL_RIGHT,     GL_FRONT_AND_BACK};
  const std::array<const char*, 10> names = {
      "NONE",  "FRONT_LEFT", "FRONT_RIGHT", "BACK_LEFT", "BACK_RIGHT",
      "FRONT", "BACK",       "LEFT",        "RIGHT",     "FRONT_AND_BACK"};
  const auto plainBack = [](GLenum mode) {
    return mode == GL_BACK || mode == GL_BACK_LEFT || mode == GL_BACK_RIGHT;
  };
  for (std::size_t from = 0; from < modes.size(); ++from) {
    for (std::size_t to = 0; to < modes.size(); ++to) {
      drawTo(GL_NONE); // no count ends with the next one
      drawTo(modes[from]);
      drawBuffer_(modes[to]);
      const bool begins =
          plainBack(modes[from]) && !plainBack(modes[to]) && modes[to] != GL_FRONT_AND_BACK;
      const bool ends =
          modes[to] == GL_BACK && (modes[from] == GL_FRONT || modes[from] == GL_FRONT_AND_BACK);
      Lines calls = driverCalls();
      EXPECT_TRUE(calls.back().starts_with("glDrawBuffer(")) << calls.back();
      calls.pop_back();
      EXPECT_TRUE(sameLines(begins ? Lines{"glBeginQuery(GL_SAMPLES_PASSED, 1)"}
                            : ends ? kEndCount
                                   : Lines{},
                            calls));
      const std::string value = hex(modes[to]);
      Lines expected = foundLines(names[to] + (" (0x" + value + ")"), names[from], 1);
      if (begins) expected.push_back(debugLine(kDrawBuffer, "mode " + value + " - starting query"));
      if (ends) {
        expected.push_back(debugLine(kDrawBuffer, "mode 405 - Finishing query"));
        expected.push_back(
            debugLine(kDrawBuffer, "switch from front to back after drawing 0 pixels..."));
      }
      EXPECT_TRUE(sameLines(expected + done_, logged()));
      EXPECT_EQ(tracked(), names[to]);
    }
  }
}

TEST_F(FrontBuffer, OfNoClassChangesNothing) {
  openDoubled();
  drawTo(GL_FRONT);
  for (const GLenum mode : {1u, 0x3ffu, 0x409u, 0x8ce0u}) {
    drawBuffer_(mode);
    EXPECT_LINES(logged(), (foundLines("unknown (0x" + hex(mode) + ")", "FRONT", 1) + done_));
    EXPECT_EQ(driverCalls().size(), 1u);
  }
  drawBuffer_(0x409);
  EXPECT_LINES(driverCalls(), {"glDrawBuffer(0x409)"});
}

// What a single-buffered context draws stays in the buffer that is read back.
TEST_F(FrontBuffer, IsAllThatASingleBufferedContextHas) {
  openFor(&Visuals::single);
  findFunctions();
  drawBuffer_(GL_BACK);
  EXPECT_LINES(logged(), (foundLines("BACK (0x405)", "FRONT", 0) +
                          Lines{debugLine(kDrawBuffer, "mode 405 - ignoring")} + done_));
  EXPECT_LINES(driverCalls(), {"glGenQueries(1) = 1", "glDrawBuffer(GL_FRONT)"});
  EXPECT_EQ(tracked(), "FRONT");
  for (const auto& [mode, name] :
       {std::pair<GLenum, std::string>{GL_BACK_LEFT, "BACK_LEFT (0x402)"},
        {GL_BACK_RIGHT, "BACK_RIGHT (0x403)"},
        {GL_FRONT_AND_BACK, "FRONT_AND_BACK (0x408)"}}) {
    drawBuffer_(mode);
    EXPECT_LINES(logged(),
                 (foundLines(name, "FRONT", 0) +
                  Lines{debugLine(kDrawBuffer, "mode " + hex(mode) + " - ignoring")} + done_));
    EXPECT_LINES(driverCalls(), {"glDrawBuffer(GL_FRONT)"});
  }
  drawBuffer_(GL_NONE);
  EXPECT_LINES(logged(), (foundLines("NONE (0x0)", "FRONT", 0) + done_));
  EXPECT_LINES(driverCalls(), {"glDrawBuffer(0)"});
  drawBuffer_(GL_BACK); // the one before, whatever it was
  EXPECT_LINES(driverCalls(), {"glDrawBuffer(0)"});
  EXPECT_EQ(tracked(), "NONE");
}

// Nothing takes off the mark that a context begins with then.
TEST_F(FrontBuffer, WithoutCountsIsReadBackEachTimeItIsLeft) {
  set("ZOL_GL_USE_SAMPLE_QUERIES", "0");
  open();
  findFunctions();
  for (int i = 0; i < 2; ++i) {
    drawBuffer_(GL_FRONT);
    EXPECT_LINES(logged(), (foundLines("FRONT (0x404)", "BACK", 1) + done_));
    EXPECT_LINES(driverCalls(), {"glDrawBuffer(GL_FRONT)"});
    flush_();
    forget();
    drawBuffer_(GL_BACK);
    EXPECT_FALSE(hasLine(logged(), debugLine(kDrawBuffer, "mode 405 - <any>")));
    const Lines calls = driverCalls();
    EXPECT_EQ(calls.front(), "glFinish()");
    EXPECT_TRUE(readBack(calls));
    EXPECT_FALSE(hasLine(calls, "gl<any>Quer<any>"));
    EXPECT_EQ(calls.back(), "glDrawBuffer(GL_BACK)");
  }
}

// Without a context ----------------------------------------------------------------------------

TEST_F(FrontBuffer, OfAThreadWithoutAContextIsNobodys) {
  start();
  findFunctions();
  expectNobodys(GL_SELECT, "GL_SELECT (0x1c02)", "no context");
  viewport_(1, 2, 3, 4);
  EXPECT_LINES(logged(),
               {debugLine(kViewport, "1 2 3 4"), debugLine(kViewport, "no current drawable")});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(FrontBuffer, OfADestroyedContextIsNobodys) {
  openDoubled();
  GL_OF(host(), glXDestroyContext)(display_, context_);
  recorder().setAnswer("glRenderMode", 5);
  forget();
  expectNobodys(GL_RENDER, "GL_RENDER (0x1c00)",
                "the context " + hex(context_) + " is already destroyed");
}

TEST_F(FrontBuffer, OfAnUnknownContextIsNobodys) {
  openDoubled();
  GL_OF(host(), glXDestroyContext)(display_, context_);
  makeCurrent(display_, window_, context_);
  forget();
  expectNobodys(GL_FEEDBACK, "GL_FEEDBACK (0x1c01)",
                "cannot find context " + hex(context_) + " in the context map");
}

// Attributes -----------------------------------------------------------------------------------

TEST_F(FrontBuffer, ThatAPopChangesIsOnlyTold) {
  openDoubled();
  recorder().setInteger(GL_DRAW_BUFFER, GL_FRONT);
  recorder().setHook("glPopAttrib", [] { recorder().setInteger(GL_DRAW_BUFFER, GL_BACK); });
  popAttrib_();
  EXPECT_LINES(logged(), {"D void zol_glPopAttrib(): START",
                          "I void zol_glPopAttrib(): draw buffer changed from 404 to 405"});
  EXPECT_LINES(driverCalls(), {"glGetIntegerv(GL_DRAW_BUFFER, &)", "glPopAttrib()",
                               "glGetIntegerv(GL_DRAW_BUFFER, &)"});
  popAttrib_();
  EXPECT_LINES(logged(), {"D void zol_glPopAttrib(): START"});
  drawTo(GL_FRONT);
  recorder().setInteger(GL_DRAW_BUFFER, GL_FRONT);
  popAttrib_();
  EXPECT_EQ(tracked(), "FRONT");
}

// Render mode ----------------------------------------------------------------------------------

TEST_F(FrontBuffer, RenderModeIsTrackedAndPassedOn) {
  openSingle();
  const std::pair<GLenum, std::string> modes[] = {{GL_SELECT, "GL_SELECT (0x1c02)"},
                                                  {GL_FEEDBACK, "GL_FEEDBACK (0x1c01)"},
                                                  {0x1234, "UNKNOWN (0x1234)"},
                                                  {GL_RENDER, "GL_RENDER (0x1c00)"}};
  int hits = 40;
  for (const auto& [mode, name] : modes) {
    recorder().setAnswer("glRenderMode", ++hits);
    EXPECT_EQ(renderMode_(mode), hits);
    EXPECT_LINES(logged(), {debugLine(kRenderMode, "mode: " + name)});
    EXPECT_EQ(driverCalls().size(), 1u);
    recorder().setInteger(GL_RENDER_MODE, GL_RENDER);
    recorder().setQueryResult(1);
    finish_();
    const Lines calls = driverCalls();
    EXPECT_EQ(readBack(calls), mode == GL_RENDER) << name;
    if (mode != GL_RENDER) {
      EXPECT_EQ(calls, Lines{"glFinish()"});
    }
    forget();
  }
  renderMode_(GL_SELECT);
  EXPECT_LINES(driverCalls(), {"glRenderMode(GL_SELECT)"});
}

// The program's own queries --------------------------------------------------------------------

TEST_F(FrontBuffer, IsCountedNoMoreOnceTheProgramMakesQueries) {
  openDoubled();
  GLuint ids[2] = {};
  genQueries_(2, ids);
  const std::string label = "void zol_glGenQueries(GLsizei, GLuint*)";
  EXPECT_LINES(logged(), {debugLine(label, "START"),
                          debugLine(label, "disable occlusion query optimization")});
  EXPECT_LINES(driverCalls(), {"glGenQueries(2) = 2 3"});
  EXPECT_EQ(ids[0], 2u);
  EXPECT_EQ(ids[1], 3u);
  genQueries_(1, ids);
  EXPECT_LINES(logged(), {debugLine(label, "START")});
  forget();

  // In no context.
  GLXContext const other = createContext(display_, visuals_.doubled);
  for (GLXContext const context : {context_, other}) {
    ASSERT_EQ(makeCurrent(display_, window_, context), True);
    drawTo(GL_BACK);
    drawBuffer_(GL_FRONT);
    flush_();
    drawBuffer_(GL_BACK);
    const Lines calls = driverCalls();
    EXPECT_FALSE(hasLine(calls, "gl<any>Quer<any>"));
    EXPECT_TRUE(readBack(calls)); // the flush, whatever was drawn
  }
}

TEST_F(FrontBuffer, IsCountedNoMoreAfterTheOlderCallEither) {
  openDoubled();
  GLuint id = 0;
  genQueriesARB_(1, &id);
  const std::string label = "void zol_glGenQueriesARB(GLsizei, GLuint*)";
  EXPECT_LINES(logged(), {debugLine(label, "START"),
                          debugLine(label, "disable occlusion query optimization")});
  EXPECT_LINES(driverCalls(), {"glGenQueriesARB(1) = 2"});
  EXPECT_EQ(id, 2u);
  drawBuffer_(GL_FRONT);
  EXPECT_LINES(driverCalls(), {"glDrawBuffer(GL_FRONT)"});
}

TEST_F(FrontBuffer, WithoutCountsHasNoneToGiveUp) {
  set("ZOL_GL_USE_SAMPLE_QUERIES", "0");
  open();
  findFunctions();
  GLuint id = 0;
  genQueries_(1, &id);
  EXPECT_LINES(logged(), {debugLine("void zol_glGenQueries(GLsizei, GLuint*)", "START")});
}

// The driver has one count of samples at a time: the library's ends before the program's can begin.
TEST_F(FrontBuffer, IsCountedToTheProgramsFirstQuery) {
  openDoubled();
  drawTo(GL_FRONT);
  GLuint id = 0;
  genQueries_(1, &id);
  EXPECT_LINES(driverCalls(), {"glEndQuery(GL_SAMPLES_PASSED)", "glGenQueries(1) = 2"});
  genQueries_(1, &id);
  EXPECT_LINES(driverCalls(), {"glGenQueries(1) = 3"});
  recorder().setQueryResult(7);
  drawBuffer_(GL_BACK);
  EXPECT_LINES(driverCalls(), {"glDrawBuffer(GL_BACK)"});
}

TEST_F(FrontBuffer, IsCountedInEachContextForItself) {
  openDoubled();
  GLXContext const other = createContext(display_, visuals_.doubled);
  ASSERT_EQ(makeCurrent(display_, window_, other), True);
  forget();
  drawBuffer_(GL_FRONT);
  EXPECT_LINES(driverCalls(), {"glGenQueries(1) = 2", "glBeginQuery(GL_SAMPLES_PASSED, 2)",
                               "glDrawBuffer(GL_FRONT)"});
  drawBuffer_(GL_BACK);
  drawBuffer_(GL_FRONT);
  EXPECT_FALSE(hasLine(driverCalls(), "glGenQueries(<any>"));
}

// What a finish or a flush makes of the buffer that is drawn to. Both sides of a double-buffered
// context are always a frame, as nothing counts there; GL_NONE, GL_LEFT and GL_RIGHT never are.
TEST_F(FrontBuffer, IsFinishedByWhatIsDrawnTo) {
  openDoubled();
  recorder().setQueryResult(0);
  const std::string label = kFinishOrFlushLabel;
  const struct {
    GLenum mode;
    bool counts, frame;
  } cases[] = {{GL_FRONT, true, false},       {GL_FRONT_LEFT, true, false},
               {GL_FRONT_RIGHT, true, false}, {GL_FRONT_AND_BACK, false, true},
               {GL_BACK, false, false},       {GL_BACK_LEFT, false, false},
               {GL_BACK_RIGHT, false, false}, {GL_NONE, false, false},
               {GL_LEFT, false, false},       {GL_RIGHT, false, false}};
  for (const auto& [mode, counts, frame] : cases) {
    drawTo(mode);
    flush_();
    const std::string text = "draw " + hex(mode) + ", dbf 1";
    const Lines lines = logged();
    EXPECT_EQ(lines[1], debugLine(label, text));
    EXPECT_EQ(hasLine(lines, debugLine(label, text + " - drawn 0 pixels")), counts) << text;
    const Lines calls = driverCalls();
    EXPECT_EQ(hasLine(calls, "glEndQuery(GL_SAMPLES_PASSED)"), counts) << text;
    EXPECT_EQ(readBack(calls), frame) << text;
    EXPECT_EQ(hasLine(calls, "glFlush()"), !frame) << text;
    EXPECT_EQ(hasLine(calls, "glFinish()"), frame) << text;
  }
}

TEST_F(FrontBuffer, OfASingleBufferedContextThatDrawsToNothingIsAlwaysAFrame) {
  openSingle();
  drawTo(GL_NONE);
  for (int i = 0; i < 2; ++i) {
    flush_();
    const Lines calls = driverCalls();
    EXPECT_EQ(calls.front(), "glFinish()");
    EXPECT_TRUE(readBack(calls));
  }
}

// Other threads find their contexts while the driver draws, and wait while a count is looked at.
TEST_F(FrontBuffer, IsSwitchedWithoutTheContextsLock) {
  openDoubled();
  const auto held = [this](const char* function, GLenum mode) {
    return contextsLocked(function, [=, this] { drawBuffer_(mode); });
  };
  EXPECT_TRUE(held("glBeginQuery", GL_FRONT));
  EXPECT_TRUE(held("glEndQuery", GL_BACK));
  EXPECT_FALSE(held("glDrawBuffer", GL_FRONT));
  EXPECT_TRUE(held("glGetQueryObjectiv", GL_BACK));
  drawTo(GL_FRONT);
  recorder().setQueryResult(7);
  EXPECT_FALSE(held("glFinish", GL_BACK));
  drawTo(GL_FRONT);
  EXPECT_FALSE(held("glReadPixels", GL_BACK));
  EXPECT_FALSE(contextsLocked("glRenderMode", [this] { renderMode_(GL_RENDER); }));
}

TEST_F(FrontBuffer, IsFinishedWithoutTheContextsLock) {
  openDoubled();
  drawTo(GL_FRONT);
  for (const char* const function : {"glEndQuery", "glGetQueryObjectiv", "glBeginQuery"})
    EXPECT_TRUE(contextsLocked(function, flush_)) << function;
  EXPECT_FALSE(contextsLocked("glFlush", flush_)); // nothing was drawn
  recorder().setQueryResult(7);
  EXPECT_FALSE(contextsLocked("glFinish", flush_));
  EXPECT_FALSE(contextsLocked("glReadPixels", flush_));
  drawTo(GL_BACK);
  EXPECT_FALSE(contextsLocked("glFlush", flush_));
  renderMode_(GL_SELECT);
  EXPECT_FALSE(contextsLocked("glFlush", flush_));
}

// Changes that no sample tells -----------------------------------------------------------------

TEST_F(FrontBuffer, IsReadBackAfterWhatNoSampleTells) {
  openSingle();
  const GLubyte bits[8] = {};
  const struct {
    const char* what;
    std::function<void()> call;
    std::string label;
    std::string driverCall;
    bool changes;
  } cases[] = {
      {"colours", [&] { clear_(GL_COLOR_BUFFER_BIT); }, "void zol_glClear(GLbitfield)",
       "glClear(GL_COLOR_BUFFER_BIT)", true},
      {"colours and depths", [&] { clear_(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT); },
       "void zol_glClear(GLbitfield)", "glClear(0x4100)", true},
      {"depths", [&] { clear_(GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT); },
       "void zol_glClear(GLbitfield)", "glClear(0x500)", false},
      {"copied colours", [&] { copyPixels_(1, 2, 3, 4, GL_COLOR); },
       "void zol_glCopyPixels(GLint, GLint, GLsizei, GLsizei, GLenum)",
       "glCopyPixels(1, 2, 3, 4, GL_COLOR)", true},
      {"copied depths", [&] { copyPixels_(1, 2, 3, 4, GL_DEPTH); },
       "void zol_glCopyPixels(GLint, GLint, GLsizei, GLsizei, GLenum)",
       "glCopyPixels(1, 2, 3, 4, GL_DEPTH)", false},
      {"an image", [&] { drawPixels_(1, 2, GL_RGBA, GL_UNSIGNED_BYTE, bits); },
       "void zol_glDrawPixels(GLsizei, GLsizei, GLenum, GLenum, const GLvoid*)",
       "glDrawPixels(1, 2, GL_RGBA, GL_UNSIGNED_BYTE, &)", true},
      {"an image of depths", [&] { drawPixels_(0, 0, 0x1902, GL_UNSIGNED_BYTE, nullptr); },
       "void zol_glDrawPixels(GLsizei, GLsizei, GLenum, GLenum, const GLvoid*)",
       "glDrawPixels(0, 0, 0x1902, GL_UNSIGNED_BYTE, NULL)", true},
      {"a bitmap", [&] { bitmap_(8, 7, 1.5f, 2.5f, 3.5f, -4, bits); },
       "void zol_glBitmap(GLsizei, GLsizei, GLfloat, GLfloat, GLfloat, GLfloat, const GLubyte*)",
       "glBitmap(8, 7, 1.5, 2.5, 3.5, -4, &)", true},
  };
  for (const auto& [what, call, label, driverCall, changes] : cases) {
    call();
    EXPECT_LINES(logged(), {debugLine(label, "START")});
    EXPECT_LINES(driverCalls(), {driverCall});
    flush_();
    EXPECT_EQ(readBack(driverCalls()), changes) << what;
    flush_(); // that was that
    EXPECT_FALSE(readBack(driverCalls())) << what;
    forget();
  }
}

// These go on to the driver whatever the library makes of the context.
TEST_F(FrontBuffer, ChangesWithoutAContextAreTheDrivers) {
  start();
  findFunctions();
  for (const char* const function : {"glClear", "glCopyPixels", "glDrawPixels", "glBitmap"})
    recorder().fail(function); // a driver without a context does nothing either
  clear_(GL_COLOR_BUFFER_BIT);
  copyPixels_(1, 2, 3, 4, GL_COLOR);
  drawPixels_(1, 2, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  bitmap_(8, 8, 0, 0, 0, 0, nullptr);
  EXPECT_LINES(
      logged(),
      {debugLine("void zol_glClear(GLbitfield)", "START"),
       debugLine("void zol_glCopyPixels(GLint, GLint, GLsizei, GLsizei, GLenum)", "START"),
       debugLine("void zol_glDrawPixels(GLsizei, GLsizei, GLenum, GLenum, const GLvoid*)", "START"),
       debugLine("void zol_glBitmap(GLsizei, GLsizei, GLfloat, GLfloat, GLfloat, GLfloat, "
                 "const GLubyte*)",
                 "START")});
  EXPECT_EQ(driverCalls().size(), 4u);
}

TEST_F(FrontBuffer, ChangesInADestroyedContextAreTheDrivers) {
  openDoubled();
  GL_OF(host(), glXDestroyContext)(display_, context_);
  forget();
  clear_(GL_COLOR_BUFFER_BIT);
  EXPECT_LINES(logged(),
               {debugLine("void zol_glClear(GLbitfield)", "START"),
                debugLine(kPixelChange, "context " + hex(context_) + " is already destroyed")});
  EXPECT_LINES(driverCalls(), {"glClear(GL_COLOR_BUFFER_BIT)"});
}

TEST_F(FrontBuffer, ChangesInAnUnknownContextAreTheDrivers) {
  openDoubled();
  GL_OF(host(), glXDestroyContext)(display_, context_);
  makeCurrent(display_, window_, context_);
  recorder().fail("glClear"); // the driver has no such context either
  forget();
  clear_(GL_COLOR_BUFFER_BIT);
  EXPECT_LINES(logged(), {debugLine("void zol_glClear(GLbitfield)", "START"),
                          debugLine(kPixelChange, "cannot find context")});
  EXPECT_EQ(driverCalls().size(), 1u);
}

// Viewport -------------------------------------------------------------------------------------

class Viewport : public FrontBuffer {
protected:
  bool looksForResize() { return hasLine(logged(), debugLine(kCheckForResizeLabel, "START")); }
};

TEST_F(Viewport, LooksForAResizeEachTime) {
  openDoubled();
  viewport_(1, -2, 64, 48);
  const Lines lines = logged();
  EXPECT_EQ(lines[0], debugLine(kViewport, "1 -2 64 48"));
  EXPECT_EQ(lines[1], debugLine(kCheckForResizeLabel, "START"));
  EXPECT_LINES(driverCalls(), {"glViewport(1, -2, 64, 48)"});
  for (int i = 0; i < 3; ++i) {
    viewport_(0, 0, 64, 48);
    EXPECT_TRUE(looksForResize());
  }
}

TEST_F(Viewport, MayLookOnceAFrame) {
  set("ZOL_GL_VIEWPORT_RESIZE_OPTIMIZATION", "1");
  open();
  findFunctions();
  viewport_(0, 0, 64, 48);
  EXPECT_TRUE(looksForResize());
  viewport_(0, 0, 64, 48);
  EXPECT_FALSE(looksForResize());
  swap(display_, window_);
  forget();
  viewport_(0, 0, 64, 48);
  EXPECT_TRUE(looksForResize());
  viewport_(0, 0, 64, 48);
  EXPECT_FALSE(looksForResize());
}

TEST_F(Viewport, ExchangesThePbufferFirst) {
  openDoubled();
  resizeWindow(window_, 100, 30);
  viewport_(0, 0, 100, 30);
  const Lines calls = driverCalls();
  EXPECT_TRUE(hasLine(calls, "glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=100, "
                             "GLX_PBUFFER_HEIGHT=30, GLX_PRESERVED_CONTENTS=1, 0}) = pbuffer3"));
  EXPECT_EQ(calls[calls.size() - 2], "glXMakeContextCurrent(local, pbuffer3, pbuffer3, ctx1)");
  EXPECT_EQ(calls.back(), "glViewport(0, 0, 100, 30)");
}

TEST_F(Viewport, OfAPbufferIsTheDrivers) {
  openDoubled();
  const GLXPbuffer pbuffer = GL_OF(host(), glXCreatePbuffer)(display_, configs_.doubled, nullptr);
  ASSERT_EQ(makeCurrent(display_, pbuffer, context_), True);
  forget();
  viewport_(0, 0, 5, 5);
  EXPECT_LINES(logged(), {debugLine(kViewport, "0 0 5 5")});
  EXPECT_LINES(driverCalls(), {"glViewport(0, 0, 5, 5)"});
}

} // namespace
