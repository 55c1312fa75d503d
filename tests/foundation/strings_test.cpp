#include "foundation/foundation_test.h"
#include "foundation/strings.h"

#include <cstring>

namespace {

TEST(ZolSprintf, ReturnsTheLengthOfATextThatFits) {
  char buffer[16];
  EXPECT_EQ(5, zolSprintf(buffer, sizeof(buffer), "%s-%d", "ab", 12));
  EXPECT_STREQ("ab-12", buffer);
}

TEST(ZolSprintf, KeepsThreeOfSixCharactersInFourBytes) {
  char buffer[4];
  EXPECT_EQ(3, zolSprintf(buffer, sizeof(buffer), "%s", "abcdef"));
  EXPECT_STREQ("abc", buffer);
}

TEST(ZolSprintf, ATextAsLongAsTheBufferLosesOneCharacter) {
  char buffer[4];
  EXPECT_EQ(3, zolSprintf(buffer, sizeof(buffer), "%s", "abcd"));
  EXPECT_STREQ("abc", buffer);
  EXPECT_EQ(3, zolSprintf(buffer, sizeof(buffer), "%s", "xyz"));
  EXPECT_STREQ("xyz", buffer);
}

TEST(ZolSprintf, TouchesNothingInABufferOfSizeZero) {
  char buffer[2] = "q";
  EXPECT_EQ(-1, zolSprintf(buffer, 0, "%s", "abc"));
  EXPECT_STREQ("q", buffer);
}

class ZolStrsplit : public testing::Test {
protected:
  ~ZolStrsplit() override {
    for (unsigned i = 0; i < count; ++i)
      std::free(parts[i]);
  }
  unsigned split(const char* text, unsigned maxParts, const char* delimiters) {
    return count = zolStrsplit(text, parts, maxParts, delimiters);
  }

  static inline char untouched[] = "untouched";
  char* parts[4] = {untouched, untouched, untouched, untouched};
  unsigned count = 0;
};

TEST_F(ZolStrsplit, StoresTheFieldsInOrder) {
  ASSERT_EQ(3u, split("a:bc d", 4, ": "));
  EXPECT_STREQ("a", parts[0]);
  EXPECT_STREQ("bc", parts[1]);
  EXPECT_STREQ("d", parts[2]);
  EXPECT_EQ(untouched, parts[3]);
}

TEST_F(ZolStrsplit, EmptyFieldsVanish) {
  ASSERT_EQ(2u, split("a::b", 4, ":"));
  EXPECT_STREQ("a", parts[0]);
  EXPECT_STREQ("b", parts[1]);
}

TEST_F(ZolStrsplit, StopsWhenThereIsNoRoomLeft) {
  ASSERT_EQ(2u, split("a:b:c", 2, ":"));
  EXPECT_STREQ("b", parts[1]);
  EXPECT_EQ(untouched, parts[2]);
}

TEST_F(ZolStrsplit, ANullOrEmptyTextStoresNothing) {
  EXPECT_EQ(0u, split(nullptr, 4, ":"));
  EXPECT_EQ(0u, split("", 4, ":"));
  EXPECT_EQ(untouched, parts[0]);
}

TEST_F(ZolStrsplit, OnlyDelimitersYieldOneNullEntry) {
  ASSERT_EQ(1u, split(":::", 4, ":"));
  EXPECT_EQ(nullptr, parts[0]);
  EXPECT_EQ(untouched, parts[1]);
}

TEST_F(ZolStrsplit, TheFirstEntryIsStoredEvenWithoutRoom) {
  ASSERT_EQ(1u, split("a:b", 0, ":"));
  EXPECT_STREQ("a", parts[0]);
  EXPECT_EQ(untouched, parts[1]);
}

TEST_F(ZolStrsplit, LeavesTheTextAlone) {
  char text[] = "a:b";
  split(text, 4, ":");
  EXPECT_STREQ("a:b", text);
}

TEST(ZolBuildFilename, JoinsWithSingleSlashes) {
  EXPECT_EQ("/home/me/.zol/zol-gl.conf",
            owned(zolBuildFilename("/home/me", ".zol", "zol-gl.conf", nullptr)));
  EXPECT_EQ("/home/me/.zol/zol-gl.conf",
            owned(zolBuildFilename("/home/me/", ".zol/", "zol-gl.conf", nullptr)));
}

TEST(ZolBuildFilename, TakesABackslashForASeparatorToo) {
  EXPECT_EQ("c:\\x", owned(zolBuildFilename("c:\\", "x", nullptr)));
}

TEST(ZolBuildFilename, SkipsEmptyComponents) {
  EXPECT_EQ("a/b", owned(zolBuildFilename("", "a", "", "b", "", nullptr)));
  EXPECT_EQ("", owned(zolBuildFilename("", "", nullptr)));
}

TEST(ZolBuildFilename, WithoutAnyComponentIsAnEmptyText) {
  EXPECT_EQ("", owned(zolBuildFilename(nullptr, nullptr)));
}

TEST(ZolBuildFilename, DropsTheSeparatorThatTheLastComponentEndsWith) {
  EXPECT_EQ("a/b", owned(zolBuildFilename("a", "b/", nullptr)));
  EXPECT_EQ("", owned(zolBuildFilename("/", nullptr)));
}

TEST(ZolBuildFilename, ChargesAComponentThatNeedsASeparatorTwice) {
  const std::string first(2100, 'x');
  EXPECT_EQ("(null)", owned(zolBuildFilename(first.c_str(), "a", nullptr)));
  // 4095 - 2 * 2046 leaves 3: one character and its separator fit, and so do two with their own.
  const std::string fitting(2046, 'x');
  EXPECT_EQ(fitting + "/a", owned(zolBuildFilename(fitting.c_str(), "a", nullptr)));
  EXPECT_EQ(fitting + "/a", owned(zolBuildFilename(fitting.c_str(), "a/", nullptr)));
  EXPECT_EQ("(null)", owned(zolBuildFilename(fitting.c_str(), "ab", nullptr)));
  EXPECT_EQ("(null)", owned(zolBuildFilename(fitting.c_str(), "ab/", nullptr)));
}

TEST(ZolBuildFilename, AComponentWithItsOwnSlashIsChargedOnce) {
  const std::string first = std::string(2100, 'x') + "/";
  EXPECT_EQ(first + "a", owned(zolBuildFilename(first.c_str(), "a", nullptr)));
}

TEST(ZolBuildFilename, OneComponentMayHaveFourThousandAndNinetyThreeCharacters) {
  const std::string longest(4093, 'x');
  EXPECT_EQ(longest, owned(zolBuildFilename(longest.c_str(), nullptr)));
  EXPECT_EQ("(null)", owned(zolBuildFilename((longest + "x").c_str(), nullptr)));
  EXPECT_EQ("(null)", owned(zolBuildFilename((longest + "xx").c_str(), nullptr)));
  EXPECT_EQ(longest, owned(zolBuildFilename((longest + "/").c_str(), nullptr)))
      << "with its own separator it may have one more";
}

TEST(ZolBuildFilename, NothingButEmptyComponentsFitsAfterTheRoomIsSpent) {
  const std::string first(3000, 'x');
  EXPECT_EQ(first, owned(zolBuildFilename(first.c_str(), "", nullptr)));
  EXPECT_EQ("(null)", owned(zolBuildFilename(first.c_str(), "/", nullptr)));
}

} // namespace
