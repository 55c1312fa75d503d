#include "visual/filled_map.h"
#include "visual/recording.h"
#include "visual/visual_queries.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

using recording::messages;
using zol::gl::LocalVisualInfo;

namespace {

using Lines = std::vector<std::string>;

class AVisualQuery : public FilledMap {
protected:
  LocalVisualInfo* add(unsigned int appId, int localDepth, bool doubleBuffer) {
    LocalVisualInfo* const entry = FilledMap::add(appId, appId + 0x60);
    entry->localVisual.depth = localDepth;
    entry->localVisual.useGL = 1;
    entry->localVisual.rgba = 1;
    entry->localVisual.doubleBuffer = doubleBuffer;
    entry->localVisual.redSize = 8;
    entry->localVisual.depthSize = 32;
    world->appVisuals.push_back({appId, 24, {}});
    return entry;
  }

  // The id of the chosen visual; 0 for none.
  VisualID choose(std::vector<int> list) {
    recording::clear();
    XVisualInfo* const visual = zol_glXChooseVisual(fake::app, 1, list.data());
    const VisualID id = visual ? visual->visualid : 0;
    XFree(visual);
    return id;
  }

  int getConfig(VisualID id, int attribute, int* value) {
    recording::clear();
    XVisualInfo info = {};
    info.visualid = id;
    return zol_glXGetConfig(fake::app, &info, attribute, value);
  }
};

} // namespace

TEST_F(AVisualQuery, FailsOnAnEmptyMap) {
  EXPECT_EQ(choose({0}), 0u);
  EXPECT_EQ(messages(), (Lines{"DEBUG START", "DEBUG FAILED!"}));
  for (const recording::LogRecord& record : recording::log())
    EXPECT_EQ(record.label, "XVisualInfo* zol_glXChooseVisual(Display*, int, int*)");
}

TEST_F(AVisualQuery, LogsTheRequestByName) {
  choose({GLX_USE_GL, GLX_RGBA, GLX_DOUBLEBUFFER,
          GLX_STEREO, 2,        1,
          3,          2,        7,
          3,          8,        4,
          9,          5,        10,
          6,          11,       7,
          12,         8,        13,
          9,          14,       10,
          15,         11,       16,
          12,         17,       13,
          0x23,       14,       0x24,
          15,         0x25,     16,
          0x26,       17,       0x27,
          18,         0x28,     19,
          100000,     20,       100001,
          21,         0x20,     GLX_RGBA,
          0});
  EXPECT_EQ(messages(), (Lines{"DEBUG START",
                               "DEBUG GLX_USE_GL",
                               "DEBUG GLX_RGBA",
                               "DEBUG GLX_DOUBLEBUFFER",
                               "DEBUG GLX_STEREO",
                               "DEBUG GLX_BUFFER_SIZE 1",
                               "DEBUG GLX_LEVEL 2",
                               "DEBUG GLX_AUX_BUFFERS 3",
                               "DEBUG GLX_RED_SIZE 4",
                               "DEBUG GLX_GREEN_SIZE 5",
                               "DEBUG GLX_BLUE_SIZE 6",
                               "DEBUG GLX_ALPHA_SIZE 7",
                               "DEBUG GLX_DEPTH_SIZE 8",
                               "DEBUG GLX_STENCIL_SIZE 9",
                               "DEBUG GLX_ACCUM_RED_SIZE 10",
                               "DEBUG GLX_ACCUM_GREEN_SIZE 11",
                               "DEBUG GLX_ACCUM_BLUE_SIZE 12",
                               "DEBUG GLX_ACCUM_ALPHA_SIZE 13",
                               "DEBUG GLX_ACCUM_ALPHA_SIZE 14",
                               "DEBUG GLX_TRANSPARENT_INDEX_VALUE 15",
                               "DEBUG GLX_TRANSPARENT_RED_VALUE 16",
                               "DEBUG GLX_TRANSPARENT_GREEN_VALUE 17",
                               "DEBUG GLX_TRANSPARENT_BLUE_VALUE 18",
                               "DEBUG GLX_TRANSPARENT_ALPHA_VALUE 19",
                               "DEBUG GLX_SAMPLE_BUFFERS_ARB 20",
                               "DEBUG GLX_SAMPLES_ARB 21",
                               "DEBUG unknown attribute 4",
                               "DEBUG GLX_RGBA",
                               "DEBUG FAILED!"}));
}

TEST_F(AVisualQuery, AnEmptyRequestGetsTheFirstSingleBuffered24BitVisual) {
  add(0x20, 24, true);
  add(0x21, 32, false);
  add(0x22, 24, false);
  add(0x23, 24, false);
  EXPECT_EQ(choose({0}), 0x22u);
  EXPECT_EQ(messages(), (Lines{"DEBUG START", "DEBUG choosing visual 22", "DEBUG return 22."}));
  EXPECT_EQ(recording::calls(), Lines{"XGetVisualInfo app mask 0x1 screen 0 id 0x22, map locked"});
}

TEST_F(AVisualQuery, ANullRequestIsAnEmptyOne) {
  add(0x22, 24, false);
  XVisualInfo* const visual = zol_glXChooseVisual(fake::app, 1, nullptr);
  ASSERT_NE(visual, nullptr);
  EXPECT_EQ(visual->visualid, 0x22u);
  XFree(visual);
}

TEST_F(AVisualQuery, ADoubleBufferRequestGetsA24BitVisualUnlessADepthIsNamed) {
  add(0x20, 24, false);
  add(0x21, 32, true);
  add(0x22, 24, true);
  EXPECT_EQ(choose({GLX_RGBA, GLX_DOUBLEBUFFER, 0}), 0x22u);
  EXPECT_EQ(messages(), (Lines{"DEBUG START", "DEBUG GLX_RGBA", "DEBUG GLX_DOUBLEBUFFER",
                               "DEBUG GLX_DOUBLEBUFFER request YES has NO",
                               "DEBUG choosing visual 22", "DEBUG return 22."}));
  EXPECT_EQ(choose({GLX_RGBA, GLX_DOUBLEBUFFER, GLX_DEPTH_SIZE, 16, 0}), 0x21u);
  EXPECT_EQ(choose({GLX_RGBA, GLX_DEPTH_SIZE, 16, 0}), 0x20u);
}

TEST_F(AVisualQuery, StereoIsNeverOffered) {
  add(0x20, 24, false)->localVisual.stereo = 1;
  EXPECT_EQ(choose({GLX_STEREO, 0}), 0u);
  EXPECT_EQ(messages(), (Lines{"DEBUG START", "DEBUG GLX_STEREO", "DEBUG FAILED!"}));
  add(0x21, 24, true)->localVisual.stereo = 1;
  EXPECT_EQ(choose({GLX_STEREO, GLX_RGBA, GLX_DEPTH_SIZE, 16, 0}), 0u);
  EXPECT_EQ(choose({GLX_RGBA, GLX_DOUBLEBUFFER, GLX_DEPTH_SIZE, 16, GLX_STEREO, 0}), 0u);
  EXPECT_EQ(messages().back(), "DEBUG FAILED!");
}

TEST_F(AVisualQuery, TheFirstRequestThatIsNotMetEndsTheLookAtAVisual) {
  add(0x20, 24, true);
  add(0x21, 24, false);
  EXPECT_EQ(choose({GLX_RED_SIZE, 9, GLX_GREEN_SIZE, 9, 0}), 0u);
  EXPECT_EQ(messages(), (Lines{"DEBUG START", "DEBUG GLX_RED_SIZE 9", "DEBUG GLX_GREEN_SIZE 9",
                               "DEBUG GLX_RED_SIZE request 9 has 8",
                               "DEBUG GLX_RED_SIZE request 9 has 8", "DEBUG FAILED!"}));
}

TEST_F(AVisualQuery, ADepthIsComparedWithTheColourDepth) {
  add(0x20, 24, false);
  EXPECT_EQ(choose({GLX_DEPTH_SIZE, 32, 0}), 0u);
  EXPECT_EQ(messages(), (Lines{"DEBUG START", "DEBUG GLX_DEPTH_SIZE 32",
                               "DEBUG GLX_DEPTH_SIZE request 32 has 24", "DEBUG FAILED!"}));
  EXPECT_EQ(choose({GLX_DEPTH_SIZE, -1, 0}), 0x20u);
}

TEST_F(AVisualQuery, EveryOtherValueIsAMinimumOfTheLocalVisual) {
  add(0x20, 24, false);
  for (const zol::gl::VisualAttribute& row : zol::gl::visualAttributes()) {
    if (row.request != zol::gl::RequestKind::VALUE || row.attribute == GLX_DEPTH_SIZE) continue;
    LocalVisualInfo* entry;
    {
      zol::MutexLock lock(getLVIMutex());
      entry = getListLocalVisuals()->front();
    }
    entry->localVisual.*row.field = 5;
    EXPECT_EQ(choose({row.attribute, 5, 0}), 0x20u) << row.label;
    EXPECT_EQ(choose({row.attribute, -1, 0}), 0x20u) << row.label;
    EXPECT_EQ(choose({row.attribute, 6, 0}), 0u) << row.label;
    EXPECT_EQ(messages()[2], std::string("DEBUG ") + row.label + " request 6 has 5");
  }
}

TEST_F(AVisualQuery, AnUnknownAttributeIsOneIntSoThatItsValueIsReadAsAnAttribute) {
  add(0x20, 24, false);
  EXPECT_EQ(choose({GLX_X_VISUAL_TYPE, GLX_STEREO, 0}), 0u);
  EXPECT_EQ(messages(), (Lines{"DEBUG START", "DEBUG unknown attribute 6", "DEBUG GLX_STEREO",
                               "DEBUG unknown attribute 6", "DEBUG FAILED!"}));
  EXPECT_EQ(choose({GLX_VISUAL_CAVEAT_EXT, 0}), 0x20u);
}

TEST_F(AVisualQuery, FailsWhenTheApplicationDisplayDoesNotHaveTheVisual) {
  add(0x20, 24, false);
  world->appVisuals.clear();
  EXPECT_EQ(choose({0}), 0u);
  EXPECT_EQ(messages(), (Lines{"DEBUG START", "DEBUG FAILED!"}));
}

TEST_F(AVisualQuery, FailsWhenTheApplicationDisplayNamesAVisualOutsideTheMap) {
  add(0x20, 24, false);
  world->appVisuals = {{0xabc, 24, {}}};
  world->onlyVisual = 0xabc;
  EXPECT_EQ(choose({0}), 0u);
  EXPECT_EQ(messages(), (Lines{"DEBUG START", "DEBUG choosing visual abc",
                               "DEBUG BIG PROBLEM cannot find id abc"}));
}

TEST_F(AVisualQuery, AVisualOutsideTheMapDoesNotSupportOpenGL) {
  int value = 9;
  EXPECT_EQ(getConfig(0xabc, GLX_USE_GL, &value), Success);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(messages(), (Lines{"DEBUG visual id abc", "DEBUG NOT IN CACHE... abc attrib 1"}));
  for (const recording::LogRecord& record : recording::log())
    EXPECT_EQ(record.label, "int zol_glXGetConfig(Display*, XVisualInfo*, int, int*)");
  for (const zol::gl::VisualAttribute& row : zol::gl::visualAttributes()) {
    if (row.attribute == GLX_USE_GL) continue;
    value = 9;
    EXPECT_EQ(getConfig(0xabc, row.attribute, &value), GLX_BAD_VISUAL) << row.label;
    EXPECT_EQ(value, 0) << row.label;
  }
  value = 9;
  EXPECT_EQ(getConfig(0xabc, GLX_X_VISUAL_TYPE, &value), GLX_BAD_VISUAL);
  EXPECT_EQ(value, 0);
  add(0xab, 24, true); // not in an empty map only
  EXPECT_EQ(getConfig(0xabc, GLX_USE_GL, &value), Success);
  EXPECT_EQ(getConfig(0xabc, GLX_RGBA, &value), GLX_BAD_VISUAL);
}

TEST_F(AVisualQuery, AnswersEveryAttributeFromTheLocalVisual) {
  LocalVisualInfo* const entry = add(0xab, 24, true);
  int number = 0x100;
  for (const zol::gl::VisualAttribute& row : zol::gl::visualAttributes()) {
    entry->localVisual.*row.field = ++number;
    entry->appVisual.*row.field = -1;
    int value = 9;
    EXPECT_EQ(getConfig(0xab, row.attribute, &value), Success) << row.label;
    EXPECT_EQ(value, number) << row.label;
    char text[100];
    snprintf(text, sizeof(text), "DEBUG ab %s val %x", row.label, number);
    EXPECT_EQ(messages(), (Lines{"DEBUG visual id ab", text}));
  }
}

TEST_F(AVisualQuery, RefusesAnUnknownAttribute) {
  add(0xab, 24, true);
  int value = 9;
  EXPECT_EQ(getConfig(0xab, GLX_X_VISUAL_TYPE, &value), GLX_BAD_ATTRIBUTE);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(messages(), (Lines{"DEBUG visual id ab", "DEBUG ab default val 0"}));
}
