#include "visual/fbconfig_queries.h"
#include "visual/filled_map.h"
#include "visual/recording.h"

#include <gtest/gtest.h>

using recording::messages;
using zol::gl::LocalVisualInfo;

namespace {

using Lines = std::vector<std::string>;

// One FBConfig whose local visual no entry has.
class AnFBConfigQuery : public FilledMap {
protected:
  void SetUp() override {
    FilledMap::SetUp();
    world->localVisuals = {{0x99, 24, {}}};
    world->configs = {{0x101, 0, 0x99, {{GLX_VISUAL_ID, 0x99}}}};
    world->idsUnderLocalMutex = false;
  }

  LocalVisualInfo* addOwner(unsigned int appId, unsigned int localId) {
    LocalVisualInfo* const entry = add(appId, localId);
    offer(entry, &config, 1);
    return entry;
  }

  int visualId() {
    int value = 0;
    status = zol_glXGetFBConfigAttrib(fake::app, config, GLX_VISUAL_ID, &value);
    return value;
  }

  GLXFBConfig config = fake::config(0);
  int status = -1;
};

} // namespace

TEST_F(AnFBConfigQuery, FindsTheVisualOfTheFirstEntryThatHasTheFBConfig) {
  addOwner(0x21, 0x81);
  addOwner(0x20, 0x82);
  EXPECT_EQ(visualId(), 0x21);
  EXPECT_EQ(status, Success);
}

TEST_F(AnFBConfigQuery, PassesOverEntriesWithoutAVisualOrWithoutFBConfigs) {
  addOwner(0, 0x81);
  add(0x20, 0x82)->numFBConfigs = 1;
  addOwner(0x21, 0x83);
  EXPECT_EQ(visualId(), 0x21);
}

TEST_F(AnFBConfigQuery, PrefersTheEntryOfTheLocalVisualToThoseThatHaveTheFBConfig) {
  addOwner(0x20, 0x81);
  add(0x21, 0x99);
  add(0x22, 0x99);
  EXPECT_EQ(visualId(), 0x21);
  EXPECT_EQ(recording::calls(), Lines{"glXGetFBConfigAttrib local 0x101 0x800b"});
}

TEST_F(AnFBConfigQuery, ReportsWhatTheDriverSaidToTheVisualEvenIfItIsFoundOtherwise) {
  world->configs[0].attributes.clear();
  addOwner(0x21, 0x81);
  EXPECT_EQ(visualId(), 0x21);
  EXPECT_EQ(status, GLX_BAD_ATTRIBUTE);
  EXPECT_EQ(messages().back(), "DEBUG return value 2");
}

TEST_F(AnFBConfigQuery, GivesNoVisualForAnEntryThatLacksOneOnEitherDisplay) {
  for (const auto& [appId, localId] : {std::pair{0x21, 0}, std::pair{0, 0x81}}) {
    FilledMap::TearDown();
    LocalVisualInfo* const entry = addOwner(appId, localId);
    recording::clear();
    EXPECT_EQ(zol_glXGetVisualFromFBConfig(fake::app, config), nullptr);
    char found[64];
    snprintf(found, sizeof(found), "DEBUG lvi %p.", static_cast<void*>(entry));
    const Lines all = messages();
    EXPECT_EQ(Lines(all.end() - 2, all.end()), (Lines{found, "DEBUG FAILURE!"}));
  }
}
