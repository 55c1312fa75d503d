// Functions that a program asks for by name, through GLVND, as programs do.

#include "endtoend/play.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace zol::endtoend {
namespace {

const std::vector<std::string>& hooked() {
  static const std::vector<std::string> names = {
#define ZOL_HOOK(name) #name,
#define ZOL_WITHHELD(name)
#include "src/vendor/hooks.def"
  };
  return names;
}

const std::vector<std::string>& withheld() {
  static const std::vector<std::string> names = {
#define ZOL_HOOK(name)
#define ZOL_WITHHELD(name) #name,
#include "src/vendor/hooks.def"
  };
  return names;
}

const std::vector<std::string>& lookedUp() {
  static const std::vector<std::string> names = {
#define ZOL_LOOKUP(name) #name,
#include "src/vendor/lookup.def"
  };
  return names;
}

using Names = std::vector<std::string>;

std::string joined(const Names& names) {
  std::string result;
  for (const std::string& name : names)
    result += (result.empty() ? "" : " ") + name;
  return result;
}

bool contains(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// GLVND hands out an address for any name, so that a program may ask before it has a display. What
// is behind it shows when it is called.
TEST(Procedures, AllHaveAnAddressAtAnyTime) {
  for (const bool early : {true, false}) {
    const Folder folder;
    PictureProgram program(folder, appDisplay());
    if (!early) program.stage("w", "100 100 24 double");
    for (const Names& names : {hooked(), withheld(), lookedUp()})
      EXPECT_EQ(program.ask("known " + joined(names)), joined(names));
    EXPECT_EQ(program.end(), 0);
  }
}

class CalledProcedures : public testing::Test {
protected:
  void SetUp() override {
    program_.stage("w", "100 100 24 double");
    program_.ask("find-config c 24 double");
  }

  std::string call(const std::string& name) { return program_.ask("call w c " + name); }

  // Those of the names whose function of the library's own was called.
  Names entered(const Names& names) {
    const auto records = program_.log().all();
    Names result;
    std::copy_if(names.begin(), names.end(), std::back_inserter(result), [&](const auto& name) {
      const std::string label = " zol_" + name + "(";
      return std::any_of(records.begin(), records.end(), [&](const rig::LogRecord& record) {
        return record.text().find(label) != std::string::npos;
      });
    });
    return result;
  }

  void end() {
    EXPECT_EQ(program_.ask("errors"), "0") << program_.errors();
    EXPECT_EQ(program_.end(), 0) << program_.errors();
  }

  const Folder folder_;
  PictureProgram program_{folder_, appDisplay()};
};

// GLVND answers these by itself.
const Names kGlvnds = {"glXGetCurrentContext", "glXGetCurrentDrawable",     "glXQueryExtension",
                       "glXQueryVersion",      "glXGetCurrentReadDrawable", "glXGetCurrentDisplay",
                       "glXGetProcAddress",    "glXGetProcAddressARB",      "glXImportContextEXT"};
// The X server refuses to copy direct contexts, with an error; the others need a pixmap, and are
// called where there is one.
const Names kCalledElsewhere = {"glXCopyContext", "glXBindTexImageEXT", "glXReleaseTexImageEXT"};

// Logs nothing where there is nothing to hide.
const std::string kSilent = "glGetStringi";

TEST_F(CalledProcedures, AreTheLibrarysOwnForEachHookedName) {
  for (const std::string& name : hooked())
    call(name);
  program_.ask("release");
  Names expected = hooked();
  std::erase_if(expected, [](const std::string& name) {
    return contains(kGlvnds, name) || contains(kCalledElsewhere, name) || name == kSilent;
  });
  EXPECT_EQ(joined(entered(hooked())), joined(expected));
  end();
}

TEST_F(CalledProcedures, AnswerAsTheLibraryDoes) {
  const std::map<std::string, std::string> expected = {
      {"glXGetVideoSyncSGI", "5"},
      {"glXWaitVideoSyncSGI", "5"},
      {"glXGetSelectedEvent", "77"},
      {"glXGetSelectedEventSGIX", "77"},
      {"glXGetRefreshRateSGI", "5"},
      {"glXSet3DfxModeMESA", "0"},
      {"glXQueryFrameCountNV", "0"},
      {"glXAllocateMemoryNV", "nothing"},
      {"glXGetContextIDEXT", "0"},
      {"glXBindChannelToWindowSGIX", "0"},
      {"glXChannelRectSGIX", "0"},
      {"glXGetFBConfigFromVisualSGIX", "nothing"},
      {"glXQueryContextInfoEXT", "0"},
      {"glXCreateWindow", "the window"},
      {"glXGetClientString", "YRSO Systems"},
      {"glXQueryServerString", "YRSO Systems"},
      {"glXIsDirect", "yes"},
      {"glXGetCurrentContext", "mine"},
      {"glXGetCurrentDrawable", "mine"},
      {"glXGetCurrentReadDrawable", "mine"},
      {"glXGetCurrentDisplay", "mine"},
      {"glXQueryDrawable", "100"},
      {"glXChooseVisual", "something"},
      {"glXCreateContextAttribsARB", "something"},
      {"glXCreateContextWithConfigSGIX", "something"},
      {"glXCreateGLXPixmapWithConfigSGIX", "something"},
      {"glXCreateGLXPbufferSGIX", "something"},
      {"glXChooseFBConfigSGIX", "something"},
      {"glXGetVisualFromFBConfigSGIX", "something"},
  };
  for (const auto& [name, answer] : expected)
    EXPECT_EQ(call(name), answer) << name;
  end();
}

// To call one is harmless.
TEST_F(CalledProcedures, DoNothingWhereTheyAreWithheld) {
  for (const std::string& name : withheld())
    call(name);
  EXPECT_EQ(call("glXQueryMaxSwapGroupsNV"), "77");
  EXPECT_EQ(call("glXJoinSwapGroupNV"), "0");
  // The driver's own dispatch says that there is no such function.
  EXPECT_EQ(call("glXSwapIntervalSGI"), "3");
  EXPECT_EQ(entered(withheld()), Names{});
  end();
}

} // namespace
} // namespace zol::endtoend
