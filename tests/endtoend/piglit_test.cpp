// Programs that no one here wrote: tests of Debian's package piglit, each run straight on the local
// display with Mesa's own vendor library, and through the library. tests/piglit has the lists.

#include "endtoend/displays.h"
#include "endtoend/program.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>

namespace zol::endtoend {
namespace {

using Words = std::vector<std::string>;

// Lines "name | value | value...", without those that begin with '#'.
struct Row {
  std::string name;
  Words values;
};

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

std::vector<Row> rowsOf(const std::string& fileName) {
  std::ifstream file(std::string(ZOL_PIGLIT_LISTS "/") + fileName);
  std::vector<Row> rows;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() == '#') continue;
    std::istringstream fields(line);
    Row row;
    for (std::string field; std::getline(fields, field, '|');) {
      if (row.name.empty())
        row.name = trimmed(field);
      else
        row.values.push_back(trimmed(field));
    }
    rows.push_back(row);
  }
  return rows;
}

Words wordsOf(const std::string& text) {
  std::istringstream stream(text);
  Words words;
  for (std::string word; stream >> word;)
    words.push_back(word);
  return words;
}

// A test of piglit, with what the environment must hold beside the display.
struct PiglitTest {
  std::string name;
  Words command;
  Environment setting = {};
};

void PrintTo(const PiglitTest& test, std::ostream* stream) {
  *stream << test.name;
}

std::vector<PiglitTest> testsOf(const std::string& list) {
  std::vector<PiglitTest> tests;
  for (const Row& row : rowsOf(list))
    tests.push_back({row.name, wordsOf(row.values.at(0))});
  return tests;
}

// Those that differ through the library unless one of its settings is changed.
std::vector<PiglitTest> testsWithASetting() {
  std::vector<PiglitTest> known = testsOf("glx.list");
  const std::vector<PiglitTest> windows = testsOf("windows.list");
  known.insert(known.end(), windows.begin(), windows.end());
  std::vector<PiglitTest> tests;
  for (const Row& row : rowsOf("differences")) {
    const std::string& setting = row.values.at(2);
    const auto test = std::find_if(known.begin(), known.end(),
                                   [&](const PiglitTest& t) { return t.name == row.name; });
    const std::size_t equals = setting.find('=');
    if (test == known.end() || equals == std::string::npos) continue;
    tests.push_back(*test);
    tests.back().setting[setting.substr(0, equals)] = setting.substr(equals + 1);
  }
  return tests;
}

// What GoogleTest takes for a name: letters, digits and underscores.
std::string plainName(const testing::TestParamInfo<PiglitTest>& info) {
  std::string name = info.param.name;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
  return name;
}

const std::filesystem::path kPiglit = ZOL_PIGLIT_FOLDER;

// Piglit's word for a run, or how it ended without one.
std::string resultOf(const PiglitTest& test, Environment environment) {
  const Folder folder;
  Words command = test.command;
  command.front() = kPiglit / command.front();
  if (!std::filesystem::exists(command.front()))
    throw std::runtime_error(command.front() +
                             " is missing: scripts/setup installs the package piglit");
  environment["PIGLIT_PLATFORM"] = "glx";
  environment["ZOL_GL_LOG_DIR"] = folder.path();
  Program program(folder, foreignCommand(command), environment);
  const std::string output = program.readRest();
  const int status = program.wait();
  if (status < 0) return "killed by signal " + std::to_string(-status);
  constexpr const char* kStart = "PIGLIT: {\"result\": \"";
  const std::size_t start = output.rfind(kStart);
  if (start == std::string::npos)
    return "no result, status " + std::to_string(status) + "\n" + program.errors();
  const std::size_t word = start + std::string(kStart).size();
  return output.substr(word, output.find('"', word) - word);
}

// Both runs at once: they are on different displays.
void expectToPassStraightAndThroughTheLibrary(const PiglitTest& test) {
  const Environment onLocalDisplay = {{"DISPLAY", localDisplay()},
                                      {"__GLX_VENDOR_LIBRARY_NAME", "mesa"}};
  Environment onAppDisplay = test.setting;
  onAppDisplay["DISPLAY"] = appDisplay();
  auto straight = std::async(std::launch::async, [&] { return resultOf(test, onLocalDisplay); });
  EXPECT_EQ(resultOf(test, onAppDisplay), "pass") << test.name << " through the library";
  EXPECT_EQ(straight.get(), "pass") << test.name << " straight on the local display";
}

class Piglit : public testing::TestWithParam<PiglitTest> {};
class PiglitWithASetting : public testing::TestWithParam<PiglitTest> {};

TEST_P(Piglit, PassesStraightAndThroughTheLibrary) {
  expectToPassStraightAndThroughTheLibrary(GetParam());
}

TEST_P(PiglitWithASetting, PassesStraightAndThroughTheLibrary) {
  expectToPassStraightAndThroughTheLibrary(GetParam());
}

INSTANTIATE_TEST_SUITE_P(ShortList, Piglit, testing::ValuesIn(testsOf("short.list")), plainName);
INSTANTIATE_TEST_SUITE_P(Differences, PiglitWithASetting, testing::ValuesIn(testsWithASetting()),
                         plainName);

// The vendor that a program gets on a display.
std::string vendorOf(const Environment& environment) {
  const Folder folder;
  Program program(folder, foreignCommand({"glxinfo"}), environment);
  const std::string output = program.readRest();
  program.wait();
  constexpr const char* kStart = "client glx vendor string: ";
  const std::size_t start = output.find(kStart);
  if (start == std::string::npos) return "none\n" + program.errors();
  const std::size_t name = start + std::string(kStart).size();
  return output.substr(name, output.find('\n', name) - name);
}

TEST(PiglitDisplays, AreServedByWhomTheComparisonNames) {
  EXPECT_EQ(vendorOf({{"DISPLAY", localDisplay()}, {"__GLX_VENDOR_LIBRARY_NAME", "mesa"}}),
            "Mesa Project and SGI");
  EXPECT_EQ(vendorOf({{"DISPLAY", appDisplay()}}), "YRSO Systems");
}

TEST(PiglitLists, NameTestsThatAreNotForgotten) {
  EXPECT_GE(testsOf("short.list").size(), 40U);
  EXPECT_FALSE(testsWithASetting().empty());
}

} // namespace
} // namespace zol::endtoend
