#include "rig/log_file.h"

#include <gtest/gtest.h>

using namespace zol::rig;

TEST(LogText, ReadsTheFieldsOfARecord) {
  const auto records =
      parseLog("W Nov  3 04:05:06:000789 12:34 ZOL (bool zol::Mutex::lock()): it (did) not: no\n");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].level, 'W');
  EXPECT_EQ(records[0].process, 12);
  EXPECT_EQ(records[0].thread, 34);
  EXPECT_EQ(records[0].tag, "ZOL");
  EXPECT_EQ(records[0].label, "bool zol::Mutex::lock()");
  EXPECT_EQ(records[0].message, "it (did) not: no");
  EXPECT_EQ(records[0].text(), "W [ZOL] bool zol::Mutex::lock(): it (did) not: no");
}

TEST(LogText, ReadsLabelsWithParenthesesInside) {
  const auto records = parseLog("D Nov 23 04:05:06:000789 12:34 ZOLGL "
                                "(void (* zol_glXGetProcAddress(const GLubyte*))()): failed\n");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].text(), "D void (* zol_glXGetProcAddress(const GLubyte*))(): failed");
}

TEST(LogText, KeepsALineEndInsideAMessage) {
  const auto records = parseLog("D Nov 23 04:05:06:000789 12:34 ZOLGL (void f()): one\n two\n"
                                "D Nov 23 04:05:06:000790 12:34 ZOLGL (void f()): three\n");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].message, "one\n two");
  EXPECT_EQ(records[1].message, "three");
}

TEST(LogText, KeepsWhatIsNoRecordInSight) {
  EXPECT_EQ(texts(parseLog("stray\n")), Lines{"? : stray"});
}

TEST(LineMatch, TakesLettersToTheLetter) {
  EXPECT_TRUE(matchesLine("a.b*[c] (d) $", "a.b*[c] (d) $"));
  EXPECT_FALSE(matchesLine("a.b", "axb"));
  EXPECT_FALSE(matchesLine("a", "ab"));
}

TEST(LineMatch, MasksOnlyWhatIsMarked) {
  EXPECT_TRUE(matchesLine("ldi <ptr>, <num>", "ldi 0x12ab, -7"));
  EXPECT_TRUE(matchesLine("<ptr>", "(nil)"));
  EXPECT_FALSE(matchesLine("ldi <ptr>", "ldi 12ab"));
  EXPECT_TRUE(matchesLine("<hex>", "12ab"));
  EXPECT_FALSE(matchesLine("<num>", "12ab"));
  EXPECT_TRUE(matchesLine("x<any>", "x anything\nat all"));
}

TEST(LineMatch, ComparesAllLines) {
  EXPECT_TRUE(sameLines({"a", "b"}, {"a", "b"}));
  EXPECT_FALSE(sameLines({"a", "b"}, {"a"}));
  EXPECT_FALSE(sameLines({"a"}, {"a", "b"}));
  EXPECT_FALSE(sameLines({"b", "a"}, {"a", "b"}));
}
