// Text drawn with X fonts: the fonts are the application display's, the display lists are made with
// the local display's font of the same name.

#include "endtoend/delivery.h"
#include "endtoend/play.h"

#include <array>
#include <fstream>

namespace zol::endtoend {
namespace {

const std::string kMarks = "-zol-marks-medium-r-normal--8-80-75-75-c-80-iso8859-1";

constexpr int kDescent = 2;
using Glyph = std::array<unsigned, 8>;
constexpr Glyph kA = {0x80, 0xc0, 0xe0, 0xf0, 0xf8, 0xfc, 0xfe, 0xff};
constexpr Glyph kB = {0xff, 0x81, 0xbd, 0xa5, 0xa5, 0xbd, 0x81, 0xff};

void writeGlyph(std::ostream& stream, char letter, const Glyph& rows) {
  stream << "STARTCHAR " << letter << "\nENCODING " << int{letter} << "\nSWIDTH 1000 0\n"
         << "DWIDTH 9 0\nBBX 8 8 0 -2\nBITMAP\n"
         << std::hex << std::uppercase;
  for (const unsigned row : rows)
    stream << row << '\n';
  stream << std::dec << "ENDCHAR\n";
}

// A folder for the font path of an X server, with one small font in it.
class FontFolder {
public:
  FontFolder() {
    std::ofstream font(folder_.path() / "marks.bdf");
    font << "STARTFONT 2.1\nFONT " << kMarks << "\nSIZE 8 75 75\nFONTBOUNDINGBOX 8 8 0 -2\n"
         << "STARTPROPERTIES 3\nFONT_ASCENT 6\nFONT_DESCENT 2\nFONT \"" << kMarks
         << "\"\nENDPROPERTIES\nCHARS 2\n";
    writeGlyph(font, 'A', kA);
    writeGlyph(font, 'B', kB);
    font << "ENDFONT\n";
    std::ofstream(folder_.path() / "fonts.dir") << "1\nmarks.bdf " << kMarks << "\n";
  }

  std::string path() const { return folder_.path(); }

private:
  Folder folder_;
};

// What an X server looks for its fonts in; "built-ins" holds "fixed".
void setFontPath(const std::string& display, std::vector<std::string> path) {
  const Observer observer(display);
  std::vector<char*> words;
  for (std::string& word : path)
    words.push_back(word.data());
  XSetFontPath(observer.display(), words.data(), static_cast<int>(words.size()));
  XSync(observer.display(), False);
  int count = 0;
  char** const set = XGetFontPath(observer.display(), &count);
  const std::vector<std::string> found(set, set + count);
  XFreeFontPath(set);
  ASSERT_EQ(found, path) << "the font path of " << display;
}

class XFont : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(setFontPath(appDisplay(), {fonts_.path(), "built-ins"}));
    ASSERT_NO_FATAL_FAILURE(setFontPath(localDisplay(), {fonts_.path(), "built-ins"}));
  }
  void TearDown() override {
    for (const std::string& display : {appDisplay(), localDisplay()})
      setFontPath(display, {"built-ins"});
  }

  static Script writing(const std::string& font) {
    return [=](Play& play) {
      const Window window = play.program().stage("w", "120 90 24 double");
      play.tell({"load-font " + font, "clear ff203040"});
      play.same("use-font 32 96");
      play.show({"write 5 70 ffffffff ABBA", "write 7 40 ff00ff00 AxB", "write 50 3 ffff0000 Text",
                 "show w"},
                window, "text", 1);
      play.same("measure ABBA");
      play.same("gl-error");
    };
  }

  rig::Lines play(const std::string& name, const Script& script,
                  const Environment& environment = {}) const {
    return playThroughLibrary(name, script, appDisplay(), environment);
  }

  const FontFolder fonts_;
};

const std::string kLabel = "void zol_glXUseXFont(Font, int, int, int): ";

TEST_F(XFont, ThatBothDisplaysHaveIsDrawnAsItIs) {
  EXPECT_EQ(play("marks", writing(kMarks)), rig::Lines{});
  EXPECT_EQ(play("fixed", writing("fixed")), rig::Lines{});
  EXPECT_EQ(play("6x13", writing("6x13")), rig::Lines{});
}

// To the pixel, whatever the driver says of it straight.
TEST_F(XFont, IsWrittenWhereItBelongs) {
  const Folder folder;
  PictureProgram program(folder, appDisplay());
  const Observer observer(appDisplay());
  const Window window = program.stage("w", "120 90 24 single");
  program.ask("load-font " + kMarks);
  EXPECT_EQ(program.ask("use-font 65 2"), "2");
  for (const char* step : {"draw quadrants 1", "write 20 30 ff0000ff AB", "flush"})
    program.ask(step);
  Picture expected = paintedScene("quadrants", 1, 120, 90);
  int left = 20;
  for (const Glyph& glyph : {kA, kB}) {
    // The driver puts the line on which letters stand at the row that writing was asked for.
    const int top = 90 - 30 + kDescent - 1 - 8;
    for (int y = 0; y < 8; ++y) {
      for (int x = 0; x < 8; ++x) {
        if ((glyph[static_cast<std::size_t>(y)] >> (7 - x) & 1) != 0)
          expected.pixels[static_cast<std::size_t>((top + y) * 120 + left + x)] = 0x0000ff;
      }
    }
    left += 9;
  }
  EXPECT_TRUE(observer.shows(window, expected));
  EXPECT_EQ(program.ask("errors"), "0");
  EXPECT_EQ(program.end(), 0);
}

TEST_F(XFont, IsAskedAboutOnWhicheverConnectionIsSet) {
  for (const char* mode : {"0", "1", "2", "77"}) {
    EXPECT_EQ(play("marks", writing(kMarks), {{"ZOL_GL_USEXFONT_MODE", mode}}), rig::Lines{})
        << mode;
  }
}

TEST_F(XFont, ThatTheLocalDisplayHasNotIsDrawnAsFixed) {
  playedStraight("instead", writing("fixed"));
  setFontPath(localDisplay(), {"built-ins"});
  EXPECT_EQ(play("instead", writing(kMarks)), rig::Lines{"W " + kLabel + "failed to load font " +
                                                         kMarks + ". Falling back to 'fixed'"});
}

// Nothing is written, and the program goes on.
class NoFont : public XFont {
protected:
  rig::Lines draw(const std::string& font, const Environment& environment) const {
    const Folder folder;
    PictureProgram program(folder, appDisplay(), environment);
    const Observer observer(appDisplay());
    const Window window = program.stage("w", "120 90 24 double");
    program.ask("load-font " + font);
    EXPECT_EQ(program.ask("use-font 32 96"), "0");
    for (const char* step : {"draw quadrants 1", "write 5 70 ffffffff ABBA", "show w"})
      program.ask(step);
    EXPECT_TRUE(observer.shows(window, paintedScene("quadrants", 1, 120, 90)));
    EXPECT_EQ(program.ask("gl-error"), "0x0");
    EXPECT_EQ(program.ask("errors"), "0") << program.errors();
    rig::Lines lines;
    for (const rig::LogRecord& record : program.log().all()) {
      if (record.text().find(kLabel) != std::string::npos && record.level != 'D')
        lines.push_back(record.text());
    }
    EXPECT_EQ(program.end(), 0) << program.errors();
    return lines;
  }
};

TEST_F(NoFont, IsMadeWhereTheLocalDisplayHasNotEvenFixed) {
  const Folder empty;
  std::ofstream(empty.path() / "fonts.dir") << "0\n";
  setFontPath(localDisplay(), {empty.path()});
  EXPECT_EQ(draw(kMarks, {}), (rig::Lines{"W " + kLabel + "failed to load font " + kMarks +
                                              ". Falling back to 'fixed'",
                                          "W " + kLabel + "failed to load even fixed font."}));
}

TEST_F(NoFont, IsMadeWhereTheUserWantsNone) {
  EXPECT_EQ(draw(kMarks, {{"ZOL_GL_USEXFONT_MODE", "3"}}), rig::Lines{});
}

} // namespace
} // namespace zol::endtoend
