#include "zolinfo_rig.h"

#include <gtest/gtest.h>

namespace zol::test {

namespace {

// The line of a setting, with runs of blanks made one.
std::string lineOf(const Outcome& outcome, const std::string& key) {
  const size_t found = outcome.out.find(" " + key + " ");
  if (found == std::string::npos) return "(none)";
  const size_t begin = outcome.out.rfind('\n', found) + 1;
  std::string line = outcome.out.substr(begin, outcome.out.find('\n', found) - begin);
  for (size_t blanks; (blanks = line.find("  ")) != std::string::npos;)
    line.erase(blanks, 1);
  return line;
}

// What follows the table.
std::string findingsOf(const Outcome& outcome) {
  const size_t last = outcome.out.find("recursive-local-display-lock");
  const size_t end = outcome.out.find("\n\n", last);
  return end == std::string::npos ? "" : outcome.out.substr(end + 2);
}

std::string warning(const std::string& text, const std::string& advice) {
  return "WARNING  " + text + "\n         " + advice + "\n";
}

TEST(ZolinfoConfig, ShowsEverySettingWithItsDefault) {
  const Zolinfo zolinfo;
  const Outcome outcome = zolinfo.run({"--config"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  const std::string folder = zolinfo.folder.path();
  const std::string pad(folder.size(), ' ');
  EXPECT_LINES(outcome.out, "admin file   " + folder +
                                "/zol-gl.conf.admin  absent\n"
                                "user file    " +
                                folder +
                                "/zol-gl.conf        absent\n"
                                "system file  /etc/zol/zol-gl.conf*absent\n"
                                R"(
section  key                                     type    value    default  from
log      verbose                                 bool    false    false    default
log      level                                   string  warning  warning  default
log      directory                               string  (unset)  (unset)  default
gl       unset-local-display                     bool    false    false    default
gl       override-cached-display                 bool    true     true     default
gl       blacklist                               string  (unset)  (unset)  default
gl       denylist                                string  (unset)  (unset)  default
gl       allowlist                               string  (unset)  (unset)  default
gl       skip-double-swap                        bool    false    false    default
Wrapper  cleanup-atexit                          bool    true     true     default
Wrapper  disable-driver-unload                   bool    true     true     default
Wrapper  disable-zol-gl-unload                   bool    false    false    default
gl       print-zol-version                       bool    false    false    default
gl       gl-display                              string  (unset)  (unset)  default
gl       debug-wait                              bool    false    false    default
gl       force-best-fbconfig                     bool    true     true     default
gl       add-gl-debug-callback                   bool    false    false    default
gl       multisample                             int     -1       -1       default
gl       glx-ext-blacklist                       string  (unset)  (unset)  default
gl       glx-ext-denylist                        string  (unset)  (unset)  default
gl       copyback-frame-rate                     int     30       30       default
gl       readback-interval                       int     0        0        default
gl       no-readback                             bool    false    false    default
gl       original-vendor                         bool    false    false    default
gl       use-sample-queries                      bool    true     true     default
gl       usexfont-mode                           int     0        0        default
gl       enable-visibility-check                 bool    true     true     default
gl       double-check-visible                    bool    true     true     default
gl       glxwaitx-sync-app-display               bool    false    false    default
gl       viewport-resize-optimization            bool    false    false    default
gl       copyback-strategy                       int     1        1        default
gl       free-drawables-without-context          bool    false    false    default
gl       refresh-pbuffer-on-visibility-changed   bool    true     true     default
gl       initialize-copyback-at-init             bool    true     true     default
gl       force-single-thread-readback            bool    false    false    default
gl       switch-context-on-drawable-destruction  bool    true     true     default
gl       check-window-before-drawing             bool    false    false    default
gl       finish-before-swap                      bool    false    false    default
gl       recursive-local-display-lock            bool    false    false    default
)");
}

TEST(ZolinfoConfig, NamesTheSourceThatEachValueComesFrom) {
  const Zolinfo zolinfo;
  zolinfo.folder.write("zol-gl.conf.admin", "[gl]\nmultisample = 1\n");
  zolinfo.folder.write("zol-gl.conf", "[gl]\nmultisample = 3\ncopyback-frame-rate = 33\n"
                                      "gl-display = :33\n");
  const Outcome outcome =
      zolinfo.run({"--config"}, {{"ZOL_GL_MULTISAMPLE", "2"}, {"ZOL_GL_DISPLAY", " :22 "}});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(lineOf(outcome, "multisample"), "gl multisample int 1 -1 admin file");
  EXPECT_EQ(lineOf(outcome, "gl-display"), "gl gl-display string :22 (unset) environment");
  EXPECT_EQ(lineOf(outcome, "copyback-frame-rate"), "gl copyback-frame-rate int 33 30 user file");
  EXPECT_EQ(lineOf(outcome, "verbose"), "log verbose bool false false default");
  EXPECT_EQ(findingsOf(outcome),
            warning("The admin file " + zolinfo.adminFile() +
                        " is in the current folder: it stands above every other source, for "
                        "programs that are started here.",
                    "Remove it, or start programs from another folder, if that is not meant."));
}

TEST(ZolinfoConfig, NamesBrokenFilesWithLineAndReason) {
  const Zolinfo zolinfo;
  zolinfo.folder.write("zol-gl.conf", "[gl]\nmultisample = 3\nnonsense\n");
  const Outcome outcome = zolinfo.run({"--config"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  EXPECT_NE(outcome.out.find("user file    " + zolinfo.userFile() +
                             "        BROKEN in line 3: Parse error.\n"),
            std::string::npos)
      << outcome.out;
  EXPECT_EQ(lineOf(outcome, "multisample"), "gl multisample int -1 -1 default");
  EXPECT_EQ(findingsOf(outcome),
            warning("The user file " + zolinfo.userFile() +
                        " is broken in line 3: Parse error. Nothing in it counts.",
                    "Mend the line, or remove the file."));
}

TEST(ZolinfoConfig, WarnsOfAVariableThatIsNoSetting) {
  const Zolinfo zolinfo;
  EXPECT_EQ(
      findingsOf(zolinfo.run({"--config"}, {{"ZOL_GL_GL_DISPLAY", ":1"},
                                            {"ZOL_GL_COPYBACK_FRAMERATE", "60"},
                                            {"ZOL_GL_XYZZY_PLUGH_FROTZ", "1"}})),
      warning("The variable ZOL_GL_COPYBACK_FRAMERATE is no setting.",
              "Is ZOL_GL_COPYBACK_FRAME_RATE meant?") +
          warning("The variable ZOL_GL_GL_DISPLAY is no setting.", "Is ZOL_GL_DISPLAY meant?") +
          warning("The variable ZOL_GL_XYZZY_PLUGH_FROTZ is no setting.",
                  "Unset it; zolinfo --config lists all settings."));
}

TEST(ZolinfoConfig, WarnsOfSettingsThatChangeNothing) {
  const Zolinfo zolinfo;
  zolinfo.folder.write("zol-gl.conf", "[wrapper]\ncleanup-atexit=0\n[gl]\ndebug-wait=1\n");
  EXPECT_EQ(
      findingsOf(zolinfo.run({"--config"}, {{"ZOL_GL_DISABLE_ZOL_GL_UNLOAD", "0"},
                                            {"ZOL_GL_FREE_DRAWABLES_WITHOUT_CONTEXT", "1"}})),
      warning("\"cleanup-atexit\" is set to false, but it changes nothing.",
              "Remove it from the user file " + zolinfo.userFile() + ".") +
          warning("\"disable-zol-gl-unload\" is set to false, but it changes nothing.",
                  "Remove it from the variable ZOL_GL_DISABLE_ZOL_GL_UNLOAD.") +
          warning("\"debug-wait\" is set to true, but it changes nothing.",
                  "Remove it from the user file " + zolinfo.userFile() + ".") +
          warning("\"free-drawables-without-context\" is set to true, but it changes nothing.",
                  "Remove it from the variable ZOL_GL_FREE_DRAWABLES_WITHOUT_CONTEXT."));
}

TEST(ZolinfoConfig, WarnsOfANegativeReadbackInterval) {
  const Zolinfo zolinfo;
  EXPECT_EQ(findingsOf(zolinfo.run({"--config"}, {{"ZOL_GL_READBACK_INTERVAL", "-1"}})),
            warning("\"readback-interval\" is -1: programs sleep after each frame, for up to 71 "
                    "minutes.",
                    "Set it to 0 or more in the variable ZOL_GL_READBACK_INTERVAL."));
  EXPECT_EQ(findingsOf(zolinfo.run({"--config"}, {{"ZOL_GL_READBACK_INTERVAL", "0"}})), "");
}

TEST(ZolinfoConfig, WarnsOfValuesThatAreIgnored) {
  const Zolinfo zolinfo;
  zolinfo.folder.write("zol-gl.conf", "[gl]\ncopyback-strategy = fast\n");
  const Outcome outcome = zolinfo.run({"--config"}, {{"ZOL_GL_MULTISAMPLE", "4x"},
                                                     {"ZOL_GL_VERBOSE", "00000001"},
                                                     {"ZOL_GL_NO_READBACK", " "},
                                                     {"ZOL_GL_LOG_LEVEL", "loud"}});
  EXPECT_EQ(lineOf(outcome, "multisample"), "gl multisample int -1 -1 default");
  EXPECT_EQ(lineOf(outcome, "verbose"), "log verbose bool false false default");
  EXPECT_EQ(findingsOf(outcome),
            warning("\"copyback-strategy\" in the user file " + zolinfo.userFile() +
                        " is set to \"fast\", which is ignored.",
                    "Set it to a whole number.") +
                warning("The variable ZOL_GL_MULTISAMPLE is set to \"4x\", which is ignored.",
                        "Set it to a whole number.") +
                warning("The variable ZOL_GL_VERBOSE is longer than 7 characters and is ignored.",
                        "Give it a shorter value.") +
                warning("\"level\" is \"loud\", which counts as warning.",
                        "Set it to error, warning, info or debug in the variable "
                        "ZOL_GL_LOG_LEVEL."));
}

TEST(ZolinfoConfig, WarnsOfKeysThatAreNotFoundWhereTheyStand) {
  const Zolinfo zolinfo;
  zolinfo.folder.write("zol-gl.conf", "[GL]\nMultisample = 2\nmultisampel = 4\nlevel = info\n");
  const Outcome outcome = zolinfo.run({"--config"});
  EXPECT_EQ(lineOf(outcome, "multisample"), "gl multisample int 2 -1 user file");
  EXPECT_EQ(findingsOf(outcome),
            warning("\"multisampel\" in the user file " + zolinfo.userFile() + " is no setting.",
                    "Is \"multisample\" meant?") +
                warning("\"level\" in the user file " + zolinfo.userFile() +
                            " stands in section [GL] and is not found there.",
                        "Move it to [log]."));
}

TEST(ZolinfoConfig, WritesTheSameAsJson) {
  const Zolinfo zolinfo;
  zolinfo.folder.write("zol-gl.conf", "[gl]\n?\n");
  const Outcome outcome = zolinfo.run({"--config", "--json"}, {{"ZOL_GL_DENYLIST", "a\\b:\"c\""}});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(outcome.out.starts_with(R"({
  "files": [
    {
      "source": "admin file",
      "path": ")" + zolinfo.adminFile() +
                                      R"(",
      "state": "absent"
    },
    {
      "source": "user file",
      "path": ")" + zolinfo.userFile() +
                                      R"(",
      "state": "broken",
      "line": 2,
      "reason": "Parse error."
    },
    {
      "source": "system file",
      "path": "/etc/zol/zol-gl.conf",
      "state": ")"))
      << outcome.out;
  EXPECT_NE(outcome.out.find(R"(  "settings": [
    {
      "section": "log",
      "key": "verbose",
      "variable": "ZOL_GL_VERBOSE",
      "type": "bool",
      "value": "false",
      "default": "false",
      "source": "default"
    },
)"),
            std::string::npos);
  EXPECT_NE(outcome.out.find(R"(    {
      "section": "gl",
      "key": "denylist",
      "variable": "ZOL_GL_DENYLIST",
      "type": "string",
      "value": "a\\b:\"c\"",
      "default": null,
      "source": "environment"
    },
)"),
            std::string::npos);
  size_t settings = 0;
  for (size_t at = 0; (at = outcome.out.find("\"variable\":", at)) != std::string::npos; ++at)
    ++settings;
  EXPECT_EQ(settings, 39U);
  EXPECT_TRUE(outcome.out.ends_with(R"(  "findings": [
    {
      "level": "warning",
      "about": "settings",
      "text": "The user file )" + zolinfo.userFile() +
                                    R"( is broken in line 2: Parse error. Nothing in it counts.",
      "advice": "Mend the line, or remove the file."
    }
  ]
}
)")) << outcome.out;
}

TEST(Zolinfo, RefusesCommandLinesThatMakeNoSense) {
  const Zolinfo zolinfo;
  const std::vector<std::pair<std::vector<std::string>, std::string>> refusals = {
      {{"--frobnicate"}, "unknown option --frobnicate"},
      {{"glxgears"}, "unknown option glxgears"},
      {{"--program"}, "--program needs a value"},
      {{"--program="}, "--program needs the name of a program"},
      {{"--config", "--visuals"}, "--visuals shows another screen: give one at a time"},
      {{"--config", "--program", "x"}, "--program has no meaning with --config"},
  };
  for (const auto& [words, message] : refusals) {
    const Outcome outcome = zolinfo.run(words);
    EXPECT_EQ(outcome.status, 2) << message;
    EXPECT_EQ(outcome.err, "zolinfo: " + message + "\nTry \"zolinfo --help\".\n");
    EXPECT_EQ(outcome.out, "");
  }
}

TEST(Zolinfo, TellsItsVersionAndItsOptions) {
  const Zolinfo zolinfo;
  const Outcome version = zolinfo.run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "zolinfo " ZOL_VERSION "\n");
  const Outcome help = zolinfo.run({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* option : {"--program NAME", "--config", "--visuals", "--json", "--version"})
    EXPECT_NE(help.out.find(option), std::string::npos) << option;
}

} // namespace

} // namespace zol::test
