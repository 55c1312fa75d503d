#include "rig/fixture.h"

#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <set>
#include <thread>
#include <unistd.h>

using namespace zol::rig;

namespace {

const std::string kInit = "void zol_init(void*)";
const std::string kFind = "char* findSystemGLXVendor()";
const std::string kLookup = "void* glXGLVNDGetProcAddressInternal(const GLubyte*, bool)";

// The driver's functions in the order in which the library asks for them.
const char* const kDriverFunctions[] = {
    "glXUseXFont",
    "glGetString",
    "glGetIntegerv",
    "glXGetProcAddressARB",
    "glXGetProcAddress",
    "glXGetCurrentDisplay",
    "glXGetCurrentDrawable",
    "glXGetCurrentReadDrawable",
    "glXGetCurrentContext",
    "glXChooseVisual",
    "glXCreateContext",
    "glXCreateContextWithConfigSGIX",
    "glXCreateContextAttribsARB",
    "glXCreateGLXPixmapWithConfigSGIX",
    "glXCreateWindow",
    "glXCreateGLXPixmap",
    "glXCreatePixmap",
    "glXCreateGLXPbufferSGIX",
    "glXCreatePbuffer",
    "glXIsDirect",
    "glXQueryExtension",
    "glXMakeCurrent",
    "glXMakeContextCurrent",
    "glXCreateNewContext",
    "glXDestroyContext",
    "glXSwapBuffers",
    "glXChooseFBConfig",
    "glXGetFBConfigs",
    "glXGetFBConfigAttrib",
    "glXGetVisualFromFBConfig",
    "glXDestroyWindow",
    "glXDestroyPixmap",
    "glXDestroyGLXPixmap",
    "glXDestroyPbuffer",
    "glXQueryDrawable",
    "glXQueryContext",
    "glXSelectEvent",
    "glXGetSelectedEvent",
    "glXQueryVersion",
    "glXGetClientString",
    "glXQueryExtensionsString",
    "glXQueryServerString",
    "glXGetConfig",
    "glXCopyContext",
    "glXAllocateMemoryNV",
    "glXFreeMemoryNV",
    "glXGetFBConfigAttribSGIX",
    "glXChooseFBConfigSGIX",
    "glXGetVisualFromFBConfigSGIX",
    "glXGetFBConfigFromVisualSGIX",
    "glXDestroyGLXPbufferSGIX",
    "glXQueryGLXPbufferSGIX",
    "glXSelectEventSGIX",
    "glXGetSelectedEventSGIX",
    "glXJoinSwapGroupNV",
    "glXBindSwapBarrierNV",
    "glXQuerySwapGroupNV",
    "glXQueryMaxSwapGroupsNV",
    "glXQueryFrameCountNV",
    "glXResetFrameCountNV",
    "glXSwapIntervalSGI",
    "glXGetVideoSyncSGI",
    "glXWaitVideoSyncSGI",
    "glXGetRefreshRateSGI",
    "glXWaitGL",
    "glXWaitX",
    "glXBindTexImageEXT",
    "glXReleaseTexImageEXT",
    "glRenderMode",
    "glDrawBuffer",
    "glReadBuffer",
    "glViewport",
    "glReadPixels",
    "glCopyPixels",
    "glBitmap",
    "glClear",
    "glFinish",
    "glFlush",
    "glPixelStorei",
    "glPushAttrib",
    "glPopAttrib",
    "glPushClientAttrib",
    "glPopClientAttrib",
    "glMatrixMode",
    "glPopMatrix",
    "glPushMatrix",
    "glLoadIdentity",
    "glRasterPos2i",
    "glIsEnabled",
    "glDisable",
    "glEnable",
    "glOrtho",
    "glDrawPixels",
    "glBeginQuery",
    "glEndQuery",
    "glGetQueryObjectiv",
    "glGenQueries",
    "glGenQueriesARB",
    "glGenTextures",
    "glDeleteTextures",
    "glBindTexture",
    "glTexParameteri",
    "glTexImage2D",
    "glCopyTexSubImage2D",
    "glGetTexImage",
    "glFenceSync",
    "glClientWaitSync",
    "glDeleteSync",
    "glActiveTexture",
    "glGenFramebuffers",
    "glDeleteFramebuffers",
    "glDeleteProgram",
    "glBindFramebuffer",
    "glFramebufferTexture2D",
    "glFramebufferTexture",
    "glBegin",
    "glEnd",
    "glTexCoord2i",
    "glVertex2i",
    "glGetError",
    "glDebugMessageCallback",
    "glDebugMessageControl",
    "glDrawArrays",
    "glCheckFramebufferStatus",
    "glShaderSource",
    "glCompileShader",
    "glGetShaderiv",
    "glGetShaderInfoLog",
    "glCreateShader",
    "glCreateProgram",
    "glAttachShader",
    "glLinkProgram",
    "glUseProgram",
    "glGetProgramiv",
    "glGetProgramInfoLog",
    "glGetUniformLocation",
    "glUniform1f",
    "glUniform1i",
    "glVertex3f",
    "glGenVertexArrays",
    "glBindVertexArray",
    "glGenBuffers",
    "glBindBuffer",
    "glBufferData",
    "glEnableVertexAttribArray",
    "glVertexAttribPointer",
    "glClearColor",
    "glDisableVertexAttribArray",
    "glCullFace",
    "glTranslatef",
    "glColor3f",
    "glGetStringi",
    "glMapBuffer",
    "glMapBufferRange",
    "glUnmapBuffer",
    "glDeleteBuffers",
    "glBlitFramebuffer",
};

// Functions whose absence nobody hears of.
const std::set<std::string> kUnchecked = {"glXBindTexImageEXT",  "glXReleaseTexImageEXT",
                                          "glPushClientAttrib",  "glPopClientAttrib",
                                          "glRasterPos2i",       "glTexImage2D",
                                          "glCopyTexSubImage2D", "glFramebufferTexture2D",
                                          "glTexCoord2i",        "glVertex2i",
                                          "glUniform1f",         "glUniform1i",
                                          "glVertex3f",          "glColor3f"};

// The one function that is fetched from the driver's library by its symbol.
constexpr const char* kBySymbol = "glDisableVertexAttribArray";

std::string absenceMessage(const std::string& function) {
  if (function == "glRenderMode") return "glrendermoge is NULL";
  if (function == "glGetError" || function == "glDebugMessageCallback" ||
      function == "glDebugMessageControl") {
    return function + " is NULL";
  }
  return "system_" + function + " is NULL";
}

Lines lookupLines(bool found) {
  Lines lines;
  for (const std::string name : kDriverFunctions) {
    if (name == kBySymbol) continue;
    lines.push_back("I " + kLookup + ": Requested " + name + " function address");
    lines.push_back("D " + kLookup + ": " +
                    (found ? name + " function address was resolved at the system level"
                           : "Could not resolve " + name +
                                 " internally or at the system level - this is going to be NULL"));
  }
  return lines;
}

Lines absenceLines() {
  Lines lines;
  for (const std::string name : kDriverFunctions) {
    if (name == kBySymbol || kUnchecked.count(name) != 0) continue;
    lines.push_back("E void setup_sysgl(void*): " + absenceMessage(name));
  }
  return lines;
}

Lines joined(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts)
    all.insert(all.end(), part.begin(), part.end());
  return all;
}

std::string ownName() {
  char name[1024] = "";
  FILE* const file = std::fopen("/proc/self/cmdline", "r");
  if (std::fgets(name, sizeof name, file) == nullptr) name[0] = '\0';
  std::fclose(file);
  return name;
}

class StartUp : public Rig {
protected:
  Lines stepsOfMain() {
    return {"D " + kMainLabel + ": START",
            "I " + kMainLabel + ": " + kBanner,
            "D " + kMainLabel + ": Initiating denylist and extension checks",
            "D " + kMainLabel + ": Initiating glVND interface setup",
            "D " + kMainLabel + ": Detecting local X server display vendor...",
            "D " + kFind + ": Searching on local 3D accelerated X display " + localName() + "...",
            "D " + kFind +
                ": Attempting to load detected system glVND vendor library 'libGLX_mesa.so.0'...",
            "I " + kMainLabel + ": Vendor 'libGLX_mesa.so.0' was selected for local display"};
  }
  Lines stepsOfInit() {
    return {"D " + kInit + ": START", "I " + kInit + ": " + kBanner,
            "I " + kInit + ": Application executable " + ownName() + " is multi thread"};
  }
};

TEST_F(StartUp, TakesItsStepsInOrder) {
  set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
  startServers();
  ASSERT_EQ(enter(), 1);
  EXPECT_TRUE(sameLines(joined({stepsOfMain(),
                                stepsOfInit(),
                                lookupLines(true),
                                {"D " + kInit + ": DONE", "D " + kMainLabel + ": DONE"}}),
                        logged()));
  EXPECT_LINES(driverCalls(), {"__glx_Main(0x10000, exports, NULL, imports)"});
  EXPECT_EQ(loggedByOthers(), Lines{});
}

TEST_F(StartUp, StartsTheCopybackThreadAsItsLastStep) {
  startServers();
  outside::holdOtherLogs();
  ASSERT_EQ(enter(), 1);
  EXPECT_TRUE(sameLines(joined({stepsOfMain(),
                                stepsOfInit(),
                                lookupLines(true),
                                {"D " + kInit + ": Initializing Copyback thread inside zol_init",
                                 "D " + kInit + ": DONE", "D " + kMainLabel + ": DONE"}}),
                        logged()));
  outside::letOtherLogs();
  ASSERT_TRUE(eventually([] { return outside::openedDisplays().size() == 4; }));
  EXPECT_LINES(loggedByOthers(), {"D void zol::gl::CopybackThread::svc(): START"});
  EXPECT_EQ(outside::openedDisplays().back(), "(null)");
}

TEST_F(StartUp, AsksTheDriverForEachFunctionOnceAndInOrder) {
  startServers();
  ASSERT_EQ(enter(), 1);
  Lines expected;
  for (const std::string name : kDriverFunctions) {
    if (name != kBySymbol) expected.push_back(name);
  }
  EXPECT_EQ(recorder().lookups(), expected);
}

TEST_F(StartUp, OpensTheApplicationDisplayForTheProbeAndForTheNameOfTheLocalOne) {
  set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
  startServers();
  ASSERT_EQ(enter(), 1);
  EXPECT_EQ(outside::openedDisplays(), (Lines{"(null)", "(null)", localName()}));
  EXPECT_EQ(outside::calls("XCloseDisplay"), 3);
}

TEST_F(StartUp, OpensTheApplicationDisplayOnlyForTheProbeWhenTheSettingNamesTheLocalOne) {
  set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
  startServers();
  set("ZOL_GL_DISPLAY", localName() + ".0");
  ASSERT_EQ(enter(), 1);
  EXPECT_EQ(outside::openedDisplays(), (Lines{"(null)", localName() + ".0"}));
  EXPECT_TRUE(hasLine(logged(), "D " + kFind + ": Searching on local 3D accelerated X display " +
                                    localName() + ".0..."));
}

TEST_F(StartUp, GivesTheFrontEndItsOwnResolverAndTheDriversOtherCallbacks) {
  startServers();
  ASSERT_EQ(enter(), 1);
  forget();
  Display* const display = openDisplay();
  EXPECT_EQ(host().imports().isScreenSupported(display, 0), True);
  EXPECT_LINES(driverCalls(), {"isScreenSupported(app, 0)"});
  EXPECT_EQ(host().imports().getDispatchAddress(reinterpret_cast<const GLubyte*>("glFlush")),
            nullptr);
  host().imports().setDispatchIndex(reinterpret_cast<const GLubyte*>("glFlush"), 3);
  EXPECT_EQ(logged(), Lines{}); // the library's own would have logged

  EXPECT_EQ(host().find("glBegin"), recorder().address("glBegin"));
  EXPECT_NE(host().find("glXMakeCurrent"), recorder().address("glXMakeCurrent"));
}

TEST_F(StartUp, ClearsThreeSlotsOfTheImportsAndLeavesTheLastTwo) {
  startServers();
  ASSERT_EQ(enter(), 1);
  for (const int slot : {0, 1, 2, 3})
    EXPECT_NE(host().slot(slot), VendorHost::slotAsGiven(slot));
  for (const int slot : {4, 5, 6})
    EXPECT_EQ(host().slot(slot), nullptr);
  for (const int slot : {7, 8})
    EXPECT_EQ(host().slot(slot), VendorHost::slotAsGiven(slot));
}

TEST_F(StartUp, HandsTheDriverTheFrontEndsExportsAndItsOwnVersion) {
  startServers();
  ASSERT_EQ(enter((1u << 16) | 3), 1);
  EXPECT_EQ(recorder().exportsReceived(), host().exports());
  EXPECT_EQ(recorder().vendorInfoReceived(), nullptr);
  EXPECT_EQ(recorder().versionReceived(), 1u << 16);
}

TEST_F(StartUp, HandsTheDriverTheImportsAsTheFrontEndGaveThem) {
  startServers();
  ASSERT_EQ(enter(), 1);
  EXPECT_EQ(recorder().importsReceived(), VendorHost::slotsAsGiven());
}

TEST_F(StartUp, RepeatsOnlyTheChecksTheSecondTime) {
  set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
  startServers();
  ASSERT_EQ(enter(), 1);
  forget();
  const int opened = outside::calls("XOpenDisplay");
  EXPECT_EQ(enter(), 1);
  EXPECT_LINES(logged(), {"D " + kMainLabel + ": START", "I " + kMainLabel + ": " + kBanner,
                          "D " + kMainLabel + ": Initiating denylist and extension checks",
                          "D " + kMainLabel + ": DONE"});
  EXPECT_EQ(driverCalls(), Lines{});
  for (int slot = 0; slot < 9; ++slot)
    EXPECT_EQ(host().slot(slot), VendorHost::slotAsGiven(slot));
  EXPECT_EQ(outside::calls("XOpenDisplay") - opened, 1); // the probe's
}

TEST_F(StartUp, TakesNoPartTheSecondTimeWhenTheDisplayIsAnother) {
  startServers();
  ASSERT_EQ(enter(), 1);
  forget();
  set("DISPLAY", startPlainServer().name());
  EXPECT_EQ(enter(), 0);
  EXPECT_LINES(logged(), {"D " + kMainLabel + ": START", "I " + kMainLabel + ": " + kBanner,
                          "D " + kMainLabel + ": Initiating denylist and extension checks",
                          "I " + kMainLabel + ": ZOL-GL is OFF"});
}

TEST_F(StartUp, PutsTheProgramsErrorHandlerBackAfterTheProbe) {
  static const XErrorHandler own = [](Display*, XErrorEvent*) { return 0; };
  XSetErrorHandler(own);
  startServers();
  ASSERT_EQ(enter(), 1);
  EXPECT_EQ(XSetErrorHandler(nullptr), own);
}

TEST_F(StartUp, KeepsDriversFromUnloadingAtExit) {
  set("__GL_NO_DSO_FINALIZER", "0");
  startServers();
  ASSERT_EQ(enter(), 1);
  EXPECT_STREQ(std::getenv("__GL_NO_DSO_FINALIZER"), "1");
}

TEST_F(StartUp, LeavesDriversTheirUnloadingWhenToldTo) {
  set("ZOL_GL_DISABLE_DRIVER_UNLOAD", "0");
  startServers();
  ASSERT_EQ(enter(), 1);
  EXPECT_EQ(std::getenv("__GL_NO_DSO_FINALIZER"), nullptr);
}

TEST_F(StartUp, GoesOnWithoutAnyOfTheDriversFunctions) {
  set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
  for (const char* name : kDriverFunctions)
    recorder().setAbsent(name);
  startServers();
  ASSERT_EQ(enter(), 1);
  EXPECT_TRUE(sameLines(joined({stepsOfMain(),
                                stepsOfInit(),
                                lookupLines(false),
                                absenceLines(),
                                {"D " + kInit + ": DONE", "D " + kMainLabel + ": DONE"}}),
                        logged()));
}

// In a process of their own: what is printed, and what ends the process ---------------------------

class StartUpProcess : public StartUp {
protected:
  ScenarioResult run(const std::string& scenario,
                     std::map<std::string, std::string> environment = {}) {
    ScenarioOptions options;
    options.environment = std::move(environment);
    const ScenarioResult result = runScenario(scenario, options);
    records_ = LogFile(testDirectory(), result.process).all();
    return result;
  }
  // Of the scenario's main thread.
  Lines mainLog() { return textsOfThread(records_, records_.empty() ? 0 : records_[0].process); }
  Lines otherLog() {
    return textsOfOtherThreads(records_, records_.empty() ? 0 : records_[0].process);
  }

private:
  std::vector<LogRecord> records_;
};

RIG_SCENARIO(enters) {
  return VendorHost().enter() == 1 ? 0 : 99;
}

RIG_SCENARIO(entersAndKeepsTheLibrary) {
  static VendorHost* const host = new VendorHost;
  return host->enter() == 1 ? 0 : 99;
}

RIG_SCENARIO(entersWithoutAnyDriverFunction) {
  for (const char* name : kDriverFunctions)
    recorder().setAbsent(name);
  return VendorHost().enter() == 1 ? 0 : 99;
}

RIG_SCENARIO(entersWithoutThreads) {
  outside::failLoading("libpthread.so.0");
  return VendorHost().enter() == 1 ? 0 : 99;
}

TEST_F(StartUpProcess, ReportsEachAbsentFunctionOnStandardErrorToo) {
  startServers();
  const ScenarioResult result = run("entersWithoutAnyDriverFunction");
  EXPECT_EQ(result.exitStatus, 0);
  std::string expected;
  for (const std::string name : kDriverFunctions) {
    if (name == kBySymbol || kUnchecked.count(name) != 0) continue;
    expected += "ERROR: " + absenceMessage(name) + "\n";
  }
  EXPECT_EQ(result.err, expected);
}

TEST_F(StartUpProcess, PrintsNothingByItself) {
  startServers();
  const ScenarioResult result = run("enters");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, "");
}

TEST_F(StartUpProcess, PrintsItsVersionAndNoticeWhenAsked) {
  startServers();
  for (const char* variable : {"ZOL_GL_PRINT_VERSION", "ZOL_GL_VERBOSE"}) {
    const ScenarioResult result = run("enters", {{variable, "1"}});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(matchesLine(kBanner + "\n<any>\n<any>\n\n", result.err)) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 4) << result.err;
  }
}

TEST_F(StartUpProcess, EndsWhenTheDriverIsToldThatThereAreNoThreads) {
  startServers();
  for (const char* value : {"1", ""}) {
    const ScenarioResult result = run(
        "enters", {{"__GL_SINGLE_THREADED", value}, {"ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0"}});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "ERROR: environment variable __GL_SINGLE_THREADED is set. Unable to "
                          "continue\n");
    ASSERT_FALSE(mainLog().empty());
    EXPECT_EQ(mainLog().back(), "E " + kInit +
                                    ": environment variable __GL_SINGLE_THREADED is "
                                    "set. Unable to continue");
  }
}

TEST_F(StartUpProcess, EndsWithoutTheThreadsLibrary) {
  startServers();
  const ScenarioResult result = run("entersWithoutThreads");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err, "Failed to open libpthread.so.0\n"
                        "Failed to load libpthread.so.0 functions");
  EXPECT_EQ(mainLog(), Lines{});
}

TEST_F(StartUpProcess, StopsTheCopybackThreadAtExit) {
  startServers();
  const ScenarioResult result = run("entersAndKeepsTheLibrary");
  EXPECT_EQ(result.exitStatus, 0);
  const Lines all = mainLog();
  const Lines last(all.end() - std::min<std::ptrdiff_t>(6, std::ssize(all)), all.end());
  EXPECT_LINES(last, {"D void zol_fini(): START", "D void zol::gl::Copyback::stop(): START",
                      "D void zol::gl::CopybackThread::join(): START",
                      "D void zol::gl::CopybackThread::join(): DONE",
                      "D void zol::gl::Copyback::stop(): DONE", "D void zol_fini(): DONE"});
  EXPECT_LINES(otherLog(), {"D void zol::gl::CopybackThread::svc(): START",
                            "D void zol::gl::CopybackThread::svc(): DONE"});
}

TEST_F(StartUpProcess, StartsTheCopybackThreadAtExitOnlyToStopIt) {
  startServers();
  const ScenarioResult result =
      run("entersAndKeepsTheLibrary", {{"ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0"}});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_FALSE(hasLine(mainLog(), "<any>Initializing Copyback thread<any>"));
  EXPECT_TRUE(hasLine(mainLog(), "D void zol::gl::Copyback::stop(): DONE"));
  EXPECT_LINES(otherLog(), {"D void zol::gl::CopybackThread::svc(): START",
                            "D void zol::gl::CopybackThread::svc(): DONE"});
}

// Both are read and change nothing.
TEST_F(StartUpProcess, CleansUpAtExitWhateverTheSettingsAboutItSay) {
  startServers();
  const ScenarioResult result =
      run("entersAndKeepsTheLibrary",
          {{"ZOL_GL_CLEANUP_ATEXIT", "0"}, {"ZOL_GL_DISABLE_ZOL_GL_UNLOAD", "1"}});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_TRUE(hasLine(mainLog(), "D void zol_fini(): DONE"));
}

// Without thread-local storage --------------------------------------------------------------------

TEST_F(StartUp, GoesOnWithoutThreadStateWhenTheKeysHaveRunOut) {
  startServers();
  describeVisuals();
  recorder(); // what the loader itself needs
  for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) {
  }
  ASSERT_EQ(enter(), 1);
  EXPECT_TRUE(hasLine(logged(), "E zol::TLSKey zol::createTLSKey(void (*)(void*)): Reached the "
                                "maximum number of keys per thread: 1024"));
  forget();

  Display* const display = openDisplay();
  const Window window = createWindow(display, visuals_.doubled, 32, 32);
  const auto createContext = GL_OF(host(), glXCreateContext);
  EXPECT_EQ(createContext(display, &visuals_.doubled, nullptr, True), nullptr);
  std::thread([&] {
    EXPECT_EQ(createContext(display, &visuals_.doubled, nullptr, True), nullptr);
  }).join();
  EXPECT_EQ(GL_OF(host(), glXMakeCurrent)(display, window, nullptr), False);
  EXPECT_EQ(GL_OF(host(), glXGetCurrentContext)(), nullptr);
  EXPECT_EQ(GL_OF(host(), glXGetCurrentDrawable)(), 0u);
  EXPECT_EQ(GL_OF(host(), glXGetCurrentDisplay)(), nullptr);
  GL_OF(host(), glXSwapBuffers)(display, window);
  GL_OF(host(), glFinish)();
  GL_OF(host(), glFlush)();
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_EQ(driverCallsOfOthers(), Lines{});
}

} // namespace
