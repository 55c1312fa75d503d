// The annotated settings file and the manual of the settings: both have every setting, with what
// the library takes for its default.

#include "foundation/ini_file.h"
#include "scratch_folder.h"
#include "tests/tools/program.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

namespace zol::test {

namespace {

constexpr char kSample[] = ZOL_MANUALS "/zol-gl.conf";
constexpr size_t kLongestLine = 199; // what the reader takes

struct Setting {
  std::string key;
  std::string section;
  std::string variable;
  std::string type;
  std::string standard; // as the file has it; empty when unset
};

// Spelt out apart from the program that writes the texts.
const std::vector<Setting>& settings() {
  struct Text {
    std::string text;
    Text(bool value) : text(value ? "true" : "false") {}
    Text(int value) : text(std::to_string(value)) {}
    Text(const char* value) : text(value ? value : "") {}
    Text(std::nullptr_t) {}
  };
  const auto typeOf = [](const std::string& name) {
    return name == "Number" ? "int" : name == "Text" ? "string" : "bool";
  };
  static const std::vector<Setting> all = {
#define ZOL_SETTING(field, key, section, env, type, def)                                           \
  {key, section, env, typeOf(#type), Text(def).text},
#include "foundation/conf_settings.def"
  };
  return all;
}

std::vector<std::string> linesOf(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);)
    lines.push_back(line);
  return lines;
}

std::string assignment(const Setting& setting) {
  return setting.key + " =" + (setting.standard.empty() ? "" : " " + setting.standard);
}

TEST(SampleSettingsFile, HasEverySettingOnceWithItsDefault) {
  const std::vector<std::string> lines = linesOf(kSample);
  ASSERT_EQ(settings().size(), 39U);
  for (const Setting& setting : settings()) {
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "#" + assignment(setting)), 1) << setting.key;
    const std::string facts = "# (" + setting.type + "; variable " + setting.variable + ")";
    EXPECT_EQ(std::count(lines.begin(), lines.end(), facts), 1) << facts;
  }
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "#copyback-frame-rate = 30"), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "#multisample = -1"), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "#level = warning"), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "#gl-display ="), 1);
}

TEST(SampleSettingsFile, ChangesNothingByItself) {
  zol::IniFile file;
  ASSERT_TRUE(file.parse(kSample));
  for (const Setting& setting : settings()) {
    EXPECT_EQ(file.getValue(setting.section.c_str(), setting.key.c_str()), nullptr) << setting.key;
  }
}

TEST(SampleSettingsFile, IsReadWithTheDefaultsWhenItsSettingsAreTakenOutOfTheirComments) {
  const ScratchFolder folder;
  std::ofstream out(folder / "zol-gl.conf");
  size_t settingsSeen = 0;
  for (const std::string& line : linesOf(kSample)) {
    EXPECT_LE(line.size(), kLongestLine);
    const bool isSetting = line.size() > 1 && line[0] == '#' && line[1] != ' ';
    settingsSeen += isSetting ? 1 : 0;
    out << (isSetting ? line.substr(1) : line) << "\n";
  }
  out.close();
  EXPECT_EQ(settingsSeen, settings().size());

  zol::IniFile file;
  ASSERT_TRUE(file.parse((folder / "zol-gl.conf").c_str()));
  for (const Setting& setting : settings()) {
    const char* value = file.getValue(setting.section.c_str(), setting.key.c_str());
    EXPECT_STREQ(value ? value : "", setting.standard.c_str()) << setting.key;
  }
}

// The page as it is read, on lines so long that nothing is broken.
TEST(SettingsManual, HasEverySettingWithItsDefault) {
  const Outcome page =
      run({"man", "--nj", "--nh", "-E", "UTF-8", "-l", ZOL_MANUALS "/zol-gl.conf.5"},
          {{"MANWIDTH", "2000"}, {"MANPAGER", "cat"}, {"LC_ALL", "C.UTF-8"}});
  ASSERT_EQ(page.status, 0) << page.err;
  for (const Setting& setting : settings()) {
    const std::string standard = setting.standard.empty() ? "unset" : setting.standard;
    const std::string head =
        "\n       " + setting.key + " (" + setting.type + ", " + standard + ")\n";
    const size_t at = page.out.find(head);
    ASSERT_NE(at, std::string::npos) << head;
    // In its own paragraph.
    const std::string text = page.out.substr(at, page.out.find("\n\n", at) - at);
    EXPECT_NE(text.find("Variable: " + setting.variable + "."), std::string::npos) << text;
  }
}

} // namespace

} // namespace zol::test
