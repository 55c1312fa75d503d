#include "rig/lock_probe.h"
#include "rig/odd_configs.h"
#include "visual/attribute_names.h"

#include <optional>
#include <sys/resource.h>
#include <thread>

using namespace zol::rig;

namespace {

const std::string kChoose =
    "__GLXFBConfigRec** zol_glXChooseFBConfig(Display*, int, const int*, int*)";
const std::string kGetAll = "__GLXFBConfigRec** zol_glXGetFBConfigs(Display*, int, int*)";
const std::string kAttrib = "int zol_glXGetFBConfigAttrib(Display*, GLXFBConfig, int, int*)";
const std::string kVisual = "XVisualInfo* zol_glXGetVisualFromFBConfig(Display*, GLXFBConfig)";
const std::string kGetLVI =
    "zol::gl::LocalVisualInfo* _getLVI(Display*, GLXFBConfig, zol::gl::TSD*)";

struct XFreed {
  void operator()(void* memory) const { XFree(memory); }
};
using ConfigArray = std::unique_ptr<GLXFBConfig, XFreed>;
using VisualPtr = std::unique_ptr<XVisualInfo, XFreed>;

class FBConfigs : public OddConfigsRig {
protected:
  void findFunctions() override {
    choose_ = GL_OF(host(), glXChooseFBConfig);
    getAttrib_ = GL_OF(host(), glXGetFBConfigAttrib);
    getVisual_ = GL_OF(host(), glXGetVisualFromFBConfig);
  }

  decltype(&::glXChooseFBConfig) choose_ = nullptr;
  decltype(&::glXGetFBConfigAttrib) getAttrib_ = nullptr;
  decltype(&::glXGetVisualFromFBConfig) getVisual_ = nullptr;
};

// Choosing -------------------------------------------------------------------------------------

TEST_F(FBConfigs, AreTheDriversHandles) {
  open();
  int count = 0;
  const int list[] = {GLX_DOUBLEBUFFER, False, GLX_DEPTH_SIZE, 16, 0};
  recorder().setChosenConfigs({configs_.single});
  const ConfigArray chosen(choose_(display_, 3, list, &count));
  ASSERT_NE(chosen, nullptr);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(*chosen, configs_.single);
  EXPECT_LINES(logged(), {debugLine(kChoose, "START"), debugLine(kChoose, "GLX_DOUBLEBUFFER 0"),
                          debugLine(kChoose, "GLX_DEPTH_SIZE 16"), foundLine(configs_.single)});
  // On the local display's screen, whatever was asked for.
  EXPECT_LINES(driverCalls(),
               {"glXChooseFBConfig(local, 0, {GLX_DOUBLEBUFFER=0, GLX_DEPTH_SIZE=16, 0}, &)"} +
                   lookUpCalls("fb2"));
}

TEST_F(FBConfigs, OfNoRequestAreAllThatTheMapHas) {
  open();
  const auto getAll = GL_OF(host(), glXGetFBConfigs);
  forget();
  int count = 0;
  const ConfigArray all(getAll(display_, 0, &count));
  ASSERT_NE(all, nullptr);
  // The one that is only a candidate counts too; those without a visual of the program's do not.
  EXPECT_EQ(
      std::vector<GLXFBConfig>(all.get(), all.get() + count),
      (std::vector<GLXFBConfig>{configs_.doubled, configs_.single, configs_.alpha, candidate_}));
  EXPECT_LINES(logged(),
               {debugLine(kGetAll, "START"), debugLine(kChoose, "START"),
                foundLine(configs_.doubled), foundLine(configs_.single),
                foundLine(configs_.alpha)} +
                   candidateLines(candidate_) + notFoundLines(stranger_) +
                   Lines{debugLine(kGetLVI, "LVI not found for fbconfig " + address(blind_) +
                                                " (local visual 0). Trying another way..."),
                         "E " + kGetLVI + ": No visual found on local display with id 0"});
  EXPECT_EQ(driverCalls().front(), "glXChooseFBConfig(local, 0, NULL, &)");
}

TEST_F(FBConfigs, KeepTheDriversOrder) {
  open();
  recorder().setChosenConfigs({candidate_, blind_, configs_.alpha, stranger_, configs_.doubled});
  int count = 0;
  const ConfigArray chosen(choose_(display_, 0, nullptr, &count));
  EXPECT_EQ(std::vector<GLXFBConfig>(chosen.get(), chosen.get() + count),
            (std::vector<GLXFBConfig>{candidate_, configs_.alpha, configs_.doubled}));
}

TEST_F(FBConfigs, ThatNoVisualStandsForAreAnEmptyArray) {
  open();
  recorder().setChosenConfigs({stranger_, blind_});
  int count = -1;
  const ConfigArray chosen(choose_(display_, 0, nullptr, &count));
  EXPECT_NE(chosen, nullptr);
  EXPECT_EQ(count, 0);
}

TEST_F(FBConfigs, OfAnEmptyAnswerAreItsArrayAndNone) {
  open();
  for (const int told : {0, -3}) {
    recorder().setAnswer("glXChooseFBConfig", 0, {told});
    int count = 7;
    const ConfigArray chosen(choose_(display_, 0, nullptr, &count));
    EXPECT_NE(chosen, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_LINES(driverCalls(), {"glXChooseFBConfig(local, 0, NULL, &)"});
  }
}

TEST_F(FBConfigs, ThatTheDriverDoesNotFindAreNull) {
  open();
  recorder().setChosenConfigs({});
  int count = 7;
  EXPECT_EQ(choose_(display_, 0, nullptr, &count), nullptr);
  EXPECT_EQ(count, 0); // the driver's
  recorder().fail("glXChooseFBConfig");
  count = 7;
  EXPECT_EQ(choose_(display_, 0, nullptr, &count), nullptr);
  EXPECT_EQ(count, 7);
}

TEST_F(FBConfigs, ThatNobodyCountsAreNull) {
  open();
  EXPECT_EQ(choose_(display_, 0, nullptr, nullptr), nullptr);
  EXPECT_LINES(logged(), {debugLine(kChoose, "START")});
  EXPECT_LINES(driverCalls(), {"glXChooseFBConfig(local, 0, NULL, NULL)"});
}

TEST_F(FBConfigs, WithoutALocalDisplayAreNull) {
  prepare();
  outside::fail("XOpenDisplay", 100);
  int count = 7;
  EXPECT_EQ(choose_(display_, 0, nullptr, &count), nullptr);
  EXPECT_EQ(count, 7);
  outside::fail("XOpenDisplay", 100, 1); // the thread's second connection is had
  EXPECT_EQ(choose_(display_, 0, nullptr, &count), nullptr);
  EXPECT_EQ(choose_(nullptr, 0, nullptr, &count), nullptr);
  EXPECT_EQ(driverCalls(), Lines{});
}

#ifndef __SANITIZE_ADDRESS__ // which needs far more addresses than it leaves a program
TEST_F(FBConfigs, ThatThereIsNoMemoryForAreNull) {
  open();
  recorder().setAnswer("glXChooseFBConfig", 0, {0x7fffffff});
  const rlimit small = {rlim_t{4} << 30, rlim_t{4} << 30};
  ASSERT_EQ(setrlimit(RLIMIT_AS, &small), 0);
  int count = 0;
  testing::internal::CaptureStderr();
  EXPECT_EQ(choose_(display_, 0, nullptr, &count), nullptr);
  EXPECT_TRUE(testing::internal::GetCapturedStderr().find("could not allocate fbconfig array") !=
              std::string::npos);
  EXPECT_LINES(logged(), {debugLine(kChoose, "START"),
                          "E " + kChoose + ": could not allocate fbconfig array"});
}
#endif

TEST_F(FBConfigs, RequestIsLoggedAndPassedOnAsItIs) {
  open();
  recorder().setChosenConfigs({});
  const int list[] = {2,      1,  3,      2,  5,      1,    6,      0,  7,    3,  8,      4,
                      9,      5,  10,     6,  11,     7,    12,     8,  13,   9,  14,     10,
                      15,     11, 16,     12, 17,     13,   0x20,   14, 0x22, -1, 0x23,   0x8000,
                      0x24,   15, 0x25,   16, 0x26,   17,   0x27,   18, 0x28, 19, 0x8010, 20,
                      0x8011, 21, 0x8012, 22, 0x8013, 0x2a, 100001, 23, 0};
  int count = 0;
  choose_(display_, 0, list, &count);
  Lines expected{debugLine(kChoose, "START")};
  for (const char* const text :
       {"GLX_BUFFER_SIZE 1",
        "GLX_LEVEL 2",
        "GLX_DOUBLEBUFFER 1",
        "GLX_STEREO 0",
        "GLX_AUX_BUFFERS 3",
        "GLX_RED_SIZE 4",
        "GLX_GREEN_SIZE 5",
        "GLX_BLUE_SIZE 6",
        "GLX_ALPHA_SIZE 7",
        "GLX_DEPTH_SIZE 8",
        "GLX_STENCIL_SIZE 9",
        "GLX_ACCUM_RED_SIZE 10",
        "GLX_ACCUM_GREEN_SIZE 11",
        "GLX_ACCUM_BLUE_SIZE 12",
        "GLX_ACCUM_ALPHA_SIZE 13",
        "GLX_CONFIG_CAVEAT 14",
        "GLX_X_VISUAL_TYPE -1",
        "GLX_ACCUM_ALPHA_SIZE 32768", // the transparent type, under this name
        "GLX_TRANSPARENT_INDEX_VALUE 15",
        "GLX_TRANSPARENT_RED_VALUE 16",
        "GLX_TRANSPARENT_GREEN_VALUE 17",
        "GLX_TRANSPARENT_BLUE_VALUE 18",
        "GLX_TRANSPARENT_ALPHA_VALUE 19",
        "GLX_DRAWABLE_TYPE 20",
        "GLX_RENDER_TYPE 21",
        "GLX_X_RENDERABLE 22",
        "GLX_FBCONFIG_ID 2a",
        "GLX_SAMPLES 23"}) {
    expected.push_back(debugLine(kChoose, text));
  }
  EXPECT_EQ(logged(), expected);
  EXPECT_LINES(
      driverCalls(),
      {"glXChooseFBConfig(local, 0, {GLX_BUFFER_SIZE=1, GLX_LEVEL=2, GLX_DOUBLEBUFFER=1, "
       "GLX_STEREO=0, GLX_AUX_BUFFERS=3, GLX_RED_SIZE=4, GLX_GREEN_SIZE=5, GLX_BLUE_SIZE=6, "
       "GLX_ALPHA_SIZE=7, GLX_DEPTH_SIZE=8, GLX_STENCIL_SIZE=9, GLX_ACCUM_RED_SIZE=10, "
       "GLX_ACCUM_GREEN_SIZE=11, GLX_ACCUM_BLUE_SIZE=12, GLX_ACCUM_ALPHA_SIZE=13, "
       "GLX_CONFIG_CAVEAT=14, GLX_X_VISUAL_TYPE=-1, GLX_TRANSPARENT_TYPE=32768, "
       "GLX_TRANSPARENT_INDEX_VALUE=15, GLX_TRANSPARENT_RED_VALUE=16, "
       "GLX_TRANSPARENT_GREEN_VALUE=17, GLX_TRANSPARENT_BLUE_VALUE=18, "
       "GLX_TRANSPARENT_ALPHA_VALUE=19, GLX_DRAWABLE_TYPE=20, GLX_RENDER_TYPE=21, "
       "GLX_X_RENDERABLE=22, GLX_FBCONFIG_ID=42, GLX_SAMPLES=23, 0}, &)"});
}

// An attribute that is unknown to the log is one int to it, so that its value comes next.
TEST_F(FBConfigs, RequestFallsOutOfStepInTheLogOnly) {
  open();
  recorder().setChosenConfigs({});
  int count = 0;
  const int plain[] = {GLX_SAMPLE_BUFFERS, 1, GLX_SAMPLES, 4, 0};
  choose_(display_, 0, plain, &count);
  EXPECT_LINES(logged(),
               {debugLine(kChoose, "START"), debugLine(kChoose, "unknown attribute 186a0"),
                debugLine(kChoose, "unknown attribute 1"), debugLine(kChoose, "GLX_SAMPLES 4")});
  const int shifted[] = {GLX_SAMPLE_BUFFERS, 5, GLX_SAMPLES, 4, 0x8016, 0, 0x8017, 9, 0};
  choose_(display_, 0, shifted, &count);
  EXPECT_LINES(logged(),
               {debugLine(kChoose, "START"), debugLine(kChoose, "unknown attribute 186a0"),
                debugLine(kChoose, "GLX_DOUBLEBUFFER 100001"),
                debugLine(kChoose, "unknown attribute 4"),
                debugLine(kChoose, "unknown attribute 8016")});
  EXPECT_LINES(driverCalls(),
               {"glXChooseFBConfig(local, 0, {GLX_SAMPLE_BUFFERS=1, GLX_SAMPLES=4, 0}, &)",
                "glXChooseFBConfig(local, 0, {GLX_SAMPLE_BUFFERS=5, GLX_SAMPLES=4, "
                "GLX_MAX_PBUFFER_WIDTH=0, GLX_MAX_PBUFFER_HEIGHT=9, 0}, &)"});
}

// Out of step or not, the log does not read beyond the program's list.
TEST_F(FBConfigs, RequestIsNotReadBeyondItsEnd) {
  open();
  recorder().setChosenConfigs({});
  int count = 0;
  const int list[] = {GLX_SAMPLE_BUFFERS, 5, 0, GLX_DEPTH_SIZE, 77, 0};
  choose_(display_, 0, list, &count);
  EXPECT_LINES(logged(),
               {debugLine(kChoose, "START"), debugLine(kChoose, "unknown attribute 186a0"),
                debugLine(kChoose, "GLX_DOUBLEBUFFER 0")});
}

TEST_F(FBConfigs, AreThoseOfTheLocalDisplaysOwnScreen) {
  startServersWithSecondScreen();
  begin();
  Display* const display = openDisplay();
  const auto choose = GL_OF(host(), glXChooseFBConfig);
  const auto getAll = GL_OF(host(), glXGetFBConfigs);
  recorder().setChosenConfigs({});
  forget();
  int count = 0;
  choose(display, 0, nullptr, &count);
  getAll(display, 0, &count);
  EXPECT_LINES(driverCalls(),
               {"glXChooseFBConfig(local, 1, NULL, &)", "glXChooseFBConfig(local, 1, NULL, &)"});
}

// Attributes -----------------------------------------------------------------------------------

TEST_F(FBConfigs, AttributesAreTheDrivers) {
  open();
  const auto known = attributeNames(AttributeName::FBCONFIGS);
  ASSERT_EQ(known.size(), 31u);
  const int screenful = 1000;
  FakeConfig config{0, {}};
  for (const auto& [attribute, name] : known)
    config.attributes[attribute] = screenful + attribute;
  GLXFBConfig const all = recorder().addConfig(config);
  GLXFBConfig const none = recorder().addConfig({0, {}});
  for (const auto& [attribute, name] : known) {
    int value = 5;
    EXPECT_EQ(getAttrib_(display_, all, attribute, &value), 0);
    EXPECT_EQ(value, screenful + attribute);
    EXPECT_EQ(getAttrib_(display_, none, attribute, &value), GLX_BAD_ATTRIBUTE);
    EXPECT_EQ(value, screenful + attribute);
    EXPECT_LINES(logged(), {debugLine(kAttrib, "START"), debugLine(kAttrib, name),
                            debugLine(kAttrib, "return value 0"), debugLine(kAttrib, "START"),
                            debugLine(kAttrib, name), debugLine(kAttrib, "return value 2")});
    EXPECT_EQ(driverCalls().size(), 2u);
  }
  int value = 0;
  getAttrib_(display_, all, GLX_DEPTH_SIZE, &value);
  EXPECT_LINES(driverCalls(), {"glXGetFBConfigAttrib(local, fb7, 12, &)"});
}

TEST_F(FBConfigs, UnknownAttributesAreTheDriversToo) {
  open();
  GLXFBConfig const config = recorder().addConfig({0, {{0x20B2, 77}}});
  int value = 5;
  EXPECT_EQ(getAttrib_(display_, config, 0x20B2, &value), 0);
  EXPECT_EQ(value, 77);
  EXPECT_EQ(getAttrib_(display_, config, GLX_USE_GL, &value), GLX_BAD_ATTRIBUTE);
  EXPECT_LINES(logged(),
               {debugLine(kAttrib, "START"), debugLine(kAttrib, "Unrecognized attribute 8370"),
                debugLine(kAttrib, "return value 0"), debugLine(kAttrib, "START"),
                debugLine(kAttrib, "Unrecognized attribute 1"),
                debugLine(kAttrib, "return value 2")});
  EXPECT_LINES(driverCalls(), {"glXGetFBConfigAttrib(local, fb7, 8370, &)",
                               "glXGetFBConfigAttrib(local, fb7, 1, &)"});
}

TEST_F(FBConfigs, CaveatIsAskedForTwice) {
  open();
  const std::pair<int, Lines> cases[] = {
      {GLX_NONE, {debugLine(kAttrib, "GLX_CONFIG_CAVEAT: GL_NONE")}},
      {GLX_SLOW_CONFIG, {debugLine(kAttrib, "GLX_CONFIG_CAVEAT: GLX_SLOW_CONFIG")}},
      {GLX_NON_CONFORMANT_CONFIG,
       {debugLine(kAttrib, "GLX_CONFIG_CAVEAT: GLX_NON_CONFORMANT_CONFIG")}},
      {5, {}},
  };
  for (const auto& [caveat, lines] : cases) {
    GLXFBConfig const config = recorder().addConfig({0, {{GLX_CONFIG_CAVEAT, caveat}}});
    int value = 0;
    EXPECT_EQ(getAttrib_(display_, config, GLX_CONFIG_CAVEAT, &value), 0);
    EXPECT_EQ(value, caveat);
    EXPECT_LINES(logged(), {debugLine(kAttrib, "START")} + lines +
                               Lines{debugLine(kAttrib, "return value 0")});
    EXPECT_LINES(driverCalls(), {"glXGetFBConfigAttrib(local, fb<num>, 32, &)",
                                 "glXGetFBConfigAttrib(local, fb<num>, 32, &)"});
  }
}

// What counts is the second answer.
TEST_F(FBConfigs, CaveatOfADriverThatThinksAgain) {
  open();
  GLXFBConfig const config = recorder().addConfig({0, {}});
  recorder().fail("glXGetFBConfigAttrib"); // the first: success, nothing told
  int value = GLX_SLOW_CONFIG;
  EXPECT_EQ(getAttrib_(display_, config, GLX_CONFIG_CAVEAT, &value), GLX_BAD_ATTRIBUTE);
  EXPECT_LINES(logged(), {debugLine(kAttrib, "START"),
                          debugLine(kAttrib, "GLX_CONFIG_CAVEAT: GLX_SLOW_CONFIG"),
                          debugLine(kAttrib, "return value 2")});
}

TEST_F(FBConfigs, VisualIdIsTheProgramsOwn) {
  open();
  for (const auto& [config, visual, name] :
       {std::tuple{configs_.doubled, visuals_.doubled.visualid, "fb1"},
        std::tuple{configs_.single, visuals_.single.visualid, "fb2"},
        std::tuple{configs_.alpha, visuals_.alpha.visualid, "fb3"}}) {
    int value = 0;
    EXPECT_EQ(getAttrib_(display_, config, GLX_VISUAL_ID, &value), 0);
    EXPECT_EQ(static_cast<VisualID>(value), visual);
    EXPECT_LINES(logged(), {debugLine(kAttrib, "START"), debugLine(kAttrib, "GLX_VISUAL_ID"),
                            debugLine(kAttrib, "return value 0")});
    EXPECT_LINES(driverCalls(),
                 {std::string("glXGetFBConfigAttrib(local, ") + name + ", GLX_VISUAL_ID, &)"});
  }
}

TEST_F(FBConfigs, VisualIdOfACandidateIsThatOfItsEntry) {
  open();
  int value = 0;
  EXPECT_EQ(getAttrib_(display_, candidate_, GLX_VISUAL_ID, &value), 0);
  EXPECT_EQ(static_cast<VisualID>(value), visuals_.doubled.visualid);
  EXPECT_LINES(logged(), {debugLine(kAttrib, "START"), debugLine(kAttrib, "GLX_VISUAL_ID"),
                          debugLine(kAttrib, "return value 0")});
  EXPECT_LINES(driverCalls(), {"glXGetFBConfigAttrib(local, fb4, GLX_VISUAL_ID, &)",
                               "glXGetFBConfigAttrib(local, fb4, GLX_FBCONFIG_ID, &)",
                               "glXGetFBConfigAttrib(local, fb1, GLX_FBCONFIG_ID, &)",
                               "glXGetFBConfigAttrib(local, fb3, GLX_FBCONFIG_ID, &)",
                               "glXGetFBConfigAttrib(local, fb4, GLX_FBCONFIG_ID, &)"});
}

TEST_F(FBConfigs, VisualIdThatNobodyHasStaysTheLocalOne) {
  open();
  int value = 0;
  EXPECT_EQ(getAttrib_(display_, stranger_, GLX_VISUAL_ID, &value), 0);
  EXPECT_EQ(static_cast<VisualID>(value), strangerVisual_);
  EXPECT_LINES(logged(), {debugLine(kAttrib, "START"), debugLine(kAttrib, "GLX_VISUAL_ID"),
                          debugLine(kAttrib, "GLX_VISUAL_ID FAILED for visual id " +
                                                 std::to_string(strangerVisual_)),
                          debugLine(kAttrib, "return value 0")});
  // Every candidate of every entry is asked.
  EXPECT_LINES(driverCalls(), {"glXGetFBConfigAttrib(local, fb5, GLX_VISUAL_ID, &)",
                               "glXGetFBConfigAttrib(local, fb5, GLX_FBCONFIG_ID, &)",
                               "glXGetFBConfigAttrib(local, fb1, GLX_FBCONFIG_ID, &)",
                               "glXGetFBConfigAttrib(local, fb3, GLX_FBCONFIG_ID, &)",
                               "glXGetFBConfigAttrib(local, fb4, GLX_FBCONFIG_ID, &)",
                               "glXGetFBConfigAttrib(local, fb2, GLX_FBCONFIG_ID, &)",
                               "glXGetFBConfigAttrib(local, fb3, GLX_FBCONFIG_ID, &)"});
}

// What counts is the answer about the visual.
TEST_F(FBConfigs, VisualIdOfAConfigWithoutAnIdStaysTheLocalOne) {
  open();
  GLXFBConfig const config = recorder().addConfig({strangerVisual_, {}});
  int value = 0;
  EXPECT_EQ(getAttrib_(display_, config, GLX_VISUAL_ID, &value), 0);
  EXPECT_EQ(static_cast<VisualID>(value), strangerVisual_);
  EXPECT_EQ(logged().back(), debugLine(kAttrib, "return value 0"));
}

TEST_F(FBConfigs, AttributesWithoutALocalDisplayAreZeroAndNothingTold) {
  prepare();
  outside::fail("XOpenDisplay", 1000, 1);
  int value = 5;
  EXPECT_EQ(getAttrib_(display_, configs_.doubled, GLX_DEPTH_SIZE, &value), 0);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(driverCalls({"glXQueryExtensionsString"}), Lines{});
}

TEST_F(FBConfigs, AttributesMayBeTheFirstThingAThreadAsksFor) {
  open();
  const int opened = outside::calls("XOpenDisplay");
  std::thread([&] {
    int value = 0;
    EXPECT_EQ(getAttrib_(display_, configs_.doubled, GLX_VISUAL_ID, &value), 0);
    EXPECT_EQ(static_cast<VisualID>(value), visuals_.doubled.visualid);
  }).join();
  EXPECT_FALSE(hasLine(loggedByOthers(), "E <any>"));
  EXPECT_EQ(outside::calls("XOpenDisplay"), opened + 1); // its second connection
}

// Visuals --------------------------------------------------------------------------------------

// Who comes while the map is built waits for it and finds it whole.
TEST_F(FBConfigs, AreMappedToVisualsOnceWhicheverThreadsAsk) {
  prepare();
  const auto getConfig = GL_OF(host(), glXGetConfig);
  forget();
  int status = -1, usesGL = 0;
  {
    const LockProbe second("glXChooseFBConfig", [&] {
      status = getConfig(display_, &visuals_.alpha, GLX_USE_GL, &usesGL);
    });
    int value = 0;
    EXPECT_EQ(getAttrib_(display_, configs_.doubled, GLX_VISUAL_ID, &value), 0);
    EXPECT_EQ(static_cast<VisualID>(value), visuals_.doubled.visualid);
    EXPECT_TRUE(second.held());
  }
  EXPECT_EQ(status, 0);
  EXPECT_EQ(usesGL, 1);
  const std::string obtained = "I void initializeVisualMap(Display*, int, zol::gl::TSD*): obtained "
                               "<num> visuals for appDisplay";
  EXPECT_TRUE(hasLine(logged(), obtained));
  EXPECT_FALSE(hasLine(loggedByOthers(), obtained));
}

TEST_F(FBConfigs, VisualIsTheProgramsOwn) {
  open();
  for (const auto& [config, visual] : {std::pair{configs_.single, visuals_.single.visualid},
                                       std::pair{configs_.alpha, visuals_.alpha.visualid}}) {
    const VisualPtr found(getVisual_(display_, config));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->visualid, visual);
    EXPECT_LINES(logged(),
                 {debugLine(kVisual, "START"), foundLine(config), debugLine(kVisual, "lvi <ptr>."),
                  debugLine(kVisual, "found visual " + hex(visual))});
  }
  EXPECT_TRUE(sameLines(lookUpCalls("fb2") + lookUpCalls("fb3"), driverCalls()));
}

TEST_F(FBConfigs, VisualOfACandidateIsThatOfItsEntry) {
  open();
  const VisualPtr found(getVisual_(display_, candidate_));
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->visualid, visuals_.doubled.visualid);
}

TEST_F(FBConfigs, VisualOfAStrangerIsNone) {
  open();
  EXPECT_EQ(getVisual_(display_, stranger_), nullptr);
  EXPECT_LINES(logged(), {debugLine(kVisual, "START")} + notFoundLines(stranger_) +
                             Lines{debugLine(kVisual, "no lvi.")});
}

TEST_F(FBConfigs, VisualThatTheProgramsDisplayDoesNotKnowIsNone) {
  open();
  outside::fail("XGetVisualInfo");
  EXPECT_EQ(getVisual_(display_, configs_.single), nullptr);
  EXPECT_LINES(logged(),
               {debugLine(kVisual, "START"), foundLine(configs_.single),
                debugLine(kVisual, "lvi <ptr>."),
                debugLine(kVisual, "cannot find visual " + hex(visuals_.single.visualid))});
}

TEST_F(FBConfigs, AreAskedForUnderTheLocalDisplaysMutex) {
  open();
  int value = 0;
  EXPECT_LOCKED(host(), display_, "glXChooseFBConfig",
                ConfigArray(choose_(display_, 0, nullptr, &value)));
  for (const int attribute :
       {GLX_DEPTH_SIZE, GLX_CONFIG_CAVEAT, GLX_VISUAL_ID, GLX_USE_GL /* unknown */}) {
    EXPECT_LOCKED(host(), display_, "glXGetFBConfigAttrib",
                  getAttrib_(display_, configs_.doubled, attribute, &value));
  }
}

// The ids of the candidates are asked for without it.
TEST_F(FBConfigs, CandidatesAreComparedWithoutTheLocalDisplaysMutex) {
  open();
  const auto pairOnly = GL_OF(host(), glXCreateWindow);
  const auto useXFont = GL_OF(host(), glXUseXFont);
  const Font font = XLoadFont(display_, "fixed");
  XSync(display_, False);
  // Takes the mutex, and is no call on the local display to the driver, which knows only one
  // thread.
  const auto question = [&] {
    pairOnly(display_, configs_.doubled, 1, nullptr);
    useXFont(font, 65, 1, 0);
  };
  const std::string function = "glXGetFBConfigAttrib";
  std::optional<LockProbe> first(std::in_place, function, question);
  int value = 0;
  getAttrib_(display_, candidate_, GLX_VISUAL_ID, &value);
  EXPECT_TRUE(first->called());
  EXPECT_TRUE(first->held());
  first.reset();

  // The configuration itself, the first candidate.
  for (const int later : {1, 2}) {
    std::optional<LockProbe> probe;
    int calls = 0;
    recorder().setHook(function, [&] {
      if (++calls == later) probe.emplace(function, question); // at the call after this one
    });
    getAttrib_(display_, candidate_, GLX_VISUAL_ID, &value);
    EXPECT_TRUE(probe->called());
    EXPECT_FALSE(probe->held());
  }
}

// Older names ----------------------------------------------------------------------------------

TEST_F(FBConfigs, OlderNamesAreTheSameFunctions) {
  open();
  const auto choose = GL_OF(host(), glXChooseFBConfigSGIX);
  const auto getAttrib = GL_OF(host(), glXGetFBConfigAttribSGIX);
  const auto getVisual = GL_OF(host(), glXGetVisualFromFBConfigSGIX);
  forget();
  const auto withoutStart = [this](const std::string& label) {
    Lines lines = logged();
    EXPECT_EQ(lines.front(), debugLine(label, "START"));
    lines.erase(lines.begin());
    return lines;
  };

  int list[] = {GLX_DEPTH_SIZE, 16, 0};
  int count = 0, countSGIX = 0;
  const ConfigArray chosen(choose_(display_, 0, list, &count));
  const Lines chooseLines = logged(), chooseCalls = driverCalls();
  const ConfigArray chosenSGIX(choose(display_, 0, list, &countSGIX));
  EXPECT_EQ(withoutStart("__GLXFBConfigRec** zol_glXChooseFBConfigSGIX(Display*, int, int*, int*)"),
            chooseLines);
  EXPECT_EQ(driverCalls(), chooseCalls);
  EXPECT_EQ(std::vector<GLXFBConfig>(chosen.get(), chosen.get() + count),
            std::vector<GLXFBConfig>(chosenSGIX.get(), chosenSGIX.get() + countSGIX));

  int value = 0;
  EXPECT_EQ(getAttrib_(display_, candidate_, GLX_VISUAL_ID, &value), 0);
  const Lines attribLines = logged(), attribCalls = driverCalls();
  int valueSGIX = 0;
  EXPECT_EQ(getAttrib(display_, candidate_, GLX_VISUAL_ID, &valueSGIX), 0);
  EXPECT_EQ(valueSGIX, value);
  EXPECT_EQ(withoutStart("int zol_glXGetFBConfigAttribSGIX(Display*, GLXFBConfigSGIX, int, int*)"),
            attribLines);
  EXPECT_EQ(driverCalls(), attribCalls);

  const VisualPtr visual(getVisual_(display_, configs_.alpha));
  const Lines visualLines = logged(), visualCalls = driverCalls();
  const VisualPtr visualSGIX(getVisual(display_, configs_.alpha));
  EXPECT_EQ(visualSGIX->visualid, visual->visualid);
  EXPECT_EQ(
      withoutStart("XVisualInfo* zol_glXGetVisualFromFBConfigSGIX(Display*, GLXFBConfigSGIX)"),
      visualLines);
  EXPECT_EQ(driverCalls(), visualCalls);
}

TEST_F(FBConfigs, OfAVisualAreNeverTold) {
  open();
  const auto fromVisual = GL_OF(host(), glXGetFBConfigFromVisualSGIX);
  forget();
  EXPECT_EQ(fromVisual(display_, &visuals_.doubled), nullptr);
  EXPECT_EQ(fromVisual(nullptr, nullptr), nullptr);
  const std::string label =
      "__GLXFBConfigRec* zol_glXGetFBConfigFromVisualSGIX(Display*, XVisualInfo*)";
  EXPECT_LINES(logged(), {debugLine(label, "START"), debugLine(label, "START")});
  EXPECT_EQ(driverCalls(), Lines{});
}

} // namespace
