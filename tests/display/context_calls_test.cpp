#include "rig/fixture.h"
#include "rig/no_memory.h"

#include <optional>
#include <thread>

using namespace zol::rig;

namespace {

const std::string kAdd =
    "D void addToContextMap(Display*, GLXContext, zol::gl::LocalVisualInfo*, GLXFBConfig): ";
const std::string kSetup = "bool _setupAppDisplay(Display*, zol::gl::TSD*): ";
const std::string kLocal = "Display* _getLocalDisplay(zol::gl::TSD*): ";
const std::string kByVisual =
    "__GLXcontextRec* zol_glXCreateContext(Display*, XVisualInfo*, GLXContext, int): ";
const std::string kByConfig =
    "__GLXcontextRec* zol_glXCreateNewContext(Display*, GLXFBConfig, int, GLXContext, int): ";
const std::string kByAttribs = "__GLXcontextRec* zol_glXCreateContextAttribsARB(Display*, "
                               "GLXFBConfig, GLXContext, int, const int*): ";
const std::string kSGIX = "__GLXcontextRec* zol_glXCreateContextWithConfigSGIX(Display*, "
                          "GLXFBConfigSGIX, int, GLXContext, int): ";
const std::string kDestroy = "void zol_glXDestroyContext(Display*, GLXContext): ";
const std::string kFoundLVI =
    "D zol::gl::LocalVisualInfo* _getLVI(Display*, GLXFBConfig, zol::gl::TSD*): ";

class ContextCalls : public Rig {
protected:
  void open() {
    start();
    display_ = openDisplay();
    byVisual_ = GL_OF(host(), glXCreateContext);
    byConfig_ = GL_OF(host(), glXCreateNewContext);
    byAttribs_ = GL_OF(host(), glXCreateContextAttribsARB);
    destroy_ = GL_OF(host(), glXDestroyContext);
    forget();
  }

  // Pairs the thread and builds the visual map, so that a test sees its own lines only.
  GLXContext firstContext() {
    const GLXContext context = byVisual_(display_, &visuals_.doubled, nullptr, True);
    EXPECT_NE(context, nullptr);
    forget();
    return context;
  }

  // Because the two displays are one.
  void expectRefusal() {
    EXPECT_TRUE(
        hasLine(logged(), "E " + kSetup + "Local display is the same as the application display."));
    EXPECT_EQ(driverCalls(kQueries), Lines{});
  }

  std::string lviLine(GLXFBConfig config) {
    return kFoundLVI + "LVI found for fbconfig " + address(config) + " (local visual <hex>).";
  }

  Display* display_ = nullptr;
  decltype(&::glXCreateContext) byVisual_ = nullptr;
  decltype(&::glXCreateNewContext) byConfig_ = nullptr;
  decltype(&::glXCreateContextAttribsARB) byAttribs_ = nullptr;
  decltype(&::glXDestroyContext) destroy_ = nullptr;
};

TEST_F(ContextCalls, TheFirstOnePairsTheThreadAndBuildsTheVisualMap) {
  open();
  const GLXContext context = byVisual_(display_, &visuals_.doubled, nullptr, True);
  ASSERT_NE(context, nullptr);
  Lines lines = logged();
  std::erase_if(lines, [](const std::string& line) {
    return line.find("does not support OpenGL") != std::string::npos;
  });
  const std::string map = "void initializeVisualMap(Display*, int, zol::gl::TSD*): ";
  const auto adding = [&](const XVisualInfo& visual, int doubled) {
    return "I " + map + "adding id " + hex(visual.visualid) + " (" + std::to_string(doubled) + ")";
  };
  const auto choosing = [&](GLXFBConfig config, const char* id, const XVisualInfo& visual) {
    return "D " + map + "Choosing fbconfig " + address(config) + " (id " + id +
           ") as best local config for app visual " + hex(visual.visualid) + ", with 0 samples";
  };
  const auto admitted = [&](GLXFBConfig config, const char* id, const XVisualInfo& visual) {
    return "D " + map + "LVI <ptr>: fbconfig " + address(config) + ", fbconfig id 0x" + id +
           ", local visual id 0x<hex>, app visual id 0x" + hex(visual.visualid);
  };
  EXPECT_LINES(
      lines,
      {"D " + kByVisual + "visual id " + hex(visuals_.doubled.visualid),
       "D " + kSetup + "setting TSD appdpy " + address(display_),
       "D " + kSetup + "ZOL ext is enabled on display " + appName() + " (<ptr>)",
       "I " + kLocal + "opened local display " + localName() + " mapped to " + address(display_),
       "I " + map + "obtained <num> visuals for appDisplay", adding(visuals_.doubled, 1),
       "I " + map + "adding id <hex> (0)", "I " + map + "adding id <hex> (1)",
       choosing(configs_.doubled, "101", visuals_.doubled),
       admitted(configs_.doubled, "101", visuals_.doubled),
       choosing(configs_.single, "102", visuals_.single),
       admitted(configs_.single, "102", visuals_.single),
       choosing(configs_.alpha, "103", visuals_.alpha),
       admitted(configs_.alpha, "103", visuals_.alpha),
       kAdd + "added context " + hex(context) + " to the map."});
  EXPECT_LINES(driverCalls(kQueries),
               {"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = ctx1"});
}

TEST_F(ContextCalls, ByVisualTakeTheBestConfigurationAndAreDirect) {
  open();
  const GLXContext first = firstContext();
  const GLXContext second = byVisual_(display_, &visuals_.alpha, first, False);
  EXPECT_LINES(logged(), {"D " + kByVisual + "visual id " + hex(visuals_.alpha.visualid),
                          "I " + kByVisual +
                              "trying to create an indirect context. Forcing "
                              "direct.",
                          kAdd + "added context " + hex(second) + " to the map."});
  EXPECT_LINES(driverCalls(), {"glXCreateNewContext(local, fb3, GLX_RGBA_TYPE, ctx1, 1) = ctx2"});
}

TEST_F(ContextCalls, ByVisualFailForAVisualThatHasNoConfiguration) {
  open();
  firstContext();
  XVisualInfo unknown = visuals_.doubled;
  unknown.visualid = 0x7777;
  EXPECT_EQ(byVisual_(display_, &unknown, nullptr, True), nullptr);
  EXPECT_LINES(logged(), {"D " + kByVisual + "visual id 7777",
                          "D zol::gl::LocalVisualInfo* _getLVI(Display*, VisualID, "
                          "zol::gl::TSD*): LVI for app visual 7777 not found",
                          "D " + kByVisual + "failed for no visual."});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(ContextCalls, ThatTheDriverRefusesAreNull) {
  open();
  firstContext();
  recorder().fail("glXCreateNewContext", 1, 2);
  EXPECT_EQ(byVisual_(display_, &visuals_.doubled, nullptr, True), nullptr);
  EXPECT_LINES(logged(), {"D " + kByVisual + "visual id " + hex(visuals_.doubled.visualid),
                          "D " + kByVisual + "failed in createnewcontext."});
  EXPECT_EQ(byConfig_(display_, configs_.doubled, GLX_RGBA_TYPE, nullptr, True), nullptr);
  EXPECT_EQ(logged().back(), "D " + kByConfig + "failed in createnewcontext.");
  recorder().fail("glXCreateContextAttribsARB");
  const int attribs[] = {None};
  EXPECT_EQ(byAttribs_(display_, configs_.doubled, nullptr, True, attribs), nullptr);
  EXPECT_EQ(logged().back(), "D " + kByAttribs + "failed in createnewcontext.");
  EXPECT_EQ(recorder().livingContexts(), 1);
}

// The driver's context would be left behind: nobody knows it. It is the thread's first one here.
TEST_F(ContextCalls, ThatCannotBeRememberedAreNull) {
  open();
  std::optional<NoMemory> noMemory;
  recorder().setHook("glXCreateNewContext", [&] { noMemory.emplace(); });
  EXPECT_EQ(byVisual_(display_, &visuals_.doubled, nullptr, True), nullptr);
  noMemory.reset();
  recorder().setHook("glXCreateNewContext", nullptr);
  EXPECT_LINES(driverCalls(kQueries), {"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = "
                                       "ctx1",
                                       "glXDestroyContext(local, ctx1)"});
  EXPECT_TRUE(hasLine(logged(), "E <any>: std::bad_alloc"));

  const GLXContext next = firstContext();
  const Window window = createWindow(display_, visuals_.doubled, 40, 30);
  EXPECT_EQ(GL_OF(host(), glXMakeCurrent)(display_, window, next), True);
  EXPECT_EQ(recorder().livingContexts(), 1);
}

TEST_F(ContextCalls, ByConfigurationAreForcedToTheBestOne) {
  open();
  firstContext();
  const GLXContext context =
      byConfig_(display_, configs_.alpha, GLX_COLOR_INDEX_TYPE, nullptr, False);
  EXPECT_LINES(
      logged(),
      {"D " + kByConfig + "fbconfig " + hex(configs_.alpha) + ", render type 32789",
       "I " + kByConfig + "trying to create an indirect context. Forcing direct.",
       lviLine(configs_.alpha),
       "D " + kByConfig + "forcing fbconfig " + hex(configs_.alpha) + ", render type 32788",
       kAdd + "added context " + hex(context) + " to the map."});
  EXPECT_LINES(driverCalls(kQueries),
               {"glXCreateNewContext(local, fb3, GLX_RGBA_TYPE, NULL, 1) = ctx2"});
}

TEST_F(ContextCalls, ByConfigurationKeepTheirOwnWhenToldTo) {
  set("ZOL_GL_FORCE_BEST_FBCONFIG", "0");
  open();
  firstContext();
  const GLXContext context =
      byConfig_(display_, configs_.alpha, GLX_COLOR_INDEX_TYPE, nullptr, True);
  EXPECT_LINES(logged(),
               {"D " + kByConfig + "fbconfig " + hex(configs_.alpha) + ", render type 32789",
                lviLine(configs_.alpha), kAdd + "added context " + hex(context) + " to the map."});
  EXPECT_LINES(driverCalls(kQueries),
               {"glXCreateNewContext(local, fb3, GLX_COLOR_INDEX_TYPE, NULL, 1) = ctx2"});
}

TEST_F(ContextCalls, WithTheOlderNameAreTheSame) {
  open();
  firstContext();
  const GLXContext context = GL_OF(host(), glXCreateContextWithConfigSGIX)(
      display_, configs_.doubled, GLX_RGBA_TYPE, nullptr, True);
  Lines lines = logged();
  lines.erase(lines.begin(), lines.begin() + 2); // the lookup of the function
  EXPECT_LINES(
      lines,
      {"D " + kSGIX + "START",
       "D " + kByConfig + "fbconfig " + hex(configs_.doubled) + ", render type 32788",
       lviLine(configs_.doubled),
       "D " + kByConfig + "forcing fbconfig " + hex(configs_.doubled) + ", render type 32788",
       kAdd + "added context " + hex(context) + " to the map."});
  EXPECT_LINES(driverCalls(kQueries),
               {"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = ctx2"});
}

TEST_F(ContextCalls, ByAttributesHandTheListOn) {
  open();
  const GLXContext share = firstContext();
  const int attribs[] = {GLX_CONTEXT_MAJOR_VERSION_ARB, 3, GLX_CONTEXT_MINOR_VERSION_ARB, 0, None};
  const GLXContext context = byAttribs_(display_, configs_.single, share, False, attribs);
  EXPECT_LINES(logged(),
               {"D " + kByAttribs + "fbconfig " + hex(configs_.single),
                "I " + kByAttribs + "trying to create an indirect context. Forcing direct.",
                lviLine(configs_.single),
                "D " + kByAttribs + "forcing fbconfig " + hex(configs_.single),
                kAdd + "added context " + hex(context) + " to the map."});
  EXPECT_LINES(driverCalls(kQueries),
               {"glXCreateContextAttribsARB(local, fb2, ctx1, 1, "
                "{GLX_CONTEXT_MAJOR_VERSION_ARB=3, GLX_CONTEXT_MINOR_VERSION_ARB=0, 0}) = ctx2"});
}

TEST_F(ContextCalls, ByAttributesCanBeMadeDebugContexts) {
  set("ZOL_GL_ADD_GL_DEBUG_CALLBACK", "1");
  open();
  firstContext();
  const int attribs[] = {GLX_CONTEXT_MAJOR_VERSION_ARB, 3, GLX_CONTEXT_MINOR_VERSION_ARB, 3, None};
  const GLXContext context = byAttribs_(display_, configs_.doubled, nullptr, True, attribs);
  EXPECT_LINES(logged(),
               {"D " + kByAttribs + "fbconfig " + hex(configs_.doubled), lviLine(configs_.doubled),
                "D " + kByAttribs + "forcing fbconfig " + hex(configs_.doubled),
                "I " + kByAttribs +
                    "Added GLX_CONTEXT_FLAGS_ARB and "
                    "GLX_CONTEXT_DEBUG_BIT_ARB to the attrib list",
                kAdd + "added context " + hex(context) + " to the map."});
  EXPECT_LINES(driverCalls(kQueries),
               {"glXCreateContextAttribsARB(local, fb1, NULL, 1, "
                "{GLX_CONTEXT_MAJOR_VERSION_ARB=3, GLX_CONTEXT_MINOR_VERSION_ARB=3, "
                "GLX_CONTEXT_FLAGS_ARB=1, 0}) = ctx2"});
  EXPECT_EQ(attribs[4], 0);
}

TEST_F(ContextCalls, ByNoAttributesCanBeMadeDebugContextsToo) {
  set("ZOL_GL_ADD_GL_DEBUG_CALLBACK", "1");
  open();
  firstContext();
  byAttribs_(display_, configs_.doubled, nullptr, True, nullptr);
  EXPECT_LINES(driverCalls(kQueries),
               {"glXCreateContextAttribsARB(local, fb1, NULL, 1, {GLX_CONTEXT_FLAGS_ARB=1, 0}) = "
                "ctx2"});
}

// The driver then finds the flag's name where the version should be, and still an end.
TEST_F(ContextCalls, ByAttributesWithAZeroAmongThemLoseTheRestToTheDebugFlag) {
  set("ZOL_GL_ADD_GL_DEBUG_CALLBACK", "1");
  open();
  firstContext();
  const int attribs[] = {GLX_CONTEXT_MAJOR_VERSION_ARB,
                         3,
                         GLX_CONTEXT_MINOR_VERSION_ARB,
                         0,
                         GLX_CONTEXT_PROFILE_MASK_ARB,
                         1,
                         None};
  byAttribs_(display_, configs_.doubled, nullptr, True, attribs);
  EXPECT_LINES(
      driverCalls(kQueries),
      {"glXCreateContextAttribsARB(local, fb1, NULL, 1, "
       "{GLX_CONTEXT_MAJOR_VERSION_ARB=3, GLX_CONTEXT_MINOR_VERSION_ARB=8340, GLX_USE_GL=0, 0}) = "
       "ctx2"});
}

// The program's flags stay where they are; the appended pair follows them.
TEST_F(ContextCalls, ByAttributesDoNotMergeTheDebugFlag) {
  set("ZOL_GL_ADD_GL_DEBUG_CALLBACK", "1");
  open();
  firstContext();
  const int attribs[] = {GLX_CONTEXT_FLAGS_ARB, GLX_CONTEXT_FORWARD_COMPATIBLE_BIT_ARB, None};
  byAttribs_(display_, configs_.doubled, nullptr, True, attribs);
  EXPECT_LINES(driverCalls(kQueries),
               {"glXCreateContextAttribsARB(local, fb1, NULL, 1, {GLX_CONTEXT_FLAGS_ARB=2, "
                "GLX_CONTEXT_FLAGS_ARB=1, 0}) = ctx2"});
}

// Destruction ---------------------------------------------------------------------------------

TEST_F(ContextCalls, DestructionOfAnIdleContextForgetsIt) {
  open();
  const GLXContext context = firstContext();
  destroy_(display_, context);
  EXPECT_LINES(logged(), {"D " + kDestroy + "START",
                          "D " + kDestroy + "context " + hex(context) + " removed from the map."});
  EXPECT_LINES(driverCalls(), {"glXDestroyContext(local, ctx1)"});
  destroy_(display_, nullptr);
  EXPECT_LINES(logged(), {"D " + kDestroy + "START"});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(ContextCalls, DestructionOfAnUnknownContextIsPassedOn) {
  open();
  const GLXContext context = firstContext();
  destroy_(display_, context);
  forget();
  const GLXContext foreign = reinterpret_cast<decltype(&::glXCreateNewContext)>(
      recorder().address("glXCreateNewContext"))(nullptr, nullptr, GLX_RGBA_TYPE, nullptr, True);
  forget();
  destroy_(display_, foreign);
  EXPECT_LINES(logged(), {"D " + kDestroy + "START",
                          "W " + kDestroy + "context " + hex(foreign) + " not found in the map."});
  EXPECT_LINES(driverCalls(), {"glXDestroyContext(local, ctx2)"});
}

TEST_F(ContextCalls, DestructionOfACurrentContextKeepsItsRecordUntilItIsReplaced) {
  open();
  const GLXContext context = firstContext();
  const Window window = createWindow(display_, visuals_.doubled, 40, 30);
  const auto makeCurrent = GL_OF(host(), glXMakeCurrent);
  ASSERT_EQ(makeCurrent(display_, window, context), True);
  forget();
  destroy_(display_, context);
  EXPECT_LINES(logged(), {"D " + kDestroy + "START",
                          "D " + kDestroy + "context " + hex(context) +
                              " is current to a thread, mark as destroyed without removing from "
                              "the map."});
  EXPECT_LINES(driverCalls(), {"glXDestroyContext(local, ctx1)"});

  EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  const std::string setCurrent = "void setCurrent(zol::gl::TSD*, GLXContext, const "
                                 "zol::gl::DrawableRef&, const zol::gl::DrawableRef&): ";
  EXPECT_TRUE(
      hasLine(logged(), "D " + setCurrent + "context " + hex(context) + " removed from the map."));
}

TEST_F(ContextCalls, DestructionOfAContextThatAnotherThreadHasCurrentHappensAtOnce) {
  open();
  const GLXContext context = firstContext();
  const Window window = createWindow(display_, visuals_.doubled, 40, 30);
  const auto makeCurrent = GL_OF(host(), glXMakeCurrent);
  std::thread other([&] {
    ASSERT_EQ(makeCurrent(display_, window, context), True);
    std::thread([&] { destroy_(display_, context); }).join();
    EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  });
  other.join();
  const Lines calls = driverCallsOfOthers(kQueries);
  EXPECT_TRUE(hasLine(calls, "glXDestroyContext(local, ctx1)"));
  const Lines lines = loggedByOthers();
  EXPECT_TRUE(hasLine(lines, "D " + kDestroy + "context " + hex(context) +
                                 " is current to a thread, mark as destroyed without removing "
                                 "from the map."));
  EXPECT_TRUE(hasLine(lines, "D void setCurrent(<any>): context " + hex(context) +
                                 " removed from the map."));
}

// Pairing -------------------------------------------------------------------------------------

TEST_F(ContextCalls, FailWhenTheLocalDisplayIsTheApplicationDisplay) {
  startServers({"--vendor-names", "zol mesa"});
  describeVisuals();
  set("ZOL_GL_DISPLAY", appName());
  ASSERT_EQ(enter(), 1);
  display_ = openDisplay();
  byVisual_ = GL_OF(host(), glXCreateContext);
  const Window window = createWindow(display_, visuals_.doubled, 40, 30);
  for (int attempt = 0; attempt < 2; ++attempt) {
    forget();
    EXPECT_EQ(byVisual_(display_, &visuals_.doubled, nullptr, True), nullptr);
    expectRefusal();
  }
  const GLXFBConfig config = configs_.doubled;
  const int none[] = {None};
  const Pixmap pixmap = XCreatePixmap(display_, window, 8, 8, 24);
  EXPECT_EQ(GL_OF(host(), glXCreateNewContext)(display_, config, GLX_RGBA_TYPE, nullptr, True),
            nullptr);
  expectRefusal();
  EXPECT_EQ(GL_OF(host(), glXCreateContextAttribsARB)(display_, config, nullptr, True, none),
            nullptr);
  expectRefusal();
  EXPECT_EQ(GL_OF(host(), glXCreatePbuffer)(display_, config, none), None);
  expectRefusal();
  EXPECT_EQ(GL_OF(host(), glXCreatePixmap)(display_, config, pixmap, none), None);
  expectRefusal();
  EXPECT_EQ(GL_OF(host(), glXCreateGLXPixmap)(display_, &visuals_.doubled, pixmap), None);
  expectRefusal();
  EXPECT_EQ(GL_OF(host(), glXCreateWindow)(display_, config, window, none), None);
  expectRefusal();
  EXPECT_EQ(GL_OF(host(), glXMakeCurrent)(display_, window, nullptr), False);
  expectRefusal();
}

TEST_F(ContextCalls, FailWhenTheSecondConnectionCannotBeOpened) {
  open();
  outside::fail("XOpenDisplay");
  EXPECT_EQ(byVisual_(display_, &visuals_.doubled, nullptr, True), nullptr);
  EXPECT_LINES(logged(),
               {"D " + kByVisual + "visual id " + hex(visuals_.doubled.visualid),
                "D " + kSetup + "setting TSD appdpy " + address(display_),
                "E " + kSetup + "Cannot open secondary connection to application display."});
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_NE(byVisual_(display_, &visuals_.doubled, nullptr, True), nullptr);
}

TEST_F(ContextCalls, FailWhenTheLocalDisplayCannotBeOpened) {
  open();
  outside::fail("XOpenDisplay", 2, 1); // the pairing's, and the caller's own attempt
  EXPECT_EQ(byVisual_(display_, &visuals_.doubled, nullptr, True), nullptr);
  const std::string failed =
      "E " + kLocal + "Cannot open connection to local display " + localName() + ".";
  EXPECT_LINES(logged(), {"D " + kByVisual + "visual id " + hex(visuals_.doubled.visualid),
                          "D " + kSetup + "setting TSD appdpy " + address(display_),
                          "D " + kSetup + "ZOL ext is enabled on display " + appName() + " (<ptr>)",
                          failed, failed, "D " + kByVisual + "no local display"});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(ContextCalls, ShareOneLocalDisplayAmongThreads) {
  open();
  firstContext();
  const int opened = static_cast<int>(outside::openedDisplays().size());
  std::thread([&] {
    EXPECT_NE(byVisual_(display_, &visuals_.doubled, nullptr, True), nullptr);
  }).join();
  const Lines all = outside::openedDisplays();
  EXPECT_EQ(Lines(all.begin() + opened, all.end()), Lines{appName()}); // the thread's second one
}

TEST_F(ContextCalls, FollowTheProgramToAnotherConnection) {
  open();
  firstContext();
  Display* const other = openDisplay();
  EXPECT_NE(byVisual_(other, &visuals_.doubled, nullptr, True), nullptr);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, "D " + kSetup + "switching TSD appdpy from " + address(display_) +
                                 " to " + address(other)));
  EXPECT_TRUE(hasLine(lines, "I " + kLocal + "opened local display " + localName() + " mapped to " +
                                 address(other)));
}

// The driver may know the same configuration by another handle there: it is looked up by its id,
// among all of that connection's.
TEST_F(ContextCalls, OnAnotherConnectionLookTheirConfigurationUpThere) {
  const std::string all = "glXGetFBConfigs(local, 0, &)";
  open();
  firstContext();
  byVisual_(display_, &visuals_.alpha, nullptr, True);
  EXPECT_FALSE(hasLine(driverCalls(), all)); // the map's own connection
  Display* const other = openDisplay();
  EXPECT_NE(byVisual_(other, &visuals_.alpha, nullptr, True), nullptr);
  const Lines calls = driverCalls();
  EXPECT_TRUE(hasLine(calls, all));
  EXPECT_EQ(calls.back(), "glXCreateNewContext(local, fb3, GLX_RGBA_TYPE, NULL, 1) = ctx3");
}

TEST_F(ContextCalls, StayOnTheFirstConnectionWhenToldTo) {
  set("ZOL_GL_OVERRIDE_CACHED_DISPLAY", "0");
  open();
  firstContext();
  Display* const other = openDisplay();
  EXPECT_NE(byVisual_(other, &visuals_.doubled, nullptr, True), nullptr);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, "D " + kSetup + "switching TSD appdpy from " + address(display_) +
                                 " to " + address(other)));
  EXPECT_FALSE(hasLine(lines, "I " + kLocal + "<any>"));
}

// A program may open a display of its own that is no application display of ours.
class ForeignDisplay : public ContextCalls {
protected:
  void SetUp() override {
    startServers();
    set("ZOL_RIG_PLAIN", startPlainServer().name());
  }
};

RIG_SCENARIO(createsAContextOnAPlainServer) {
  VendorHost host;
  if (host.enter() != 1) return 99;
  Display* const display = XOpenDisplay(std::getenv("ZOL_RIG_PLAIN"));
  XVisualInfo visual{};
  visual.visualid = XVisualIDFromVisual(DefaultVisual(display, 0));
  GL_OF(host, glXCreateContext)(display, &visual, nullptr, True);
  return 98;
}

RIG_SCENARIO(createsAPbufferOnAPlainServer) {
  VendorHost host;
  if (host.enter() != 1) return 99;
  Display* const display = XOpenDisplay(std::getenv("ZOL_RIG_PLAIN"));
  const int none[] = {None};
  GL_OF(host, glXCreatePbuffer)(display, nullptr, none);
  return 98;
}

TEST_F(ForeignDisplay, EndsTheProcess) {
  for (const char* scenario : {"createsAContextOnAPlainServer", "createsAPbufferOnAPlainServer"}) {
    const ScenarioResult result = runScenario(scenario);
    EXPECT_EQ(result.exitStatus, 20) << scenario;
    EXPECT_TRUE(hasLine(texts(LogFile(testDirectory(), result.process).all()),
                        "E " + kSetup +
                            "You should install Xzol to use ZOL (ZOL-V1 extension not "
                            "found on " +
                            std::getenv("ZOL_RIG_PLAIN") + ")."))
        << scenario;
  }
}

} // namespace
