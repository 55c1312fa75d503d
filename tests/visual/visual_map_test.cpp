#include "display/pairing.h"
#include "foundation/conf_settings.h"
#include "visual/fake_displays.h"
#include "visual/fbconfig_owners.h"
#include "visual/fbconfig_queries.h"
#include "visual/filled_map.h"
#include "visual/own_process.h"
#include "visual/recording.h"
#include "visual/visual_map.h"
#include "visual/visual_queries.h"

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <new>

using recording::messages;
using zol::gl::LocalVisualInfo;

namespace {

using Lines = std::vector<std::string>;

std::string format(const char* text, const void* a, const void* b = nullptr) {
  char line[256];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
  snprintf(line, sizeof(line), text, a, b);
#pragma GCC diagnostic pop
  return line;
}

std::vector<LocalVisualInfo*> entries() {
  zol::MutexLock lock(getLVIMutex());
  return {getListLocalVisuals()->begin(), getListLocalVisuals()->end()};
}

LocalVisualInfo* firstOwner() {
  zol::MutexLock lock(getLVIMutex());
  return getFBConfigOwners()->find(fake::config(0), false, 24);
}

void build() {
  initializeVisualMap(fake::app, 1, nullptr);
}

size_t countCalls(const std::string& prefix) {
  size_t count = 0;
  for (const std::string& call : recording::calls())
    count += call.starts_with(prefix);
  return count;
}

// One 24-bit application visual that finds three 24-bit configs.
fake::World& threeConfigs(int samples0, int samples1, int samples2, int appSamples = 0) {
  fake::World& world = fake::reset();
  world.appVisuals = {{0x21, 24, fake::rgba(true, 0, appSamples)}};
  world.localVisuals = {{0x81, 24, fake::rgba(true)}};
  world.configs = {
      {0x101, samples0, 0x81, {}}, {0x102, samples1, 0x81, {}}, {0x103, samples2, 0x81, {}}};
  world.choose = [](const int*) { return std::vector<int>{0, 1, 2}; };
  world.localExtensions = "GLX_ARB_multisample";
  world.appExtensions = "GLX_ARB_multisample";
  return world;
}

int bestOfThree(int setting) {
  zol::conf::settings().multisample = setting;
  build();
  return entries().at(0)->bestConfig;
}

void logsABuildInFull() {
  fake::World& world = fake::reset();
  world.appVisuals = {{0x21, 24, fake::rgba(true)},
                      {0x22, 24, {{GLX_USE_GL, 0}}},
                      {0x23, 8, fake::rgba(false)},
                      {0x24, 32, fake::rgba(false, 8)}};
  world.localVisuals = {{0x81, 32, fake::rgba(true, 8)}, {0x82, 24, fake::rgba(true)}};
  world.configs = {{0x101, 0, 0, {}}, {0x102, 0, 0x81, {}}, {0x103, 4, 0x82, {}}};
  world.choose = [](const int* list) {
    EXPECT_EQ(list[0], GLX_BUFFER_SIZE);
    if (list[1] == 32) return std::vector<int>{2};                   // a visual of another depth
    return list[7] ? std::vector<int>{0, 1, 2} : std::vector<int>{}; // by double buffering
  };
  build();
  ASSERT_EQ(entries().size(), 1u);
  const LocalVisualInfo* entry = entries()[0];
  EXPECT_EQ(messages(),
            (Lines{"INFO obtained 4 visuals for appDisplay", "INFO adding id 21 (1)",
                   "INFO skipping id 22 (does not support OpenGL)", "INFO adding id 23 (0)",
                   "INFO adding id 24 (0)",
                   format("DEBUG Choosing fbconfig %p (id 101) as best local config for app visual "
                          "21, with 0 samples",
                          fake::config(0)),
                   format("DEBUG LVI %p: fbconfig %p, fbconfig id 0x103, local visual id 0x82, app "
                          "visual id 0x21",
                          entry, fake::config(2)),
                   "DEBUG Could not find any compatible FBConfig for app visual id 23 - dropping "
                   "item",
                   format("DEBUG Choosing fbconfig %p (id 103) as best local config for app visual "
                          "24, with 4 samples",
                          fake::config(2)),
                   "DEBUG Could not determine a local XVisual for app visual 24 - dropping item"}));
  for (const recording::LogRecord& record : recording::log()) {
    EXPECT_EQ(record.label, "void initializeVisualMap(Display*, int, zol::gl::TSD*)");
    EXPECT_FALSE(record.alsoStderr);
  }
  EXPECT_EQ(entry->appVisual.visualId, 0x21u);
  EXPECT_EQ(entry->localVisual.visualId, 0x82u);
  EXPECT_EQ(entry->doubleBuffered, 1);
  EXPECT_EQ(entry->numFBConfigs, 3);
  EXPECT_EQ(entry->bestConfig, 2);
  EXPECT_EQ(entry->bestFBConfig(), fake::config(2));
  Lines calls = recording::calls();
  std::erase_if(calls, [](const std::string& call) { return call.starts_with("glXGetConfig "); });
  EXPECT_EQ(
      calls,
      (Lines{"XGetVisualInfo app mask 0x2 screen 1 id 0x0, map locked",
             "glXQueryExtensionsString app 1", "glXQueryExtensionsString local 2",
             // 0x21
             "glXChooseFBConfig local 2", "glXGetFBConfigAttrib local 0x101 0x8013",
             "glXGetFBConfigAttrib local 0x101 0x186a1", "glXGetVisualFromFBConfig local 0x101",
             "glXGetVisualFromFBConfig local 0x102", "glXGetVisualFromFBConfig local 0x103",
             "glXGetFBConfigAttrib local 0x103 0x8013",
             // 0x23
             "glXChooseFBConfig local 2",
             // 0x24
             "glXChooseFBConfig local 2", "glXGetFBConfigAttrib local 0x103 0x8013",
             "glXGetFBConfigAttrib local 0x103 0x186a1", "glXGetVisualFromFBConfig local 0x103"}));
}

} // namespace

TEST(ALocalVisualInfo, StartsDoubleBufferedWithoutFBConfigs) {
  const LocalVisualInfo entry;
  EXPECT_EQ(entry.doubleBuffered, 1);
  EXPECT_EQ(entry.fbConfigs, nullptr);
  EXPECT_EQ(entry.numFBConfigs, 0);
  EXPECT_EQ(entry.bestConfig, 0);
  EXPECT_EQ(entry.bestFBConfig(), nullptr);
}

TEST(BuildingTheVisualMap, LogsEveryVisualAndWhatBecameOfIt) {
  inAProcessOfItsOwn(logsABuildInFull);
}

TEST(BuildingTheVisualMap, BeginsAnewWhereMemoryEndedIt) {
  inAProcessOfItsOwn([] {
    fake::World& world = threeConfigs(0, 0, 0);
    world.appVisuals.push_back({0x22, 24, fake::rgba(true)});
    int requests = 0;
    world.choose = [&](const int*) {
      if (++requests == 2) throw std::bad_alloc();
      return std::vector<int>{0, 1, 2};
    };
    EXPECT_THROW(build(), std::bad_alloc);
    EXPECT_EQ(entries(), std::vector<LocalVisualInfo*>{});
    EXPECT_EQ(firstOwner(), nullptr);
    build();
    ASSERT_EQ(entries().size(), 2u);
    EXPECT_EQ(entries()[0]->appVisual.visualId, 0x21u);
    EXPECT_EQ(entries()[1]->appVisual.visualId, 0x22u);
    EXPECT_EQ(firstOwner(), entries()[0]);
  });
}

TEST(BuildingTheVisualMap, HappensOnce) {
  inAProcessOfItsOwn([] {
    threeConfigs(0, 0, 0);
    build();
    recording::clear();
    build();
    initializeVisualMap(fake::otherApp, 0, nullptr);
    EXPECT_EQ(_getLVI(fake::otherApp, VisualID{0x21}, nullptr), entries().at(0));
    EXPECT_EQ(recording::calls(), Lines{});
    EXPECT_EQ(messages(), Lines{});
    EXPECT_EQ(entries().size(), 1u);
  });
}

TEST(BuildingTheVisualMap, LeavesAnEmptyButBuiltMapWhenNoVisualSupportsOpenGL) {
  inAProcessOfItsOwn([] {
    fake::World& world = fake::reset();
    world.appVisuals = {{0x21, 24, {{GLX_USE_GL, 0}}}};
    world.localVisuals = {{0x81, 24, fake::rgba(true)}};
    world.configs = {{0x101, 0, 0x81, {{GLX_VISUAL_ID, 0x81}}}};
    build();
    EXPECT_EQ(entries().size(), 0u);
    recording::clear();
    EXPECT_EQ(_getLVI(fake::app, VisualID{0x21}, nullptr), nullptr);
    EXPECT_EQ(recording::calls(), Lines{});
    EXPECT_EQ(messages(), Lines{"DEBUG LVI for app visual 21 not found"});
    recording::clear();
    EXPECT_EQ(_getLVI(fake::app, fake::config(0), nullptr), nullptr);
    EXPECT_EQ(countCalls("XGetVisualInfo"), 0u);
    EXPECT_EQ(messages(),
              (Lines{format("DEBUG LVI not found for fbconfig %p (local visual 81). Trying another "
                            "way...",
                            fake::config(0)),
                     format("DEBUG LVI for fbconfig %p not found (again)", fake::config(0))}));
  });
}

TEST(BuildingTheVisualMap, IsTheWorkOfWhateverNeedsItFirst) {
  XVisualInfo visual = {};
  visual.visualid = 0x21;
  int value = 0;
  int noRequest[] = {0};
  struct {
    std::function<void()> query;
    int screen; // the default one is 1
  } const cases[] = {
      {[] { _getLVI(fake::app, VisualID{0x21}, nullptr); }, 1},
      {[] { _getLVI(fake::app, fake::config(0), nullptr); }, 1},
      {[&] { XFree(zol_glXChooseVisual(fake::app, 7, noRequest)); }, 7},
      {[&] { zol_glXGetConfig(fake::app, &visual, GLX_RGBA, &value); }, 1},
      {[&] { zol_glXGetFBConfigAttrib(fake::app, fake::config(0), GLX_SAMPLES, &value); }, 1},
      {[] { XFree(zol_glXGetVisualFromFBConfig(fake::app, fake::config(0))); }, 1},
  };
  for (const auto& first : cases) {
    inAProcessOfItsOwn([&] {
      threeConfigs(0, 0, 0).configs[0].attributes = {{GLX_VISUAL_ID, 0x81}};
      first.query();
      EXPECT_EQ(recording::calls().at(0), "XGetVisualInfo app mask 0x2 screen " +
                                              std::to_string(first.screen) + " id 0x0, map locked");
      EXPECT_EQ(recording::calls().at(1), "glXQueryExtensionsString app 1");
      EXPECT_EQ(entries().size(), 1u);
    });
  }
}

TEST(BuildingTheVisualMap, TakesTheLocalDisplaysMutexInsideTheMaps) {
  inAProcessOfItsOwn([] {
    threeConfigs(0, 0, 0);
    build();
    EXPECT_TRUE(recording::lockedInside(getLVIMutex(), getLocalDisplayMutex()));
    EXPECT_FALSE(recording::lockedInside(getLocalDisplayMutex(), getLVIMutex()));
  });
}

TEST(BuildingTheVisualMap, KeepsTheOrderOfTheVisuals) {
  inAProcessOfItsOwn([] {
    fake::World& world = threeConfigs(0, 0, 0);
    world.appVisuals = {{0x25, 24, fake::rgba(true)},
                        {0x21, 24, {{GLX_USE_GL, 0}}},
                        {0x23, 24, fake::rgba(true)},
                        {0x24, 24, fake::rgba(true)}};
    build();
    std::vector<unsigned int> ids;
    for (const LocalVisualInfo* entry : entries())
      ids.push_back(entry->appVisual.visualId);
    EXPECT_EQ(ids, (std::vector<unsigned int>{0x25, 0x23, 0x24}));
  });
}

// Whatever it is, but nothing more is known of it.
TEST(BuildingTheVisualMap, LeavesOutAVisualWhoseSupportOfOpenGLIsZeroOnly) {
  inAProcessOfItsOwn([] {
    threeConfigs(0, 0, 0).appVisuals = {{0x21, 24, {{GLX_USE_GL, 2}, {GLX_DOUBLEBUFFER, 1}}}};
    build();
    EXPECT_EQ(messages().at(3), "INFO adding id 21 (0)");
    EXPECT_EQ(entries().at(0)->appVisual.useGL, 2);
  });
}

TEST(BuildingTheVisualMap, NotesWhetherAVisualIsDoubleBuffered) {
  inAProcessOfItsOwn([] {
    fake::World& world = threeConfigs(0, 0, 0);
    world.appVisuals.push_back({0x22, 24, fake::rgba(false)});
    world.appVisuals.push_back({0x23, 24, fake::rgba(true)});
    world.appVisuals.back().attributes[GLX_DOUBLEBUFFER] = 5;
    build();
    ASSERT_EQ(entries().size(), 3u);
    EXPECT_EQ(entries()[0]->doubleBuffered, 1);
    EXPECT_EQ(entries()[1]->doubleBuffered, 0);
    EXPECT_EQ(entries()[2]->doubleBuffered, 1);
  });
}

TEST(BuildingTheVisualMap, EndsTheProcessWithStatus20WhenTheDisplayHasNoVisuals) {
  inAProcessOfItsOwn(
      [] {
        fake::reset();
        std::atexit([] {
          if (messages() != Lines{"ERROR FATAL: cannot find any visual in the display."} ||
              !recording::log()[0].alsoStderr)
            std::_Exit(1);
        });
        build();
      },
      20);
}

TEST(BuildingTheVisualMap, IsTriedAgainAfterAThreadWithoutState) {
  inAProcessOfItsOwn([] {
    fake::World& world = threeConfigs(0, 0, 0);
    world.hasTSD = false;
    build();
    EXPECT_EQ(recording::calls(), Lines{});
    world.hasTSD = true;
    build();
    EXPECT_EQ(entries().size(), 1u);
  });
}

TEST(BuildingTheVisualMap, IsTriedAgainWhenTheDisplaysCouldNotBePaired) {
  inAProcessOfItsOwn([] {
    fake::World& world = threeConfigs(0, 0, 0);
    world.pairs = false;
    build();
    EXPECT_EQ(entries().size(), 0u);
    world.pairs = true;
    world.hasLocalDisplay = false;
    build();
    EXPECT_EQ(entries().size(), 0u);
    EXPECT_EQ(countCalls("glXGetConfig"), 0u);
    world.hasLocalDisplay = true;
    build();
    EXPECT_EQ(entries().size(), 1u);
  });
}

TEST(BuildingTheVisualMap, ReportsMultisamplingOfBothDisplays) {
  inAProcessOfItsOwn([] {
    threeConfigs(0, 0, 0);
    build();
    EXPECT_EQ(messages()[1], "INFO App display supports multisampling");
    EXPECT_EQ(messages()[2], "INFO Local display supports multisampling");
  });
}

TEST(BuildingTheVisualMap, ReadsTheSamplesOfADisplayWithMultisampling) {
  const auto samples = [](const char* appExtensions, const char* localExtensions) {
    fake::World& world = threeConfigs(4, 4, 4, 8);
    world.localVisuals = {{0x81, 24, fake::rgba(true, 0, 4)}};
    world.appExtensions = appExtensions;
    world.localExtensions = localExtensions;
    build();
    return std::pair(entries().at(0)->appVisual.samples, entries().at(0)->localVisual.samples);
  };
  const char* const multisample = "GLX_ARB_multisample";
  inAProcessOfItsOwn([&] { EXPECT_EQ(samples(multisample, multisample), std::pair(8, 4)); });
  inAProcessOfItsOwn([&] { EXPECT_EQ(samples(multisample, "GLX_A"), std::pair(8, 0)); });
  inAProcessOfItsOwn([&] { EXPECT_EQ(samples("GLX_A", multisample), std::pair(0, 4)); });
}

TEST(BuildingTheVisualMap, DoesNotAskTheLocalDisplayWhenMultisamplingIsSwitchedOff) {
  inAProcessOfItsOwn([] {
    threeConfigs(9, 8, 0);
    EXPECT_EQ(bestOfThree(0), 0);
    EXPECT_EQ(countCalls("glXQueryExtensionsString local"), 0u);
    EXPECT_EQ(countCalls("glXGetConfig local 0x81 100001"), 0u);
    EXPECT_EQ(countCalls("glXGetConfig app 0x21 100001"), 1u);
  });
}

TEST(BuildingTheVisualMap, TakesTheFewestSamplesAndOfEqualsTheEarliest) {
  inAProcessOfItsOwn([] {
    threeConfigs(8, 4, 4);
    EXPECT_EQ(bestOfThree(-1), 1);
  });
}

TEST(BuildingTheVisualMap, TakesTheVisualsSampleBuffersForTheBoundNotItsSamples) {
  inAProcessOfItsOwn([] {
    threeConfigs(0, 8, 2, 8);
    EXPECT_EQ(bestOfThree(-1), 2);
  });
}

TEST(BuildingTheVisualMap, AsksForAtLeastTheConfiguredSamples) {
  inAProcessOfItsOwn([] {
    threeConfigs(2, 8, 4);
    EXPECT_EQ(bestOfThree(4), 2);
  });
  inAProcessOfItsOwn([] {
    threeConfigs(2, 6, 6);
    EXPECT_EQ(bestOfThree(4), 1);
  });
  inAProcessOfItsOwn([] { // a visual that has more is not given less
    threeConfigs(1, 2, 4, 4).appVisuals[0].attributes[GLX_SAMPLE_BUFFERS] = 3;
    EXPECT_EQ(bestOfThree(2), 2);
  });
}

TEST(BuildingTheVisualMap, TakesTheFirstConfigWhenNoneHasEnoughSamples) {
  inAProcessOfItsOwn([] {
    threeConfigs(2, 0, 3);
    EXPECT_EQ(bestOfThree(16), 0);
    EXPECT_EQ(messages().at(4), format("DEBUG Choosing fbconfig %p (id 101) as best local config "
                                       "for app visual 21, with 2 samples",
                                       fake::config(0)));
  });
}

TEST(BuildingTheVisualMap, NeverGoesBackBehindTheStartingConfig) {
  inAProcessOfItsOwn([] {
    fake::World& world = threeConfigs(8, 4, 8);
    world.configs[1].visual = 0;
    world.configs[2].visual = 0;
    build();
    EXPECT_EQ(entries().size(), 0u);
    EXPECT_EQ(messages().back(),
              "DEBUG Could not determine a local XVisual for app visual 21 - dropping item");
  });
}

namespace {

class AVisualLookup : public FilledMap {
protected:
  void SetUp() override {
    FilledMap::SetUp();
    world->configs = {{0x101, 0, 0, {{GLX_VISUAL_ID, 0x81}, {GLX_ALPHA_SIZE, 0}}},
                      {0x102, 0, 0x82, {{GLX_VISUAL_ID, 0x99}, {GLX_ALPHA_SIZE, 8}}},
                      {0x103, 0, 0x82, {{GLX_ALPHA_SIZE, 1}, {GLX_RGBA, 1}}},
                      {0x104, 0, 0x82, {{GLX_ALPHA_SIZE, 0}, {GLX_RGBA, 1}}}};
    world->localVisuals = {{0x82, 24, {}}};
  }

  LocalVisualInfo* add(unsigned int appId, int appDepth, unsigned int localId, int offered = 4) {
    LocalVisualInfo* const entry = FilledMap::add(appId, localId);
    entry->appVisual.depth = appDepth;
    offer(entry, configs, offered);
    return entry;
  }

  LocalVisualInfo* find(int index) { return _getLVI(fake::app, fake::config(index), nullptr); }

  GLXFBConfig configs[4] = {fake::config(0), fake::config(1), fake::config(2), fake::config(3)};
};

} // namespace

TEST_F(AVisualLookup, FindsTheFirstEntryOfAnApplicationVisual) {
  add(0x20, 24, 0x81);
  LocalVisualInfo* const second = add(0x21, 24, 0x81);
  add(0x21, 24, 0x82);
  EXPECT_EQ(_getLVI(fake::app, VisualID{0x21}, nullptr), second);
  EXPECT_EQ(messages(), Lines{});
  EXPECT_EQ(_getLVI(fake::app, VisualID{0xabc}, nullptr), nullptr);
  EXPECT_EQ(messages(), Lines{"DEBUG LVI for app visual abc not found"});
}

TEST_F(AVisualLookup, FindsTheFirstEntryWithTheLocalVisualOfAnFBConfig) {
  add(0x20, 24, 0x80);
  LocalVisualInfo* const second = add(0x21, 24, 0x81);
  add(0x22, 24, 0x81);
  EXPECT_EQ(find(0), second);
  EXPECT_EQ(messages(),
            Lines{format("DEBUG LVI found for fbconfig %p (local visual 81).", fake::config(0))});
  EXPECT_EQ(recording::calls(), (Lines{"glXGetFBConfigAttrib local 0x101 0x800b",
                                       "glXGetFBConfigAttrib local 0x101 0x4",
                                       "glXGetFBConfigAttrib local 0x101 0xb"}));
}

TEST_F(AVisualLookup, GivesUpOnAnFBConfigWithoutAnyVisual) {
  EXPECT_EQ(find(0), nullptr);
  EXPECT_EQ(messages(),
            (Lines{format("DEBUG LVI not found for fbconfig %p (local visual 81). Trying another "
                          "way...",
                          fake::config(0)),
                   "ERROR No visual found on local display with id 81"}));
}

TEST_F(AVisualLookup, TakesTheFirstOwnerOfAnFBConfigWhenTheDriverRefusesGlxRgba) {
  LocalVisualInfo* const first = add(0x25, 24, 0x70);
  add(0x21, 32, 0x71);
  EXPECT_EQ(find(1), first);
  EXPECT_EQ(messages(),
            (Lines{format("DEBUG LVI not found for fbconfig %p (local visual 99). Trying another "
                          "way...",
                          fake::config(1)),
                   format("DEBUG LVI found %p - app visual: 0x25, local visual: 0x82", first)}));
}

TEST_F(AVisualLookup, TakesTheFirstOwnerOfAnFBConfigWithoutAlpha) {
  LocalVisualInfo* const first = add(0x25, 16, 0x70);
  add(0x21, 32, 0x71);
  EXPECT_EQ(find(3), first);
  EXPECT_EQ(messages(), Lines{format("DEBUG LVI found %p - app visual: 0x25, local visual: 0x82",
                                     first)}); // whatever its depth
}

TEST_F(AVisualLookup, PrefersTheLowestDeepEnoughVisualForAnFBConfigWithAlpha) {
  add(0x25, 24, 0x70);
  add(0x20, 16, 0x70);
  LocalVisualInfo* const lowest = add(0x21, 32, 0x71);
  add(0x22, 24, 0x71);
  EXPECT_EQ(find(2), lowest);
  // Without an answer for GLX_VISUAL_ID the first way is not mentioned.
  EXPECT_EQ(messages(),
            (Lines{format("DEBUG LVI found %p - app visual: 0x21, local visual: 0x82", lowest),
                   "DEBUG App and local visual have different depths, app: 32 - local: 24"}));
}

TEST_F(AVisualLookup, PrefersTheLowestOfEquallyDeepVisualsForAnFBConfigWithAlpha) {
  add(0x30, 24, 0x70);
  LocalVisualInfo* const lowest = add(0x25, 24, 0x70);
  add(0x20, 16, 0x70);
  EXPECT_EQ(find(2), lowest);
}

TEST_F(AVisualLookup, ComparesTheIdsOfVisualsAsUnsigned) {
  LocalVisualInfo* const lowest = add(0x7fffffff, 24, 0x70);
  add(0x80000000, 24, 0x70);
  EXPECT_EQ(find(2), lowest);
}

TEST_F(AVisualLookup, NeverHoldsTheTwoMutexesTogether) {
  add(0x25, 24, 0x70);
  find(2);
  EXPECT_FALSE(recording::lockedInside(getLVIMutex(), getLocalDisplayMutex()));
  EXPECT_FALSE(recording::lockedInside(getLocalDisplayMutex(), getLVIMutex()));
}

TEST_F(AVisualLookup, TakesAShallowOwnerWhenThereIsNoDeepEnoughOne) {
  LocalVisualInfo* const first = add(0x25, 16, 0x70);
  add(0x20, 8, 0x70);
  EXPECT_EQ(find(2), first);
  EXPECT_EQ(messages().back(),
            "DEBUG App and local visual have different depths, app: 16 - local: 24");
}

TEST_F(AVisualLookup, TakesTheLocalVisualsOwnDepthForDeepEnough) {
  add(0x25, 16, 0x70);
  LocalVisualInfo* const justDeepEnough = add(0x26, 24, 0x70);
  EXPECT_EQ(find(2), justDeepEnough);
}

TEST_F(AVisualLookup, SaysSoWhenNobodyOwnsTheFBConfig) {
  add(0x25, 24, 0x70, 2);
  EXPECT_EQ(find(2), nullptr);
  EXPECT_EQ(messages(),
            Lines{format("DEBUG LVI for fbconfig %p not found (again)", fake::config(2))});
}

TEST_F(AVisualLookup, FindsNothingForAnFBConfigWithoutALocalDisplay) {
  add(0x21, 24, 0x81);
  world->hasLocalDisplay = false;
  EXPECT_EQ(find(0), nullptr);
  EXPECT_EQ(recording::calls(), Lines{});
}
