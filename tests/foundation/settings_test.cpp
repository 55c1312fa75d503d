#include "foundation/foundation_test.h"
#include "foundation/settings.h"

namespace {

class SettingsTest : public FoundationTest {
protected:
  // The value of section "s", key "k", variable ZOL_GL_TEST from all the sources, read anew.
  std::string text(const char* def = "default") {
    zol::Settings settings("zol-gl.conf");
    settings.parse();
    return owned(settings.stringSetting("ZOL_GL_TEST", "s", "k", def));
  }
  bool flag(bool def) {
    zol::Settings settings("zol-gl.conf");
    settings.parse();
    return settings.boolSetting("ZOL_GL_TEST", "s", "k", def);
  }
  int number(int def) {
    zol::Settings settings("zol-gl.conf");
    settings.parse();
    return settings.intSetting("ZOL_GL_TEST", "s", "k", def);
  }
  double real(double def) {
    zol::Settings settings("zol-gl.conf");
    settings.parse();
    return settings.doubleSetting("ZOL_GL_TEST", "s", "k", def);
  }
  static void setVariable(const std::string& value) { setenv("ZOL_GL_TEST", value.c_str(), 1); }
  ~SettingsTest() override { unsetenv("ZOL_GL_TEST"); }

  static std::string key(const std::string& value) { return "[s]\nk=" + value + "\n"; }
};

TEST_F(SettingsTest, TheAdminFileBeatsTheEnvironmentTheUserTheSystemAndTheDefault) {
  EXPECT_EQ("default", text());
  EXPECT_EQ("(null)", text(nullptr));
  writeSystemFile(key("system"));
  EXPECT_EQ("system", text());
  writeUserFile(key("user"));
  EXPECT_EQ("user", text());
  setVariable("environment");
  EXPECT_EQ("environment", text());
  writeAdminFile(key("admin"));
  EXPECT_EQ("admin", text());
}

TEST_F(SettingsTest, TheSourceOfAValueIsToldToWhoAsks) {
  const auto sourceOf = [](auto look) {
    zol::Settings settings("zol-gl.conf");
    settings.parse();
    auto source = static_cast<zol::SettingSource>(-1);
    look(settings, &source);
    return source;
  };
  const auto expectSource = [&](zol::SettingSource source) {
    EXPECT_EQ(source, sourceOf([](auto& settings, auto* out) {
                settings.boolSetting("ZOL_GL_TEST", "s", "k", false, out);
              }));
    EXPECT_EQ(source, sourceOf([](auto& settings, auto* out) {
                settings.intSetting("ZOL_GL_TEST", "s", "k", 9, out);
              }));
    EXPECT_EQ(source, sourceOf([](auto& settings, auto* out) {
                settings.doubleSetting("ZOL_GL_TEST", "s", "k", 9, out);
              }));
    EXPECT_EQ(source, sourceOf([](auto& settings, auto* out) {
                owned(settings.stringSetting("ZOL_GL_TEST", "s", "k", nullptr, out));
              }));
  };
  expectSource(zol::SettingSource::DEFAULT);
  writeSystemFile(key("1"));
  expectSource(zol::SettingSource::SYSTEM_FILE);
  writeUserFile(key("1"));
  expectSource(zol::SettingSource::USER_FILE);
  setVariable("1");
  expectSource(zol::SettingSource::ENVIRONMENT);
  writeAdminFile(key("1"));
  expectSource(zol::SettingSource::ADMIN_FILE);
  writeAdminFile(key("<null>")); // no value of any type
  expectSource(zol::SettingSource::ENVIRONMENT);
}

TEST_F(SettingsTest, ThePlacesOfTheFilesAreToldWhetherTheyExistOrNot) {
  const zol::SettingsPaths paths("zol-gl.conf");
  EXPECT_STREQ("zol-gl.conf.admin", paths.admin.get());
  EXPECT_EQ((directory / "home/.config/zol/zol-gl.conf").string(), paths.user.get());
  EXPECT_STREQ("/etc/zol/zol-gl.conf", paths.system.get());
  unsetenv("HOME");
  EXPECT_EQ(nullptr, zol::SettingsPaths("zol-gl.conf").user.get());
}

TEST_F(SettingsTest, TheOrderHoldsForEveryType) {
  writeSystemFile(key("1"));
  EXPECT_TRUE(flag(false));
  EXPECT_EQ(1, number(9));
  EXPECT_EQ(1.0, real(9));
  writeUserFile(key("0"));
  EXPECT_FALSE(flag(true));
  EXPECT_EQ(0, number(9));
  EXPECT_EQ(0.0, real(9));
  setVariable("1");
  EXPECT_TRUE(flag(false));
  EXPECT_EQ(1, number(9));
  EXPECT_EQ(1.0, real(9));
  writeAdminFile(key("0"));
  EXPECT_FALSE(flag(true));
  EXPECT_EQ(0, number(9));
  EXPECT_EQ(0.0, real(9));
}

TEST_F(SettingsTest, AValueThatDoesNotConvertDoesNotEndTheSearch) {
  writeAdminFile(key("many"));
  setVariable("several");
  writeSystemFile(key("7"));
  writeUserFile(key("6"));
  EXPECT_EQ(6, number(9));
  writeUserFile(key("some"));
  EXPECT_EQ(7, number(9));
  writeSystemFile(key("few"));
  EXPECT_EQ(9, number(9));
  EXPECT_TRUE(flag(true));
  EXPECT_EQ(2.5, real(2.5));
}

TEST_F(SettingsTest, TheTextNullIsNoValue) {
  writeAdminFile(key("<null>"));
  setVariable("environment");
  EXPECT_EQ("environment", text());
  setVariable(" <null> ");
  EXPECT_EQ("default", text());
  setVariable("<NULL>");
  EXPECT_EQ("<NULL>", text());
}

TEST_F(SettingsTest, AnEmptyValueIsNoValue) {
  writeAdminFile(key(""));
  setVariable(" \t ");
  writeSystemFile(key("system"));
  EXPECT_EQ("system", text());
}

TEST_F(SettingsTest, TheEnvironmentIsStrippedOfWhiteSpace) {
  setVariable(" \t\n two words \v\f\r");
  EXPECT_EQ("two words", text());
  setVariable(" TRUE ");
  EXPECT_TRUE(flag(false));
}

TEST_F(SettingsTest, AFlagOfMoreThanSevenCharactersIsIgnored) {
  setVariable("0000001");
  EXPECT_TRUE(flag(false));
  setVariable("00000001");
  EXPECT_FALSE(flag(false));
  setVariable("   true ");
  EXPECT_FALSE(flag(false)) << "white space counts";
}

TEST_F(SettingsTest, ANumberOfMoreThanThirtyOneCharactersIsIgnored) {
  setVariable(std::string(30, '0') + "5");
  EXPECT_EQ(5, number(9));
  EXPECT_EQ(5.0, real(9));
  setVariable(std::string(31, '0') + "5");
  EXPECT_EQ(9, number(9));
  EXPECT_EQ(9.0, real(9));
}

TEST_F(SettingsTest, ATextOfMoreThanAThousandAndTwentyThreeCharactersIsIgnored) {
  const std::string longest(1023, 'x');
  setVariable(longest);
  EXPECT_EQ(longest, text());
  setVariable(longest + "x");
  EXPECT_EQ("default", text());
}

TEST_F(SettingsTest, TextsFromTheFilesAreAsLongAsTheLineAllows) {
  writeAdminFile(key(std::string(190, 'x')));
  EXPECT_EQ(std::string(190, 'x'), text());
  writeAdminFile(key("0000000001"));
  EXPECT_TRUE(flag(false)) << "the limits are those of the environment only";
}

struct Conversion {
  const char* text;
  std::optional<double> value;
};

TEST(SettingsConversions, OfFlags) {
  const Conversion cases[] = {
      {"true", 1},    {"TRUE", 1},   {"True", 1},        {"false", 0},
      {"FALSE", 0},   {"1", 1},      {"0", 0},           {"01", 1},
      {"-0", 0},      {"+1", 1},     {"2", {}},          {"-1", {}},
      {"yes", {}},    {"no", {}},    {"on", {}},         {"true ", {}},
      {"1.0", {}},    {"1x", {}},    {"0x1", {}},        {"", {}},
      {"<null>", {}}, {nullptr, {}}, {"4294967297", {}}, {"18446744073709551617", {}},
  };
  for (const auto& [text, value] : cases) {
    bool invalid = value.has_value();
    const bool result = zol::Settings::toBool(text, &invalid);
    EXPECT_EQ(!value, invalid) << (text ? text : "null");
    if (value) {
      EXPECT_EQ(*value != 0, result) << text;
    }
  }
}

TEST(SettingsConversions, OfNumbers) {
  const Conversion cases[] = {
      {"0", 0},       {"-1", -1}, {"+7", 7},     {"010", 10}, {"2147483647", 2147483647},
      {"4x", {}},     {"x", {}},  {"0x10", {}},  {"1.5", {}}, {"", {}},
      {"<null>", {}}, {"-", {}},  {nullptr, {}}, {"1 ", {}},  {"-2147483648", -2147483648.0},
  };
  for (const auto& [text, value] : cases) {
    bool invalid = value.has_value();
    const int result = zol::Settings::toInt(text, &invalid);
    EXPECT_EQ(!value, invalid) << (text ? text : "null");
    if (value) {
      EXPECT_EQ(*value, result) << text;
    }
  }
}

TEST(SettingsConversions, OfFractions) {
  const Conversion cases[] = {
      {"0", 0},   {"-1.5", -1.5}, {"1e3", 1000}, {".5", 0.5},    {"0x10", 16},
      {"4x", {}}, {"x", {}},      {"", {}},      {"<null>", {}}, {nullptr, {}},
  };
  for (const auto& [text, value] : cases) {
    bool invalid = value.has_value();
    const double result = zol::Settings::toDouble(text, &invalid);
    EXPECT_EQ(!value, invalid) << (text ? text : "null");
    if (value) {
      EXPECT_EQ(*value, result) << text;
    }
  }
}

TEST(SettingsConversions, OfTexts) {
  EXPECT_EQ("a b", owned(zol::Settings::toString("a b")));
  EXPECT_EQ(nullptr, zol::Settings::toString(""));
  EXPECT_EQ(nullptr, zol::Settings::toString("<null>"));
  EXPECT_EQ(nullptr, zol::Settings::toString(nullptr));
}

TEST_F(SettingsTest, WithoutMemoryATextIsNull) {
  writeAdminFile(key("admin"));
  zol::Settings settings("zol-gl.conf");
  settings.parse();
  fakes.strdupsLeft = 0;
  EXPECT_EQ(nullptr, settings.stringSetting("ZOL_GL_TEST", "s", "k", "default"));
  fakes.strdupsLeft = 0;
  EXPECT_EQ(nullptr, settings.stringSetting("ZOL_GL_TEST", "s", "other", "default"));
}

TEST_F(SettingsTest, TheAdminFileIsOneOfTheCurrentDirectory) {
  write("elsewhere/zol-gl.conf.admin", key("admin"));
  EXPECT_EQ("default", text());
  std::filesystem::current_path(directory / "elsewhere");
  EXPECT_EQ("admin", text());
}

// Their caller must not choose where they write a log, or which X server they trust.
TEST_F(SettingsTest, ProgramsWithMoreRightsThanTheirCallerHaveTheSystemFileAlone) {
  writeAdminFile(key("admin"));
  setVariable("environment");
  writeUserFile(key("user"));
  writeSystemFile(key("system"));
  fakes.privileged = true;
  EXPECT_EQ("system", text());
  const zol::SettingsPaths paths("zol-gl.conf");
  EXPECT_EQ(nullptr, paths.admin);
  EXPECT_EQ(nullptr, paths.user);
  fakes.privileged = false;
  EXPECT_EQ("admin", text());
}

TEST_F(SettingsTest, TheSystemFileIsInEtcZol) {
  fakes.paths = {{"/etc/zol/zol-gl.conf", write("other", key("system"))}};
  EXPECT_EQ("system", text());
}

TEST_F(SettingsTest, OnlyFilesThatExistAtConstructionAreRead) {
  zol::Settings settings("zol-gl.conf");
  writeAdminFile(key("admin"));
  settings.parse();
  EXPECT_EQ("default", owned(settings.stringSetting("ZOL_GL_TEST", "s", "k", "default")));
}

TEST_F(SettingsTest, AFileThatVanishedAfterConstructionIsReportedAndDropped) {
  writeAdminFile(key("admin"));
  zol::Settings settings("zol-gl.conf");
  std::filesystem::remove("zol-gl.conf.admin");
  EXPECT_EQ("Cannot open .ini file \"zol-gl.conf.admin\": No such file or directory.\n"
            "Cannot parse settings file \"zol-gl.conf.admin\":<errnum 6> <linenum 0> "
            "<errstr No such file or directory.>\n",
            stderrOf([&] { settings.parse(); }));
}

class UserFileTest : public SettingsTest {
protected:
  // Which of the places holds the file that is read.
  UserFileTest() {
    write("confdir/zol-gl.conf", key("ZOL_GL_USER_CONFDIR"));
    write("xdg/zol/zol-gl.conf", key("XDG_CONFIG_HOME"));
    writeUserFile(key("HOME"));
    write("home/.zol/conf/zol-gl.conf", key("old"));
    write("zol/zol-gl.conf", key("relative"));
  }
  void set(const char* name, const std::string& value) { setenv(name, value.c_str(), 1); }
};

TEST_F(UserFileTest, ComesFromTheHomeDirectory) {
  EXPECT_EQ("HOME", text());
}

TEST_F(UserFileTest, ComesFromTheXdgDirectoryBeforeTheHomeDirectory) {
  set("XDG_CONFIG_HOME", directory / "xdg");
  EXPECT_EQ("XDG_CONFIG_HOME", text());
  unsetenv("HOME");
  EXPECT_EQ("XDG_CONFIG_HOME", text());
}

TEST_F(UserFileTest, ComesFromItsOwnVariableBeforeAll) {
  set("XDG_CONFIG_HOME", directory / "xdg");
  set("ZOL_GL_USER_CONFDIR", directory / "confdir");
  EXPECT_EQ("ZOL_GL_USER_CONFDIR", text());
}

TEST_F(UserFileTest, IsTheFirstThatIsNamedAndNotTheFirstThatExists) {
  set("ZOL_GL_USER_CONFDIR", directory / "absent");
  EXPECT_EQ("default", text());
}

TEST_F(UserFileTest, AnEmptyVariableOfItsOwnLeadsToTheOldPlace) {
  set("XDG_CONFIG_HOME", directory / "xdg");
  set("ZOL_GL_USER_CONFDIR", "");
  EXPECT_EQ("old", text());
}

TEST_F(UserFileTest, AnEmptyXdgDirectoryLeadsToTheOldPlace) {
  set("XDG_CONFIG_HOME", "");
  EXPECT_EQ("old", text());
}

TEST_F(UserFileTest, AnEmptyHomeDirectoryLeadsToTheOldPlaceInTheCurrentOne) {
  write(".zol/conf/zol-gl.conf", key("old and relative"));
  set("HOME", "");
  EXPECT_EQ("old and relative", text());
}

// A path of exactly `length` characters that names the directory.
std::string padded(const std::string& directory, size_t length) {
  return directory + std::string(length - directory.size(), '/');
}

TEST_F(UserFileTest, AVariableOfItsOwnThatDoesNotFitIsPassedOver) {
  set("XDG_CONFIG_HOME", directory / "xdg");
  set("ZOL_GL_USER_CONFDIR", padded(directory / "confdir", 1023));
  EXPECT_EQ("ZOL_GL_USER_CONFDIR", text());
  set("ZOL_GL_USER_CONFDIR", padded(directory / "confdir", 1024));
  EXPECT_EQ("XDG_CONFIG_HOME", text());
}

TEST_F(UserFileTest, AnXdgDirectoryThatDoesNotFitWithItsEndLeadsToTheOldPlace) {
  set("XDG_CONFIG_HOME", padded(directory / "xdg", 1023 - 4));
  EXPECT_EQ("XDG_CONFIG_HOME", text());
  set("XDG_CONFIG_HOME", padded(directory / "xdg", 1023 - 3));
  EXPECT_EQ("old", text());
  set("XDG_CONFIG_HOME", padded(directory / "xdg", 2000));
  EXPECT_EQ("old", text());
}

TEST_F(UserFileTest, AHomeDirectoryThatDoesNotFitWithItsEndLeadsToTheOldPlace) {
  set("HOME", padded(directory / "home", 1023 - 12));
  EXPECT_EQ("HOME", text());
  set("HOME", padded(directory / "home", 1023 - 11));
  EXPECT_EQ("old", text());
  set("HOME", padded(directory / "home", 1024));
  EXPECT_EQ("default", text());
}

TEST_F(UserFileTest, WithoutAnyVariableOnlyTheAdminAndTheSystemFileAreRead) {
  write(".zol/conf/zol-gl.conf", key("old and relative"));
  unsetenv("HOME");
  EXPECT_EQ("default", text());
  writeSystemFile(key("system"));
  EXPECT_EQ("system", text());
  writeAdminFile(key("admin"));
  EXPECT_EQ("admin", text());
}

class BrokenFileTest : public SettingsTest {
protected:
  BrokenFileTest() {
    admin = writeAdminFile("[s]\na=admin\n");
    user = writeUserFile("[s]\nu=user\n");
    system = writeSystemFile("[s]\ny=system\n");
  }
  static std::string report(const std::string& file, const std::string& shown) {
    return "Cannot parse .ini file \"" + file + "\": Parse error. (line 2)\n" +
           "Cannot parse settings file \"" + shown +
           "\":<errnum 1> <linenum 2> <errstr Parse error.>\n";
  }
  // Which of the three files still answer. One that was dropped is not even asked.
  static std::string answering(const zol::Settings& settings) {
    std::string values;
    EXPECT_EQ("", stderrOf([&] {
                for (const char* k : {"a", "u", "y"})
                  values += owned(settings.stringSetting("ZOL_GL_TEST", "s", k, "-")) + " ";
              }));
    return values;
  }
  std::string admin, user, system;
};

TEST_F(BrokenFileTest, AnAdminFileIsReportedAndDropped) {
  writeAdminFile("[s]\nbroken\n");
  zol::Settings settings("zol-gl.conf");
  EXPECT_EQ(report("zol-gl.conf.admin", "zol-gl.conf.admin"), stderrOf([&] { settings.parse(); }));
  EXPECT_EQ("- user system ", answering(settings));
}

TEST_F(BrokenFileTest, AUserFileIsReportedAndDropped) {
  writeUserFile("[s]\nbroken\n");
  zol::Settings settings("zol-gl.conf");
  EXPECT_EQ(report(user, user), stderrOf([&] { settings.parse(); }));
  EXPECT_EQ("admin - system ", answering(settings));
}

TEST_F(BrokenFileTest, ASystemFileTakesTheUserFileOutOfUseToo) {
  writeSystemFile("[s]\nbroken\n");
  zol::Settings settings("zol-gl.conf");
  EXPECT_EQ(report("/etc/zol/zol-gl.conf", "/etc/zol/zol-gl.conf"),
            stderrOf([&] { settings.parse(); }));
  EXPECT_EQ("admin - - ", answering(settings));
  EXPECT_EQ("", stderrOf([&] { settings.parse(); }));
  EXPECT_EQ("admin - - ", answering(settings));
  settings.closeIniFiles();
  EXPECT_EQ("- - - ", answering(settings));
}

TEST_F(BrokenFileTest, AllThreeAreReportedInOrder) {
  for (const char* file : {"zol-gl.conf.admin", "home/.config/zol/zol-gl.conf", "system.conf"})
    write(file, "[s]\nbroken\n");
  zol::Settings settings("zol-gl.conf");
  EXPECT_EQ(report("zol-gl.conf.admin", "zol-gl.conf.admin") + report(user, user) +
                report("/etc/zol/zol-gl.conf", "/etc/zol/zol-gl.conf"),
            stderrOf([&] { settings.parse(); }));
  EXPECT_EQ("- - - ", answering(settings));
}

TEST_F(BrokenFileTest, ClosedFilesAnswerNothing) {
  zol::Settings settings("zol-gl.conf");
  settings.parse();
  EXPECT_EQ("admin user system ", answering(settings));
  settings.closeIniFiles();
  EXPECT_EQ("- - - ", answering(settings));
}

} // namespace
