#include "visual/match_extension.h"

#include <gtest/gtest.h>

TEST(MatchExtension, FindsAWordAtTheStartInTheMiddleAndAtTheEnd) {
  EXPECT_TRUE(matchExtension("GLX_A GLX_B GLX_C", "GLX_A"));
  EXPECT_TRUE(matchExtension("GLX_A GLX_B GLX_C", "GLX_B"));
  EXPECT_TRUE(matchExtension("GLX_A GLX_B GLX_C", "GLX_C"));
  EXPECT_TRUE(matchExtension("GLX_A", "GLX_A"));
}

TEST(MatchExtension, FindsAWordAfterALongerOneThatContainsIt) {
  EXPECT_TRUE(matchExtension("GLX_A_more GLX_A", "GLX_A"));
  EXPECT_TRUE(matchExtension("xGLX_A GLX_A", "GLX_A"));
  EXPECT_TRUE(matchExtension("aaa aa", "aa"));
}

TEST(MatchExtension, DoesNotFindAPartOfAWord) {
  EXPECT_FALSE(matchExtension("GLX_ARB_multisample_more", "GLX_ARB_multisample"));
  EXPECT_FALSE(matchExtension("MY_GLX_ARB_multisample", "GLX_ARB_multisample"));
  EXPECT_FALSE(matchExtension("", "GLX_ARB_multisample"));
}

TEST(MatchExtension, OnlyTheBlankSeparatesWords) {
  EXPECT_FALSE(matchExtension("GLX_A\tGLX_B", "GLX_B"));
  EXPECT_FALSE(matchExtension("GLX_A:GLX_B", "GLX_A"));
  EXPECT_TRUE(matchExtension("  GLX_A  GLX_B ", "GLX_B"));
}

TEST(MatchExtension, ANullListANullNameAnEmptyNameAndANameWithABlankAreNowhere) {
  EXPECT_FALSE(matchExtension(nullptr, "GLX_A"));
  EXPECT_FALSE(matchExtension("GLX_A", nullptr));
  EXPECT_FALSE(matchExtension("GLX_A  GLX_B", ""));
  EXPECT_FALSE(matchExtension("GLX_A GLX_B", "GLX_A GLX_B"));
  EXPECT_FALSE(matchExtension("GLX_A GLX_B", "GLX_A "));
}
