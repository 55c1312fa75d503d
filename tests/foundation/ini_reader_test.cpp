#include "foundation/foundation_test.h"
#include "foundation/ini_reader.h"

namespace {

class IniReader : public FoundationTest {
protected:
  // Every pair that the reader hands over, as "section|name|value" lines.
  std::string pairsOf(const std::string& text) {
    zol::IniReader reader(write("file.ini", text).c_str());
    return collect(reader);
  }
  std::string collect(zol::IniReader& reader) {
    std::string pairs;
    const auto append = [](void* user, const char* section, const char* name, const char* value) {
      *static_cast<std::string*>(user) += std::string(section) + "|" + name + "|" + value + "\n";
      return 1;
    };
    result = reader.parseIniFile(append, &pairs);
    const zol::ErrorState* state = reader.getParserState();
    error = state ? *state : zol::ErrorState{};
    return pairs;
  }
  void expectError(int code, int line, const char* message) {
    EXPECT_EQ(0, result);
    EXPECT_EQ(code, error.code);
    EXPECT_EQ(line, error.line);
    EXPECT_STREQ(message, error.message);
  }

  int result = -1;
  zol::ErrorState error{};
};

TEST_F(IniReader, HandsOverEveryPairWithItsSection) {
  EXPECT_EQ("a|x|1\na|y|2\nb|x|3\n", pairsOf("[a]\nx=1\ny = 2\n\n[b]\n  x =3\n"));
  EXPECT_EQ(1, result);
  EXPECT_EQ(0, error.code);
}

TEST_F(IniReader, ReadsALastLineWithoutALineEnd) {
  EXPECT_EQ("a|x|1\n", pairsOf("[a]\nx=1"));
}

TEST_F(IniReader, AnEmptyFileIsReadWhole) {
  EXPECT_EQ("", pairsOf(""));
  EXPECT_EQ(1, result);
}

TEST_F(IniReader, StripsEveryKindOfWhiteSpace) {
  EXPECT_EQ("a|x|1 2\n", pairsOf("[a]\r\n \t\v\fx \t= \t1 2 \t\v\f\r\n"));
}

TEST_F(IniReader, SkipsCommentsAndEmptyLines) {
  EXPECT_EQ("|x|1\n", pairsOf("# one\n; two\n  # three\n\n   \nx=1\n"));
}

TEST_F(IniReader, AColonSeparatesWhereThereIsNoEqualsSign) {
  EXPECT_EQ("|x|1\n|a:b|c\n", pairsOf("x:1\na:b=c\n"));
}

TEST_F(IniReader, TheFirstEqualsSignSeparates) {
  EXPECT_EQ("|x|a=b=c\n", pairsOf("x=a=b=c\n"));
}

TEST_F(IniReader, ASemicolonAfterWhiteSpaceBeginsAComment) {
  EXPECT_EQ("|x|a\n|y|a;b\n|z|a\n", pairsOf("x=a ; comment\ny=a;b\nz=a\t;\n"));
}

TEST_F(IniReader, ASemicolonAtTheStartOfAValueIsPartOfIt) {
  EXPECT_EQ("|x|; a\n", pairsOf("x= ; a\n"));
}

TEST_F(IniReader, AHashInsideALineIsNoComment) {
  EXPECT_EQ("|x|a # b\n", pairsOf("x=a # b\n"));
}

TEST_F(IniReader, AnInlineCommentHidesTheSeparatorAfterIt) {
  pairsOf("x=1\nname ; = value\n");
  expectError(1, 2, "Parse error.");
}

TEST_F(IniReader, AnEqualsSignInACommentDoesNotSeparate) {
  EXPECT_EQ("|x|1\n", pairsOf("x:1 ; a=b\n"));
}

TEST_F(IniReader, NamesAndValuesMayBeEmpty) {
  EXPECT_EQ("|x|\n||y\n||\n", pairsOf("x=\n=y\n=\n"));
}

TEST_F(IniReader, NamesKeepInnerBlanksAndAreNotCut) {
  const std::string name(150, 'n');
  EXPECT_EQ("|a b|1\n|" + name + "|2\n", pairsOf("a b = 1\n" + name + "=2\n"));
}

TEST_F(IniReader, CutsASectionToFortyNineCharacters) {
  EXPECT_EQ(std::string(49, 's') + "|x|1\n", pairsOf("[" + std::string(60, 's') + "]\nx=1\n"));
}

TEST_F(IniReader, KeepsTheBlanksOfASectionAndIgnoresWhatFollowsIt) {
  EXPECT_EQ(" a |x|1\n", pairsOf("[ a ] rest = of the line\nx=1\n"));
}

TEST_F(IniReader, ASectionWithoutItsBracketEndsTheParse) {
  EXPECT_EQ("|x|1\n", pairsOf("x=1\n\n[a\ny=2\n"));
  expectError(1, 3, "Parse error.");
}

TEST_F(IniReader, ASemicolonWithoutABlankBeforeItIsPartOfASection) {
  EXPECT_EQ(";a|x|1\na;b|x|2\n", pairsOf("[;a]\nx=1\n[a;b]\nx=2\n"));
}

TEST_F(IniReader, ACommentInsideASectionNameIsMalformed) {
  pairsOf("[a ;b]\n");
  expectError(1, 1, "Parse error.");
}

TEST_F(IniReader, ALineWithoutASeparatorEndsTheParse) {
  EXPECT_EQ("", pairsOf("word\nx=1\n"));
  expectError(1, 1, "Parse error.");
}

TEST_F(IniReader, ALineOfTwoHundredAndFiftyCharactersIsReadAsTwo) {
  const std::string value(248, 'v');
  EXPECT_EQ("|x|" + value.substr(0, 197) + "\n", pairsOf("x=" + value + "\n"));
  expectError(1, 2, "Parse error.");
}

TEST_F(IniReader, TheSecondPartOfALongLineMayBeAPairOfItsOwn) {
  const std::string start = "x=" + std::string(197, 'v');
  EXPECT_EQ("|x|" + std::string(197, 'v') + "\n|y|z\n|last|1\n", pairsOf(start + "y=z\nlast=1\n"));
}

TEST_F(IniReader, ALineOfExactlyTheBufferLeavesAnEmptyOneBehind) {
  // 199 characters fill the buffer; their line end is read as a line of its own.
  pairsOf("x=" + std::string(197, 'v') + "\nmalformed\n");
  expectError(1, 3, "Parse error.");
}

TEST_F(IniReader, ARefusedPairEndsTheParse) {
  zol::IniReader reader(write("file.ini", "a=1\nb=2\nc=3\n").c_str());
  std::string seen;
  const auto refuseB = [](void* user, const char*, const char* name, const char*) {
    *static_cast<std::string*>(user) += name;
    return static_cast<int>(*name != 'b');
  };
  EXPECT_EQ(0, reader.parseIniFile(refuseB, &seen));
  EXPECT_EQ("ab", seen);
  ASSERT_NE(nullptr, reader.getParserState());
  EXPECT_EQ(2, reader.getParserState()->code);
  EXPECT_EQ(2, reader.getParserState()->line);
  EXPECT_STREQ("User function error.", reader.getParserState()->message);
}

TEST_F(IniReader, WithoutACallbackNothingIsRead) {
  zol::IniReader reader(write("file.ini", "a=1\n").c_str());
  EXPECT_EQ(nullptr, reader.getParserState());
  EXPECT_EQ(0, reader.parseIniFile(nullptr, nullptr));
  ASSERT_NE(nullptr, reader.getParserState());
  EXPECT_EQ(3, reader.getParserState()->code);
  EXPECT_EQ(0, reader.getParserState()->line);
  EXPECT_STREQ("No user function available.", reader.getParserState()->message);
}

TEST_F(IniReader, TheMissingCallbackIsNoticedBeforeTheMissingFile) {
  zol::IniReader reader("absent.ini");
  EXPECT_EQ(0, reader.parseIniFile(nullptr, nullptr));
  EXPECT_EQ(3, reader.getParserState()->code);
}

TEST_F(IniReader, WithoutAFileNameIsInvalid) {
  zol::IniReader reader(nullptr);
  ASSERT_NE(nullptr, reader.getParserState());
  collect(reader);
  expectError(4, 0, "Invalid argument");
}

TEST_F(IniReader, WithoutMemoryForTheNameIsInErrorThoughTheFileOpens) {
  const std::string path = write("file.ini", "a=1\n");
  fakes.strdupsLeft = 0;
  zol::IniReader reader(path.c_str());
  ASSERT_NE(nullptr, reader.getParserState());
  EXPECT_EQ(5, reader.getParserState()->code);
  EXPECT_EQ(0, reader.getParserState()->line);
  EXPECT_STREQ("Out of memory.", reader.getParserState()->message);
}

TEST_F(IniReader, AMissingFileIsTheLastErrorOfTheTwo) {
  fakes.strdupsLeft = 0;
  zol::IniReader reader("absent.ini");
  collect(reader);
  expectError(6, 0, "No such file or directory.");
}

TEST_F(IniReader, AnAbsentFileAndAnEmptyNameCannotBeOpened) {
  for (const char* name : {"absent.ini", ""}) {
    zol::IniReader reader(name);
    collect(reader);
    expectError(6, 0, "No such file or directory.");
  }
}

} // namespace
