#include "foundation/conf_settings.h"
#include "foundation/foundation_test.h"

namespace {

std::string shown(bool value) {
  return value ? "true" : "false";
}
std::string shown(const zol::conf::SharedFlag& value) {
  return shown(static_cast<bool>(value));
}
std::string shown(int value) {
  return std::to_string(value);
}
std::string shown(const char* value) {
  return value ? value : "(null)";
}

struct Row {
  const char* key;
  const char* section;
  const char* env;
  const char* def;
  const char* other; // another value of its type
  std::string (*value)(const zol::conf::Settings&);
};

#define VALUE(field) [](const zol::conf::Settings& s) { return shown(s.field); }
#define FLAG(field, key, section, env, def)                                                        \
  Row {                                                                                            \
    key, section, env, #def, std::string_view(#def) == "true" ? "false" : "true", VALUE(field)     \
  }
#define NUMBER(field, key, section, env, def)                                                      \
  Row {                                                                                            \
    key, section, env, #def, "-77", VALUE(field)                                                   \
  }
#define TEXT(field, key, section, env, def)                                                        \
  Row {                                                                                            \
    key, section, env, def, "a text", VALUE(field)                                                 \
  }
#define UNSET "(null)"

// Written out a second time on purpose: settings files and scripts of users depend on every name.
// clang-format off
const Row ROWS[] = {
    FLAG(verbose, "verbose", "log", "ZOL_GL_VERBOSE", false),
    TEXT(level, "level", "log", "ZOL_GL_LOG_LEVEL", "warning"),
    TEXT(directory, "directory", "log", "ZOL_GL_LOG_DIR", UNSET),
    FLAG(unsetLocalDisplay, "unset-local-display", "gl", "ZOL_GL_UNSET_LOCAL_DISPLAY", false),
    FLAG(overrideCachedDisplay, "override-cached-display", "gl", "ZOL_GL_OVERRIDE_CACHED_DISPLAY", true),
    TEXT(blacklist, "blacklist", "gl", "ZOL_GL_BLACKLIST", UNSET),
    TEXT(denylist, "denylist", "gl", "ZOL_GL_DENYLIST", UNSET),
    TEXT(allowlist, "allowlist", "gl", "ZOL_GL_ALLOWLIST", UNSET),
    FLAG(skipDoubleSwap, "skip-double-swap", "gl", "ZOL_GL_SKIP_DOUBLE_SWAP", false),
    FLAG(cleanupAtexit, "cleanup-atexit", "Wrapper", "ZOL_GL_CLEANUP_ATEXIT", true),
    FLAG(disableDriverUnload, "disable-driver-unload", "Wrapper", "ZOL_GL_DISABLE_DRIVER_UNLOAD", true),
    FLAG(disableZolGlUnload, "disable-zol-gl-unload", "Wrapper", "ZOL_GL_DISABLE_ZOL_GL_UNLOAD", false),
    FLAG(printZolVersion, "print-zol-version", "gl", "ZOL_GL_PRINT_VERSION", false),
    TEXT(glDisplay, "gl-display", "gl", "ZOL_GL_DISPLAY", UNSET),
    FLAG(debugWait, "debug-wait", "gl", "ZOL_GL_DEBUG_WAIT", false),
    FLAG(forceBestFbconfig, "force-best-fbconfig", "gl", "ZOL_GL_FORCE_BEST_FBCONFIG", true),
    FLAG(addGlDebugCallback, "add-gl-debug-callback", "gl", "ZOL_GL_ADD_GL_DEBUG_CALLBACK", false),
    NUMBER(multisample, "multisample", "gl", "ZOL_GL_MULTISAMPLE", -1),
    TEXT(glxExtBlacklist, "glx-ext-blacklist", "gl", "ZOL_GL_GLX_EXT_BLACKLIST", UNSET),
    TEXT(glxExtDenylist, "glx-ext-denylist", "gl", "ZOL_GL_GLX_EXT_DENYLIST", UNSET),
    NUMBER(copybackFrameRate, "copyback-frame-rate", "gl", "ZOL_GL_COPYBACK_FRAME_RATE", 30),
    NUMBER(readbackInterval, "readback-interval", "gl", "ZOL_GL_READBACK_INTERVAL", 0),
    FLAG(noReadback, "no-readback", "gl", "ZOL_GL_NO_READBACK", false),
    FLAG(originalVendor, "original-vendor", "gl", "ZOL_GL_ORIGINAL_VENDOR", false),
    FLAG(useSampleQueries, "use-sample-queries", "gl", "ZOL_GL_USE_SAMPLE_QUERIES", true),
    NUMBER(usexfontMode, "usexfont-mode", "gl", "ZOL_GL_USEXFONT_MODE", 0),
    FLAG(enableVisibilityCheck, "enable-visibility-check", "gl", "ZOL_GL_ENABLE_VISIBILITY_CHECK", true),
    FLAG(doubleCheckVisible, "double-check-visible", "gl", "ZOL_GL_DOUBLE_CHECK_VISIBLE", true),
    FLAG(glxwaitxSyncAppDisplay, "glxwaitx-sync-app-display", "gl", "ZOL_GL_GLXWAITX_SYNC_APPDISPLAY", false),
    FLAG(viewportResizeOptimization, "viewport-resize-optimization", "gl", "ZOL_GL_VIEWPORT_RESIZE_OPTIMIZATION", false),
    NUMBER(copybackStrategy, "copyback-strategy", "gl", "ZOL_GL_COPYBACK_STRATEGY", 1),
    FLAG(freeDrawablesWithoutContext, "free-drawables-without-context", "gl", "ZOL_GL_FREE_DRAWABLES_WITHOUT_CONTEXT", false),
    FLAG(refreshPbufferOnVisibilityChanged, "refresh-pbuffer-on-visibility-changed", "gl", "ZOL_GL_REFRESH_PBUFFER_ON_VISIBILITY_CHANGED", true),
    FLAG(initializeCopybackAtInit, "initialize-copyback-at-init", "gl", "ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", true),
    FLAG(forceSingleThreadReadback, "force-single-thread-readback", "gl", "ZOL_GL_FORCE_SINGLE_THREAD_READBACK", false),
    FLAG(switchContextOnDrawableDestruction, "switch-context-on-drawable-destruction", "gl", "ZOL_GL_SWITCH_CONTEXT_ON_DRAWABLE_DESTRUCTION", true),
    FLAG(checkWindowBeforeDrawing, "check-window-before-drawing", "gl", "ZOL_GL_CHECK_WINDOW_BEFORE_DRAWING", false),
    FLAG(finishBeforeSwap, "finish-before-swap", "gl", "ZOL_GL_FINISH_BEFORE_SWAP", false),
    FLAG(recursiveLocalDisplayLock, "recursive-local-display-lock", "gl", "ZOL_GL_RECURSIVE_LOCAL_DISPLAY_LOCK", false),
};
// clang-format on
static_assert(std::size(ROWS) == 39);

class ConfSettings : public FoundationTest {
protected:
  // Every row holds its default, except the one of `changed`, which holds its other value.
  static void expectOnlyChanged(const Row* changed) {
    const zol::conf::Settings settings;
    for (const Row& row : ROWS)
      EXPECT_EQ(&row == changed ? row.other : row.def, row.value(settings)) << row.key;
  }
  static std::string line(const Row& row) {
    return std::string("[") + row.section + "]\n" + row.key + " = " + row.other + "\n";
  }
};

TEST_F(ConfSettings, HoldTheirDefaultsWhenNothingIsSet) {
  expectOnlyChanged(nullptr);
}

TEST_F(ConfSettings, AreEachReadFromTheirVariable) {
  for (const Row& row : ROWS) {
    setenv(row.env, row.other, 1);
    expectOnlyChanged(&row);
    unsetenv(row.env);
  }
}

TEST_F(ConfSettings, AreEachReadFromTheirSectionAndKey) {
  for (const Row& row : ROWS) {
    writeSystemFile(line(row));
    expectOnlyChanged(&row);
  }
}

TEST_F(ConfSettings, TheTableHoldsTheNamesToTheLetter) {
  const Row* row = ROWS;
#define ZOL_SETTING(field, settingKey, settingSection, settingEnv, type, def)                      \
  EXPECT_STREQ(row->key, settingKey);                                                              \
  EXPECT_STREQ(row->section, settingSection);                                                      \
  EXPECT_STREQ(row->env, settingEnv);                                                              \
  ++row;
#include "foundation/conf_settings.def"
  EXPECT_EQ(std::end(ROWS), row);
}

TEST_F(ConfSettings, TheOlderAndTheNewerListsAreIndependent) {
  setenv("ZOL_GL_BLACKLIST", "a", 1);
  setenv("ZOL_GL_DENYLIST", "b", 1);
  const zol::conf::Settings settings;
  EXPECT_STREQ("a", settings.blacklist);
  EXPECT_STREQ("b", settings.denylist);
}

TEST_F(ConfSettings, VerboseInCapitalsBetweenBlanksIsTrue) {
  setenv("ZOL_GL_VERBOSE", " TRUE ", 1);
  EXPECT_TRUE(zol::conf::Settings().verbose);
}

TEST_F(ConfSettings, AnInvalidVerboseLeavesItToTheFilesAndTheDefault) {
  for (const char* value : {"yes", "00000001"}) {
    setenv("ZOL_GL_VERBOSE", value, 1);
    std::filesystem::remove("system.conf");
    EXPECT_FALSE(zol::conf::Settings().verbose) << value;
    writeSystemFile("[log]\nverbose=1\n");
    EXPECT_TRUE(zol::conf::Settings().verbose) << value;
  }
}

TEST_F(ConfSettings, ANullLevelOfTheAdminFileDoesNotHideTheEnvironment) {
  writeAdminFile("[log]\nlevel = <null>\n");
  setenv("ZOL_GL_LOG_LEVEL", "debug", 1);
  EXPECT_STREQ("debug", zol::conf::Settings().level);
}

TEST_F(ConfSettings, AMultisampleOf4xIsInvalidAndOneBelowZeroIsNot) {
  writeSystemFile("[gl]\nmultisample=8\n");
  setenv("ZOL_GL_MULTISAMPLE", "4x", 1);
  EXPECT_EQ(8, zol::conf::Settings().multisample);
  setenv("ZOL_GL_MULTISAMPLE", "-1", 1);
  EXPECT_EQ(-1, zol::conf::Settings().multisample);
}

TEST_F(ConfSettings, ParsingAgainReadsEverythingAnew) {
  writeAdminFile("[gl]\ngl-display=:1\n");
  zol::conf::Settings settings;
  setenv("ZOL_GL_DENYLIST", "program", 1);
  writeAdminFile("[gl]\ngl-display=:2\ncopyback-frame-rate=60\n");
  settings.parse();
  EXPECT_STREQ(":2", settings.glDisplay);
  EXPECT_EQ(60, settings.copybackFrameRate);
  EXPECT_STREQ("program", settings.denylist);
}

TEST_F(ConfSettings, FreedTextsAreNull) {
  setenv("ZOL_GL_LOG_DIR", "/tmp", 1);
  zol::conf::Settings settings;
  settings.freeSettings();
  EXPECT_EQ(nullptr, settings.level);
  EXPECT_EQ(nullptr, settings.directory);
  settings.freeSettings();
}

TEST_F(ConfSettings, WithoutMemoryATextIsNull) {
  setenv("ZOL_GL_DENYLIST", "a", 1);
  fakes.strdupsLeft = 1; // the level is copied, the next text is not
  const zol::conf::Settings settings;
  EXPECT_STREQ("warning", settings.level);
  EXPECT_EQ(nullptr, settings.denylist);
}

TEST_F(ConfSettings, OfTheProcessAreOneRecordThatIsReadOnce) {
  zol::conf::Settings::init();
  zol::conf::Settings& settings = zol::conf::settings();
  EXPECT_EQ(&settings, zol::conf::Settings::instance());
  zol::conf::Settings::reload();
  EXPECT_EQ(30, settings.copybackFrameRate);
  setenv("ZOL_GL_COPYBACK_FRAME_RATE", "55", 1);
  zol::conf::Settings::init();
  EXPECT_EQ(30, zol::conf::settings().copybackFrameRate);
  zol::conf::Settings::reload();
  EXPECT_EQ(55, settings.copybackFrameRate);
}

TEST_F(ConfSettings, SampleQueriesCanBeSwitchedOff) {
  zol::conf::Settings settings;
  EXPECT_TRUE(settings.useSampleQueries);
  settings.useSampleQueries = false;
  EXPECT_FALSE(settings.useSampleQueries);
}

} // namespace
