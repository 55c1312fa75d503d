// The manual pages: without a fault to the programs that read them, and with every option.

#include "tests/tools/program.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <regex>
#include <set>

namespace zol::test {

namespace {

const Program::Environment kPlain = {
    {"MANWIDTH", "2000"}, {"MANPAGER", "cat"}, {"LC_ALL", "C.UTF-8"}};

std::string pathOf(const std::string& page) {
  return ZOL_MANUALS "/" + page;
}

class Manual : public testing::TestWithParam<const char*> {};

TEST_P(Manual, IsReadWithoutWarnings) {
  const Outcome shown = run({"man", "--warnings", "-E", "UTF-8", "-l", pathOf(GetParam())}, kPlain);
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.err, "");
  EXPECT_NE(shown.out.find("NAME"), std::string::npos);
  const Outcome checked = run({"mandoc", "-T", "lint", "-W", "warning", pathOf(GetParam())});
  EXPECT_EQ(checked.status, 0);
  EXPECT_EQ(checked.out + checked.err, "");
}

TEST_P(Manual, IsPackedAsItIs) {
  const Outcome packed = run({"gzip", "-d", "-c", pathOf(GetParam()) + ".gz"});
  const Outcome plain = run({"cat", pathOf(GetParam())});
  EXPECT_EQ(packed.status, 0) << packed.err;
  EXPECT_EQ(packed.out, plain.out);
}

std::string nameOf(const testing::TestParamInfo<const char*>& page) {
  std::string name = page.param;
  for (const char c : {'.', '-'})
    std::replace(name.begin(), name.end(), c, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Pages, Manual,
                         testing::Values("Xzol.1", "libGLX_zol.7", "zol-gl.conf.5", "zolinfo.1",
                                         "zolrun.1"),
                         nameOf);

// The first group of each match.
std::set<std::string> optionsIn(const std::string& text, const char* pattern) {
  const std::regex regex(pattern);
  return {std::sregex_token_iterator(text.begin(), text.end(), regex, 1),
          std::sregex_token_iterator()};
}

void expectEveryOption(const std::string& program, const std::string& page) {
  const Outcome help = run({program, "--help"});
  const Outcome shown = run({"man", "--nj", "--nh", "-E", "UTF-8", "-l", pathOf(page)}, kPlain);
  ASSERT_EQ(shown.status, 0) << shown.err;
  const std::set<std::string> offered = optionsIn(help.out, "(--[a-z][a-z-]*)");
  // Where a paragraph on it begins.
  const std::set<std::string> described = optionsIn(shown.out, "\n {7}(--[a-z][a-z-]*)");
  EXPECT_GE(offered.size(), 4U) << help.out;
  for (const std::string& option : offered) {
    EXPECT_TRUE(described.contains(option)) << page << " lacks " << option;
  }
}

TEST(Manuals, DescribeEveryOption) {
  expectEveryOption(ZOL_XZOL, "Xzol.1");
  expectEveryOption(ZOL_ZOLINFO, "zolinfo.1");
  expectEveryOption(ZOL_ZOLRUN, "zolrun.1");
}

} // namespace

} // namespace zol::test
