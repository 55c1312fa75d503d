#include "foundation/foundation_test.h"
#include "foundation/ini_file.h"

namespace {

class IniFile : public FoundationTest {
protected:
  std::string value(const zol::IniFile& file, const char* section, const char* name) {
    const char* found = file.getValue(section, name);
    return found ? found : "(null)";
  }
  std::string writtenBy(zol::IniFile& file) {
    EXPECT_TRUE(file.write("out.ini"));
    return contentOf("out.ini");
  }
};

TEST_F(IniFile, LooksUpWithoutRegardToCase) {
  const zol::IniFile file(write("a.ini", "[GL]\nverbose = Yes\n").c_str(), true);
  EXPECT_EQ("Yes", value(file, "gl", "Verbose"));
  EXPECT_EQ("Yes", value(file, "Gl", "VERBOSE"));
  EXPECT_EQ("(null)", value(file, "gl", "verbos"));
  EXPECT_EQ("(null)", value(file, "g", "verbose"));
}

TEST_F(IniFile, ALaterDuplicateReplacesTheEarlierValue) {
  const zol::IniFile file(write("a.ini", "[a]\nx=1\n[b]\nx=2\n[A]\nX=3\n").c_str(), true);
  EXPECT_EQ("3", value(file, "a", "x"));
  EXPECT_EQ("2", value(file, "b", "x"));
}

TEST_F(IniFile, IsEmptyAndNamelessAtFirst) {
  zol::IniFile file;
  EXPECT_EQ(nullptr, file.getFilename());
  EXPECT_EQ(nullptr, file.getParserState());
  EXPECT_EQ("(null)", value(file, "a", "b"));
  EXPECT_EQ("", writtenBy(file));
}

TEST_F(IniFile, ReadsNothingUntilItIsParsed) {
  zol::IniFile file(write("a.ini", "[a]\nx=1\n").c_str(), false);
  EXPECT_EQ("(null)", value(file, "a", "x"));
  EXPECT_TRUE(file.parse(nullptr));
  EXPECT_EQ("1", value(file, "a", "x"));
}

TEST_F(IniFile, ParsingAnotherFileReplacesTheNameAndEveryPair) {
  zol::IniFile file(write("a.ini", "[a]\nx=1\n").c_str(), true);
  const std::string other = write("b.ini", "[a]\ny=2\n");
  EXPECT_TRUE(file.parse(other.c_str()));
  EXPECT_EQ(other, file.getFilename());
  EXPECT_EQ("(null)", value(file, "a", "x"));
  EXPECT_EQ("2", value(file, "a", "y"));
}

TEST_F(IniFile, SettingTheNameWithoutParsingKeepsThePairs) {
  zol::IniFile file(write("a.ini", "[a]\nx=1\n").c_str(), true);
  file.setFilename("b.ini", false);
  EXPECT_STREQ("b.ini", file.getFilename());
  EXPECT_EQ("1", value(file, "a", "x"));
  file.setFilename(nullptr, false);
  EXPECT_EQ(nullptr, file.getFilename());
  EXPECT_EQ("1", value(file, "a", "x"));
}

TEST_F(IniFile, SettingTheNameWithParsingReplacesThePairsOfANamedFile) {
  zol::IniFile file(write("a.ini", "[a]\nx=1\n").c_str(), true);
  file.setFilename(write("b.ini", "[a]\ny=2\n").c_str(), true);
  EXPECT_EQ("(null)", value(file, "a", "x"));
  EXPECT_EQ("2", value(file, "a", "y"));
}

TEST_F(IniFile, SettingTheFirstNameWithParsingKeepsWhatWasSet) {
  zol::IniFile file;
  file.setValue("a", "x", "1", false);
  file.setFilename(write("b.ini", "[a]\ny=2\n").c_str(), true);
  EXPECT_EQ("1", value(file, "a", "x"));
  EXPECT_EQ("2", value(file, "a", "y"));
}

TEST_F(IniFile, TheOwnNameMayBeSetAgain) {
  zol::IniFile file(write("a.ini", "[a]\nx=1\n").c_str(), true);
  file.setFilename(file.getFilename(), true);
  EXPECT_EQ("1", value(file, "a", "x"));
  EXPECT_TRUE(file.parse(file.getFilename()));
  EXPECT_EQ("1", value(file, "a", "x"));
}

TEST_F(IniFile, SetReplacesUnlessToldToKeep) {
  zol::IniFile file;
  EXPECT_EQ(1, file.setValue("a", "x", "1", true));
  EXPECT_EQ(0, file.setValue("A", "X", "2", true));
  EXPECT_EQ("1", value(file, "a", "x"));
  EXPECT_EQ(1, file.setValue("A", "X", "3", false));
  EXPECT_EQ("3", value(file, "a", "x"));
}

TEST_F(IniFile, RemovesAPairOnce) {
  zol::IniFile file;
  file.setValue("a", "x", "1", false);
  file.setValue("a", "y", "2", false);
  EXPECT_EQ(1, file.removeValue("A", "X"));
  EXPECT_EQ(0, file.removeValue("a", "x"));
  EXPECT_EQ("(null)", value(file, "a", "x"));
  EXPECT_EQ("2", value(file, "a", "y"));
}

TEST_F(IniFile, AnAbsentFileIsReportedAndLeavesTheFileInError) {
  zol::IniFile file;
  bool parsed = true;
  EXPECT_EQ("Cannot open .ini file \"absent.ini\": No such file or directory.\n",
            stderrOf([&] { parsed = file.parse("absent.ini"); }));
  EXPECT_FALSE(parsed);
  ASSERT_NE(nullptr, file.getParserState());
  EXPECT_EQ(6, file.getParserState()->code);
  EXPECT_EQ(0, file.getParserState()->line);
}

TEST_F(IniFile, AMalformedFileIsReportedAndLeavesTheFileInError) {
  const std::string path = write("a.ini", "[a]\nx=1\n[b\ny=2\n");
  std::string message;
  zol::IniFile file;
  message = stderrOf([&] { file.setFilename(path.c_str(), true); });
  EXPECT_EQ("Cannot parse .ini file \"" + path + "\": Parse error. (line 3)\n", message);
  ASSERT_NE(nullptr, file.getParserState());
  EXPECT_EQ(1, file.getParserState()->code);
  EXPECT_EQ(3, file.getParserState()->line);
  EXPECT_EQ("[A]\nX = 1\n", writtenBy(file)) << "pairs before the error stay";
}

TEST_F(IniFile, AnEmptyNameIsReportedAndEndsInTheErrorOfAnAbsentFile) {
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    zol::IniFile file;
    EXPECT_EQ("Cannot parse file: Filename is empty\n",
              stderrOf([&] { EXPECT_FALSE(file.parse(name)); }));
    ASSERT_NE(nullptr, file.getParserState());
    EXPECT_EQ(6, file.getParserState()->code);
    EXPECT_EQ(0, file.getParserState()->line);
    EXPECT_STREQ("No such file or directory.", file.getParserState()->message);
  }
}

TEST_F(IniFile, AnEmptyNameThatIsSetAndParsedIsTheSameErrorWithoutAWord) {
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    zol::IniFile file;
    EXPECT_EQ("", stderrOf([&] { file.setFilename(name, true); }));
    ASSERT_NE(nullptr, file.getParserState());
    EXPECT_EQ(6, file.getParserState()->code);
    EXPECT_STREQ("No such file or directory.", file.getParserState()->message);
  }
}

TEST_F(IniFile, InErrorRefusesEveryAccessUntilParsedAgain) {
  zol::IniFile file;
  stderrOf([&] { file.parse("absent.ini"); });
  EXPECT_EQ("Cannot get value: Parser is in error state\n",
            stderrOf([&] { EXPECT_EQ(nullptr, file.getValue(nullptr, nullptr)); }));
  EXPECT_EQ("Cannot set value: Parser is in error state\n",
            stderrOf([&] { EXPECT_NE(0, file.setValue("a", "x", "1", false)); }));
  EXPECT_EQ("Cannot remove value: Parser is in error state\n",
            stderrOf([&] { EXPECT_NE(0, file.removeValue("", "")); }));
  EXPECT_TRUE(file.parse(write("a.ini", "[a]\nx=1\n").c_str()));
  EXPECT_EQ(nullptr, file.getParserState());
  EXPECT_EQ("1", value(file, "a", "x"));
}

TEST_F(IniFile, ASuccessfulParseUnderAFirstNameEndsTheErrorToo) {
  zol::IniFile file;
  stderrOf([&] { file.parse(nullptr); });
  ASSERT_NE(nullptr, file.getParserState());
  file.setFilename(write("a.ini", "[a]\nx=1\n").c_str(), true);
  EXPECT_EQ(nullptr, file.getParserState());
}

TEST_F(IniFile, RefusesEmptyArgumentsInTheirOrder) {
  zol::IniFile file;
  for (const char* empty : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ("Cannot get value: Section is empty\n",
              stderrOf([&] { EXPECT_EQ(nullptr, file.getValue(empty, empty)); }));
    EXPECT_EQ("Cannot get value: Name is empty\n",
              stderrOf([&] { EXPECT_EQ(nullptr, file.getValue("a", empty)); }));
    EXPECT_EQ("Cannot set value: Section is empty\n",
              stderrOf([&] { EXPECT_NE(0, file.setValue(empty, empty, empty, false)); }));
    EXPECT_EQ("Cannot set value: Name is empty\n",
              stderrOf([&] { EXPECT_NE(0, file.setValue("a", empty, empty, false)); }));
    EXPECT_EQ("Cannot set value: Value is empty\n",
              stderrOf([&] { EXPECT_NE(0, file.setValue("a", "x", empty, false)); }));
    EXPECT_EQ("Cannot remove value: Section is empty\n",
              stderrOf([&] { EXPECT_NE(0, file.removeValue(empty, empty)); }));
    EXPECT_EQ("Cannot remove value: Name is empty\n",
              stderrOf([&] { EXPECT_NE(0, file.removeValue("a", empty)); }));
  }
  EXPECT_EQ("", writtenBy(file));
}

TEST_F(IniFile, IsWrittenInUpperCaseInTheOrderOfTheHash) {
  // The buckets are 60 (LOG::LEVEL), 109 (GL::A and GL::DQ, the later one first) and 122 (GL::B).
  zol::IniFile file;
  file.setValue("gl", "b", "2", false);
  file.setValue("gl", "a", "1", false);
  file.setValue("gl", "dq", "3", false);
  file.setValue("log", "Level", "debug", false);
  EXPECT_EQ("[LOG]\nLEVEL = debug\n\n[GL]\nDQ = 3\nA = 1\nB = 2\n", writtenBy(file));
  zol::IniFile readBack("out.ini", true);
  EXPECT_EQ("debug", value(readBack, "LOG", "level"));
  EXPECT_EQ("1", value(readBack, "gl", "a"));
}

TEST_F(IniFile, ListsTheEntriesOfALongerSectionNameUnderItsPrefixToo) {
  zol::IniFile file;
  file.setValue("GL", "a", "1", false);
  file.setValue("GLX", "b", "2", false);
  EXPECT_EQ("[GLX]\nB = 2\n\n[GL]\n:B = 2\nA = 1\n", writtenBy(file));
}

TEST_F(IniFile, KeepsPairsWithoutASectionWhereNobodyCanReachThem) {
  zol::IniFile file(write("a.ini", "x=1\n[s]\n=2\n").c_str(), true);
  stderrOf([&] { EXPECT_EQ(nullptr, file.getValue("", "x")); });
  const std::string written = writtenBy(file);
  EXPECT_NE(std::string::npos, written.find("[]\n")) << written;
  EXPECT_NE(std::string::npos, written.find("X = 1\n")) << written;
  EXPECT_NE(std::string::npos, written.find("[S]\n = 2\n")) << written;
}

TEST_F(IniFile, SyncsTheDiskAfterClosing) {
  std::string onDisk;
  fakes.sync = [&] { onDisk += contentOf("out.ini"); };
  zol::IniFile file;
  file.setValue("a", "x", "1", false);
  EXPECT_EQ("[A]\nX = 1\n", writtenBy(file));
  EXPECT_EQ("[A]\nX = 1\n", onDisk);
  EXPECT_STREQ("out.ini", file.getFilename()) << "the name written to becomes the file's";
}

TEST_F(IniFile, WritesToItsOwnNameByDefault) {
  zol::IniFile file("own.ini", false);
  file.setValue("a", "x", "1", false);
  EXPECT_TRUE(file.write(nullptr));
  EXPECT_EQ("[A]\nX = 1\n", contentOf("own.ini"));
}

TEST_F(IniFile, WithoutANameIsNotWritten) {
  fakes.sync = [] { ADD_FAILURE(); };
  zol::IniFile nameless, empty("", false);
  for (zol::IniFile* file : {&nameless, &empty})
    EXPECT_EQ("Cannot write file: Filename is empty\n",
              stderrOf([&] { EXPECT_FALSE(file->write(nullptr)); }));
}

TEST_F(IniFile, IsNotWrittenWhereItCannotBeOpened) {
  fakes.sync = [] { ADD_FAILURE(); };
  zol::IniFile file;
  EXPECT_FALSE(file.write((directory / "no/such/directory.ini").c_str()));
}

TEST_F(IniFile, ReportsADiskThatTakesNothing) {
  int syncs = 0;
  fakes.sync = [&] { ++syncs; };
  zol::IniFile file;
  file.setValue("a", "x", "1", false);
  EXPECT_FALSE(file.write("/dev/full"));
  file.setValue("a", "y", std::string(10000, 'y').c_str(), false); // more than a stream holds back
  EXPECT_FALSE(file.write(nullptr));
  EXPECT_EQ(2, syncs) << "what was printed before the failure reaches the disk";
}

} // namespace
