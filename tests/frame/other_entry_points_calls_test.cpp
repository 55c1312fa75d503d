#include "rig/fixture.h"

#include <functional>

using namespace zol::rig;

namespace {

constexpr int kBadContext = 5; // GLX_BAD_CONTEXT

class OtherEntryPoints : public Rig {
protected:
  void open() {
    start();
    display_ = openDisplay();
    getProcAddress_ = GL_OF(host(), glXGetProcAddress);
    forget();
  }
  void openPaired() {
    open();
    GL_OF(host(), glXQueryExtension)(display_, nullptr, nullptr);
    forget();
  }
  // The library's function, found the way a program finds it: some are withheld from the front end.
  template <class Function>
  Function find(const char* name) {
    void* const address =
        reinterpret_cast<void*>(getProcAddress_(reinterpret_cast<const GLubyte*>(name)));
    EXPECT_NE(address, nullptr) << name;
    forget();
    return reinterpret_cast<Function>(address);
  }
#define OURS(function) find<decltype(&::function)>(#function)

  void expectOnlyStart(const std::string& label) {
    EXPECT_LINES(logged(), {debugLine(label, "START")});
    EXPECT_EQ(driverCalls(), Lines{}) << label;
  }
  Lines pairingLines() {
    return {debugLine(kSetupAppDisplayLabel, "setting TSD appdpy " + address(display_)),
            debugLine(kSetupAppDisplayLabel, "ZOL ext is enabled on display <any> (<ptr>)"),
            "I " + kGetLocalDisplayLabel + ": opened local display <any> mapped to " +
                address(display_)};
  }

  Display* display_ = nullptr;
  decltype(&::glXGetProcAddress) getProcAddress_ = nullptr;
};

// Answers of the library's own -----------------------------------------------------------------

TEST_F(OtherEntryPoints, HaveNoSwapGroups) {
  open();
  EXPECT_EQ(OURS(glXJoinSwapGroupNV)(display_, 1, 2), 0);
  expectOnlyStart("int zol_glXJoinSwapGroupNV(Display*, GLXDrawable, GLuint)");
  EXPECT_EQ(OURS(glXBindSwapBarrierNV)(display_, 1, 2), 0);
  expectOnlyStart("int zol_glXBindSwapBarrierNV(Display*, GLuint, GLuint)");
  GLuint first = 7, second = 8;
  EXPECT_EQ(OURS(glXQuerySwapGroupNV)(display_, 1, &first, &second), 0);
  expectOnlyStart("int zol_glXQuerySwapGroupNV(Display*, GLXDrawable, GLuint*, GLuint*)");
  EXPECT_EQ(first, 7u);
  EXPECT_EQ(second, 8u);
  EXPECT_EQ(OURS(glXQueryMaxSwapGroupsNV)(display_, 0, &first, &second), 1);
  expectOnlyStart("int zol_glXQueryMaxSwapGroupsNV(Display*, int, GLuint*, GLuint*)");
  EXPECT_EQ(first, 0u);
  EXPECT_EQ(second, 0u);
  GLuint count = 9;
  EXPECT_EQ(OURS(glXQueryFrameCountNV)(display_, 0, &count), 0);
  expectOnlyStart("int zol_glXQueryFrameCountNV(Display*, int, GLuint*)");
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(OURS(glXResetFrameCountNV)(display_, 0), 0);
  expectOnlyStart("int zol_glXResetFrameCountNV(Display*, int)");
}

TEST_F(OtherEntryPoints, HaveNoVideo) {
  open();
  EXPECT_EQ(OURS(glXReleaseVideoImageNV)(display_, 1), 0);
  expectOnlyStart("int zol_glXReleaseVideoImageNV(Display*, GLXPbuffer)");
  unsigned long counter = 7;
  EXPECT_EQ(OURS(glXSendPbufferToVideoNV)(display_, 1, 2, &counter, GL_TRUE), 0);
  expectOnlyStart(
      "int zol_glXSendPbufferToVideoNV(Display*, GLXPbuffer, int, long unsigned int*, GLboolean)");
  EXPECT_EQ(counter, 7u);
}

TEST_F(OtherEntryPoints, HaveNoVideoSync) {
  open();
  unsigned value = 7;
  EXPECT_EQ(OURS(glXGetVideoSyncSGI)(&value), kBadContext);
  expectOnlyStart("int zol_glXGetVideoSyncSGI(unsigned int*)");
  EXPECT_EQ(OURS(glXWaitVideoSyncSGI)(1, 0, &value), kBadContext);
  expectOnlyStart("int zol_glXWaitVideoSyncSGI(int, int, unsigned int*)");
  EXPECT_EQ(OURS(glXGetRefreshRateSGI)(&value), kBadContext);
  expectOnlyStart("int zol_glXGetRefreshRateSGI(unsigned int*)");
  EXPECT_EQ(value, 7u);
}

TEST_F(OtherEntryPoints, HaveNoVideoSyncWithAContextEither) {
  open();
  GLXContext const context = createContext(display_, visuals_.doubled);
  makeCurrent(display_, createWindow(display_, visuals_.doubled, 64, 48), context);
  unsigned value = 7;
  EXPECT_EQ(OURS(glXGetVideoSyncSGI)(&value), kBadContext);
  EXPECT_EQ(value, 7u);
}

TEST_F(OtherEntryPoints, HaveNoFullScreenMode) {
  open();
  EXPECT_EQ(OURS(glXSet3DfxModeMESA)(3), 0);
  expectOnlyStart("GLboolean zol_glXSet3DfxModeMESA(GLint)");
}

TEST_F(OtherEntryPoints, HaveNoChannelForAWindow) {
  open();
  EXPECT_EQ(OURS(glXBindChannelToWindowSGIX)(display_, 0, 1, 2), 0);
  expectOnlyStart("int zol_glXBindChannelToWindowSGIX(Display*, int, int, Window)");
}

TEST_F(OtherEntryPoints, HaveNoContextIds) {
  open();
  GLXContext const context = createContext(display_, visuals_.doubled);
  forget();
  EXPECT_EQ(OURS(glXGetContextIDEXT)(context), 0u);
  expectOnlyStart("GLXContextID zol_glXGetContextIDEXT(GLXContext)");
}

// Those that pair the thread with its display and do nothing else ------------------------------

struct Pairing {
  const char* name;
  std::string label;
  std::function<bool(void* function, Display* display)> call; // the answer is as it should be
};

int untouched[4] = {1, 2, 3, 4};
unsigned long mask = 0x1234;

bool areUntouched() {
  return untouched[0] == 1 && untouched[1] == 2 && untouched[2] == 3 && untouched[3] == 4;
}

#define CALL(function) reinterpret_cast<decltype(&::function)>(f)

const Pairing kPairing[] = {
    {"glXChannelRectSGIX", "int zol_glXChannelRectSGIX(Display*, int, int, int, int, int, int)",
     [](void* f, Display* d) { return CALL(glXChannelRectSGIX)(d, 0, 1, 2, 3, 4, 5) == 0; }},
    {"glXChannelRectSyncSGIX", "int zol_glXChannelRectSyncSGIX(Display*, int, int, GLenum)",
     [](void* f, Display* d) { return CALL(glXChannelRectSyncSGIX)(d, 0, 1, 2) == 0; }},
    {"glXQueryChannelRectSGIX",
     "int zol_glXQueryChannelRectSGIX(Display*, int, int, int*, int*, int*, int*)",
     [](void* f, Display* d) {
       int* const u = untouched;
       return CALL(glXQueryChannelRectSGIX)(d, 0, 1, u, u + 1, u + 2, u + 3) == 0 && areUntouched();
     }},
    {"glXQueryChannelDeltasSGIX",
     "int zol_glXQueryChannelDeltasSGIX(Display*, int, int, int*, int*, int*, int*)",
     [](void* f, Display* d) {
       int* const u = untouched;
       return CALL(glXQueryChannelDeltasSGIX)(d, 0, 1, u, u + 1, u + 2, u + 3) == 0 &&
              areUntouched();
     }},
    {"glXQueryContextInfoEXT", "int zol_glXQueryContextInfoEXT(Display*, GLXContext, int, int*)",
     [](void* f, Display* d) {
       return CALL(glXQueryContextInfoEXT)(d, nullptr, 0, untouched) == 0 && areUntouched();
     }},
    {"glXImportContextEXT", "__GLXcontextRec* zol_glXImportContextEXT(Display*, GLXContextID)",
     [](void* f, Display* d) { return CALL(glXImportContextEXT)(d, 7) == nullptr; }},
    {"glXSelectEvent", "void zol_glXSelectEvent(Display*, GLXDrawable, long unsigned int)",
     [](void* f, Display* d) {
       CALL(glXSelectEvent)(d, 1, GLX_PBUFFER_CLOBBER_MASK);
       return true;
     }},
    {"glXGetSelectedEvent",
     "void zol_glXGetSelectedEvent(Display*, GLXDrawable, long unsigned int*)",
     [](void* f, Display* d) {
       CALL(glXGetSelectedEvent)(d, 1, &mask);
       return mask == 0x1234;
     }},
    {"glXSelectEventSGIX", "void zol_glXSelectEventSGIX(Display*, GLXDrawable, long unsigned int)",
     [](void* f, Display* d) {
       CALL(glXSelectEventSGIX)(d, 1, GLX_PBUFFER_CLOBBER_MASK);
       return true;
     }},
    {"glXGetSelectedEventSGIX",
     "void zol_glXGetSelectedEventSGIX(Display*, GLXDrawable, long unsigned int*)",
     [](void* f, Display* d) {
       CALL(glXGetSelectedEventSGIX)(d, 1, &mask);
       return mask == 0x1234;
     }},
};

class PairingEntryPoint : public OtherEntryPoints, public testing::WithParamInterface<Pairing> {};

TEST_P(PairingEntryPoint, OnlyPairs) {
  open();
  void* const function = find<void*>(GetParam().name);
  EXPECT_TRUE(GetParam().call(function, display_));
  EXPECT_LINES(logged(), {debugLine(GetParam().label, "START")} + pairingLines());
  EXPECT_TRUE(GetParam().call(function, display_));
  EXPECT_LINES(logged(), {debugLine(GetParam().label, "START")});
  EXPECT_TRUE(GetParam().call(function, nullptr));
  EXPECT_LINES(logged(), {debugLine(GetParam().label, "START")});
  EXPECT_EQ(driverCalls(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Other, PairingEntryPoint, testing::ValuesIn(kPairing),
                         [](const auto& entry) { return std::string(entry.param.name); });

// Unlike the others it says so only when there is a display.
TEST_F(OtherEntryPoints, FreeNoImportedContext) {
  open();
  const auto freeContext = OURS(glXFreeContextEXT);
  const std::string label = "void zol_glXFreeContextEXT(Display*, GLXContext)";
  freeContext(nullptr, nullptr);
  EXPECT_EQ(logged(), Lines{});
  freeContext(display_, nullptr);
  EXPECT_LINES(logged(), (pairingLines() + Lines{debugLine(label, "START")}));
  GLXContext const context = createContext(display_, visuals_.doubled);
  forget();
  freeContext(display_, context);
  expectOnlyStart(label);
  EXPECT_EQ(recorder().livingContexts(), 1);
}

// Those that the driver answers ----------------------------------------------------------------

TEST_F(OtherEntryPoints, HaveTheDriversMemory) {
  open();
  recorder().setAnswer("glXAllocateMemoryNV", 0x5000);
  void* const memory = OURS(glXAllocateMemoryNV)(4096, 0.25f, 0.5f, 0.75f);
  EXPECT_EQ(memory, reinterpret_cast<void*>(0x5000));
  EXPECT_LINES(
      logged(),
      {debugLine("void* zol_glXAllocateMemoryNV(GLsizei, GLfloat, GLfloat, GLfloat)", "START")});
  EXPECT_LINES(driverCalls(), {"glXAllocateMemoryNV(4096, 0.25, 0.5, 0.75)"});
  OURS(glXFreeMemoryNV)(memory);
  EXPECT_LINES(logged(), {debugLine("void zol_glXFreeMemoryNV(GLvoid*)", "START")});
  EXPECT_LINES(driverCalls(), {"glXFreeMemoryNV(&)"});
}

// Programs that find the function take it for the driver's.
TEST_F(OtherEntryPoints, HaveNoMemoryOfADriverThatHasNone) {
  recorder().setAbsent("glXAllocateMemoryNV");
  recorder().setAbsent("glXFreeMemoryNV");
  open();
  EXPECT_EQ(OURS(glXAllocateMemoryNV)(4096, 0, 0, 0), nullptr);
  OURS(glXFreeMemoryNV)(nullptr);
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(OtherEntryPoints, WaitForTheDriver) {
  openPaired();
  const auto waitGL = OURS(glXWaitGL);
  const auto waitX = OURS(glXWaitX);
  const int syncs = outside::calls("XSync");
  waitGL();
  EXPECT_LINES(logged(), {debugLine("void zol_glXWaitGL()", "START")});
  waitX();
  EXPECT_LINES(logged(), {debugLine("void zol_glXWaitX()", "START")});
  EXPECT_LINES(driverCalls(), {"glXWaitGL()", "glXWaitX()"});
  EXPECT_EQ(outside::calls("XSync"), syncs);
}

TEST_F(OtherEntryPoints, MayWaitForTheProgramsDisplayFirst) {
  set("ZOL_GL_GLXWAITX_SYNC_APPDISPLAY", "1");
  open();
  const auto waitX = OURS(glXWaitX);
  const int before = outside::calls("XSync");
  waitX(); // a thread without a display
  EXPECT_EQ(outside::calls("XSync"), before);
  GL_OF(host(), glXQueryExtension)(display_, nullptr, nullptr);
  forget();
  int atTheWait = 0;
  recorder().setHook("glXWaitX", [&] { atTheWait = outside::calls("XSync"); });
  const Window window =
      XCreateSimpleWindow(display_, DefaultRootWindow(display_), 0, 0, 9, 9, 0, 0, 0);
  EXPECT_GT(XNextRequest(display_), LastKnownRequestProcessed(display_) + 1);
  const int syncs = outside::calls("XSync");
  waitX();
  EXPECT_EQ(atTheWait, syncs + 1);
  EXPECT_EQ(XNextRequest(display_), LastKnownRequestProcessed(display_) + 1); // of this display
  EXPECT_LINES(driverCalls(), {"glXWaitX()"});
  XDestroyWindow(display_, window);
  GL_OF(host(), glXWaitGL)();
  EXPECT_EQ(outside::calls("XSync"), syncs + 1);
}

} // namespace
