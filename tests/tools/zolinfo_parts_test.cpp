#include "tools/zolinfo/json_writer.h"
#include "tools/zolinfo/library_log.h"
#include "tools/zolinfo/local_display.h"
#include "tools/zolinfo/output.h"
#include "tools/zolinfo/probe_process.h"
#include "tools/zolinfo/settings_findings.h"
#include "tools/zolinfo/text_table.h"

#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

namespace zol::tools {

namespace {

TEST(ZolinfoJson, NestsObjectsAndArrays) {
  JsonWriter json;
  json.beginObject().pair("a", 1).key("b").beginArray().value("x").value(true).endArray();
  json.key("c").beginObject().endObject().pair("d", static_cast<const char*>(nullptr));
  EXPECT_EQ(json.endObject().text(), R"({
  "a": 1,
  "b": [
    "x",
    true
  ],
  "c": {},
  "d": null
}
)");
}

TEST(ZolinfoJson, EscapesWhatMayNotStandInAText) {
  EXPECT_EQ(jsonQuoted("a\"b\\c\n\t\x01"), R"("a\"b\\c\n\t\u0001")");
  EXPECT_EQ(jsonQuoted("\xC3\xA4 \xE2\x82\xAC"), "\"\xC3\xA4 \xE2\x82\xAC\"");
  EXPECT_EQ(jsonQuoted("a\xFF\xC3(\xE2\x82"), "\"a\?\?(\?\?\"");
}

TEST(ZolinfoTable, ColumnsAreAsWideAsTheirWidestCell) {
  TextTable table;
  table.add({"a", "bbb", "c"});
  table.add({"aaa", "b"});
  table.add({"aa", "", "cc"});
  EXPECT_EQ(table.text(), "a    bbb  c\naaa  b\naa        cc\n");
}

TEST(ZolinfoLog, PicksTheLibrarysRecordsOutOfTheRest) {
  const LibraryLog log = LibraryLog::parse(
      "driver chatter\n"
      "I Nov 20 22:41:38:000001 7:7 ZOLGL (int f(uint32_t)): YRSO ZOL-GL 1.2 (abc) (64 bit "
      "version)\n"
      "ERROR: system_glXFoo is NULL\n"
      "E Nov 20 22:41:38:000002 7:7 ZOLGL (void f(void*)): system_glXFoo is NULL\n"
      "W Nov 20 22:41:38:000003 7:7 ZOLGL (f): first\n"
      "E Nov 20 22:41:38:000003 7:7 ZOL (f): second\n"
      "W Nov 20 22:41:38:000004 7:8 ZOLGL (f): first\n"
      "I Nov 20 22:41:38:000005 7:7 ZOLGL (f): Vendor 'libGLX_x.so.0' was selected for local "
      "display\n"
      "D Nov 20 22:41:38:000006 7:7 ZOLGL (f): LVI 0x55: fbconfig 0x66, fbconfig id 0x160, local "
      "visual id 0x21, app visual id 0x3f5\n"
      "D Nov 20 22:41:38:000006 7:7 ZOLGL (f): Could not find any compatible FBConfig for app "
      "visual id 22 - dropping item\n"
      "D Nov 20 22:41:38:000006 7:7 ZOLGL (f): Could not determine a local XVisual for app visual "
      "2f - dropping item\n"
      "XIO:  fatal IO error 0 (Success) on X server \":7\"\n");
  EXPECT_EQ(log.version, "1.2 (abc)");
  EXPECT_EQ(log.wordSize, "64");
  EXPECT_EQ(log.driver, "libGLX_x.so.0");
  EXPECT_EQ(log.complaints,
            (std::vector<std::string>{"first", "second",
                                      "fatal IO error 0 (Success) on X server \":7\""}));
  ASSERT_EQ(log.visuals.size(), 3U);
  EXPECT_EQ(log.visuals.at(0x3f5).fbconfig, 0x160U);
  EXPECT_EQ(log.visuals.at(0x3f5).localVisual, 0x21U);
  EXPECT_EQ(log.visuals.at(0x22).droppedBecause, "no FBConfig like it");
  EXPECT_EQ(log.visuals.at(0x2f).droppedBecause, "no local visual of its depth");
}

TEST(ZolinfoProbe, IsKilledWhenItDoesNotEnd) {
  const ProbeOutcome outcome = runAsProbe("--never-end", {}, std::chrono::seconds(2));
  EXPECT_FALSE(outcome.inTime);
  EXPECT_EQ(outcome.out, "begun\n");
}

TEST(ZolinfoProbe, TellsHowItEnded) {
  const ProbeOutcome crashed = runAsProbe("--crash", {}, std::chrono::seconds(60));
  EXPECT_TRUE(crashed.inTime);
  EXPECT_EQ(crashed.signal, SIGUSR1);
  const ProbeOutcome ended =
      runAsProbe("--print-variable", {{"PROBE_TEST", "7"}}, std::chrono::seconds(60));
  EXPECT_TRUE(ended.inTime);
  EXPECT_EQ(ended.signal, 0);
  EXPECT_EQ(ended.status, 7);
  EXPECT_EQ(ended.out, "7");
  EXPECT_EQ(ended.err, "said");
}

class ZolinfoLocalDisplay : public testing::Test {
protected:
  ZolinfoLocalDisplay() {
    settings.values.push_back({findSetting("gl-display"), std::nullopt, SettingSource::DEFAULT});
  }

  SettingsReport settings;
  DisplayFacts application;
};

TEST_F(ZolinfoLocalDisplay, IsNamedByTheSettingTheApplicationDisplayOrNobody) {
  using Origin = LocalDisplayName::Origin;
  const auto expectChoice = [&](const std::string& name, Origin origin) {
    const LocalDisplayName local = chooseLocalDisplay(settings, ":20", &application);
    EXPECT_EQ(local.name, name);
    EXPECT_EQ(local.origin, origin);
  };
  expectChoice(":0.0", Origin::builtIn);
  application.glDisplay = ""; // the server leaves it to the environment
  expectChoice(":20", Origin::environment);
  application.glDisplay = ":1";
  expectChoice(":1", Origin::applicationDisplay);
  settings.values[0].value = ":2";
  expectChoice(":2", Origin::setting);
}

TEST_F(ZolinfoLocalDisplay, IsOneServerWithAnyOtherNameOfIt) {
  const auto lead = [](const char* a, const char* b) {
    return leadToOneServer(a, nullptr, b, nullptr);
  };
  EXPECT_TRUE(lead(":20", ":20"));
  EXPECT_TRUE(lead(":20", ":20.0"));
  EXPECT_TRUE(lead("unix:20", ":20.1"));
  EXPECT_TRUE(lead("localhost:20", "unix:20"));
  EXPECT_TRUE(lead("host:20", "host:20.0"));
  EXPECT_FALSE(lead(":20", ":2"));
  EXPECT_FALSE(lead("host:20", ":20"));
  EXPECT_FALSE(lead("host", "other"));
  DisplayFacts one;
  DisplayFacts other;
  EXPECT_FALSE(leadToOneServer(":1", &one, ":2", &other)); // 0 is no process
  one.serverPid = other.serverPid = 7;
  EXPECT_TRUE(leadToOneServer(":1", &one, ":2", &other));
}

SettingsReport reportWithBrokenSystemFile() {
  SettingsReport report;
  report.files[0] = {
      .source = SettingSource::ADMIN_FILE, .path = "/a", .reason = {}, .entries = {}};
  report.files[1] = {.source = SettingSource::USER_FILE,
                     .state = SettingsFile::State::unused,
                     .path = "/u",
                     .reason = {},
                     .entries = {}};
  report.files[2] = {.source = SettingSource::SYSTEM_FILE,
                     .state = SettingsFile::State::broken,
                     .path = "/s",
                     .reason = "No such file or directory.",
                     .entries = {}};
  for (const Setting& row : settingTable())
    report.values.push_back(
        {&row, row.defaultText ? std::optional<std::string>(row.defaultText) : std::nullopt,
         SettingSource::DEFAULT});
  return report;
}

TEST(ZolinfoSettings, ABrokenSystemFileTakesTheUsersOutOfUse) {
  const SettingsReport report = reportWithBrokenSystemFile();
  const std::string text = configTextOf(report, findingsAbout(report));
  EXPECT_TRUE(text.starts_with("admin file   /a  absent\n"
                               "user file    /u  not used, because the system file is broken\n"
                               "system file  /s  BROKEN: No such file or directory.\n\n"))
      << text;
  EXPECT_NE(text.find("WARNING  The user file /u is not used, because the system file is broken.\n"
                      "         Mend the system file.\n"
                      "WARNING  The system file /s is broken: No such file or directory. Nothing "
                      "in it counts.\n"
                      "         Mend the line, or remove the file.\n"),
            std::string::npos)
      << text;
}

TEST(ZolinfoRenderer, SoftwareIsKnownByItsName) {
  GLFacts gl;
  for (const char* name : {"llvmpipe (LLVM 15.0.6, 256 bits)", "softpipe", "Software Rasterizer",
                           "zink Vulkan 1.3 (llvmpipe (LLVM 15.0.6, 256 bits))"}) {
    gl.renderer = name;
    EXPECT_TRUE(gl.isSoftware()) << name;
  }
  for (const char* name : {"NVIDIA GeForce RTX 3080/PCIe/SSE2", "Mesa Intel(R) UHD Graphics 620",
                           "AMD Radeon RX 6800 (radeonsi, navi21)"}) {
    gl.renderer = name;
    EXPECT_FALSE(gl.isSoftware()) << name;
  }
}

} // namespace

} // namespace zol::tools

// What runAsProbe finds when it runs this program again.
int main(int argc, char** argv) {
  const std::string word = argc == 2 ? argv[1] : "";
  if (word == "--never-end") {
    puts("begun");
    fflush(stdout);
    for (;;)
      pause();
  }
  if (word == "--crash") raise(SIGUSR1);
  if (word == "--print-variable") {
    fputs(getenv("PROBE_TEST"), stdout);
    fputs("said", stderr);
    return atoi(getenv("PROBE_TEST"));
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
