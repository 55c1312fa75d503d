// The log of a program from its start to its end, line by line.
//
// The golden logs hold it masked: numbers, ids and addresses are marks, and what repeats itself as
// often as the driver has visuals and functions stands there once. After a change of the log that
// is meant, ZOL_WRITE_GOLDEN=1 in the environment of this test writes them anew.

#include "endtoend/displays.h"
#include "endtoend/observer.h"
#include "endtoend/picture_program.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

namespace zol::endtoend {
namespace {

using rig::Lines;

struct Mask {
  std::regex what;
  const char* by;
};

// In this order. An id without "0x" may consist of letters alone: it is told by what is next to it.
const std::vector<Mask>& masks() {
  static const std::vector<Mask> all = {
      {std::regex("executable \\S+ is"), "executable <path> is"},
      {std::regex("ZOL-GL [0-9.]+ \\(\\w+\\)"), "ZOL-GL <version>"},
      {std::regex("\\b0x[0-9a-f]+\\b"), "<ptr>"},
      {std::regex("\\b(id|context|context:|visual|drawable|drawable:|appDrawable|fbconfig|return|"
                  "val|draw|on|for|mode|attrib|deleting) (app |)[0-9a-f]+\\b"),
       "$1 $2<hex>"},
      {std::regex(": [0-9a-f]+ (GLX_|was deleted|default)"), ": <hex> $1"},
      {std::regex("\\b[0-9]+x[0-9]+\\b"), "<num>x<num>"},
      {std::regex("(^|[^\\w.-])-?[0-9]+(\\.[0-9]+)*(?!\\w)"), "$1<num>"},
  };
  return all;
}

std::string masked(std::string line) {
  for (const Mask& mask : masks())
    line = std::regex_replace(line, mask.what, mask.by);
  return line;
}

constexpr char kAlike[] = "(and other functions alike)";

// The dispatch asks for thousands of functions, each of which is two records. Of those in a row
// that are the driver's affair one that it has and one that it has not are kept, without their
// names.
Lines withoutDriverFunctions(const Lines& lines) {
  static const std::regex answer(
      "(.*): (?:(\\w+)( function address was resolved at the system level)|"
      "(Could not resolve )(gl[^X]\\w*)( internally.*))");
  Lines result;
  std::set<Lines> alike; // the pairs of the row
  for (std::size_t i = 0; i < lines.size(); ++i) {
    std::smatch match;
    Lines pair;
    if (i + 1 < lines.size() && std::regex_match(lines[i + 1], match, answer)) {
      const std::string name = match.str(2) + match.str(5);
      const std::string asked = "Requested " + name + " function address";
      if (lines[i].ends_with(asked)) {
        pair = {lines[i].substr(0, lines[i].size() - asked.size()) +
                    "Requested <name> function address",
                match.str(1) + ": " + match.str(4) + "<name>" + match.str(3) + match.str(6)};
      }
    }
    if (pair.empty()) {
      alike.clear();
      result.push_back(lines[i]);
      continue;
    }
    if (alike.insert(pair).second) {
      if (alike.size() > 1 && result.back() == kAlike) result.pop_back();
      result.insert(result.end(), pair.begin(), pair.end());
    } else if (result.back() != kAlike) {
      result.push_back(kAlike);
    }
    ++i;
  }
  return result;
}

bool equalRuns(const Lines& lines, std::size_t first, std::size_t second, std::size_t length) {
  return std::equal(lines.begin() + static_cast<std::ptrdiff_t>(first),
                    lines.begin() + static_cast<std::ptrdiff_t>(first + length),
                    lines.begin() + static_cast<std::ptrdiff_t>(second));
}

// One, two or three lines that stand there again and again are kept once, with a mark behind them.
Lines folded(const Lines& lines) {
  Lines result;
  for (std::size_t at = 0; at < lines.size();) {
    std::size_t length = 1, end = at;
    for (; length <= 3; ++length) {
      for (end = at + length; end + length <= lines.size() && equalRuns(lines, at, end, length);
           end += length) {
      }
      if (end > at + length) break;
    }
    if (length > 3) {
      result.push_back(lines[at++]);
      continue;
    }
    for (std::size_t i = 0; i < length; ++i)
      result.push_back(lines[at + i]);
    result.push_back("(the same again: " + std::to_string(length) + ")");
    at = end;
  }
  return result;
}

// How often frames are reported depends on the clock alone.
bool isReportOfFrames(const rig::LogRecord& record) {
  return record.message.starts_with("Produced ");
}

struct SessionLog {
  Lines program;  // its own thread
  Lines copyback; // the library's thread
};

bool beginsLikeARecord(const std::string& line) {
  static const std::regex prefix("[EWID] [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d:\\d{6} "
                                 "\\d+:\\d+ ZOL(GL)? \\(.*");
  return std::regex_match(line, prefix);
}

// Two threads that write a record at the same moment mingle them.
bool isTangled(const std::string& path) {
  static const std::regex prefix(
      "[EWID] [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d:\\d{6} \\d+:");
  std::ifstream stream(path);
  for (std::string line; std::getline(stream, line);) {
    if (!beginsLikeARecord(line) ||
        std::distance(std::sregex_iterator(line.begin(), line.end(), prefix), {}) != 1) {
      return true;
    }
  }
  return false;
}

class Session : public testing::Test {
protected:
  // A program that does what most do. Each frame is waited for, so that each has a pass of its own.
  void play(PictureProgram& program) const {
    EXPECT_EQ(program.ask("vendor"), "YRSO Systems");
    const Window window = program.stage("w", "300 200 0 double 0 0");
    program.ask("renderer");
    show(program, window, 1, 300, 200);
    show(program, window, 2, 300, 200);
    program.ask("resize w 320 240");
    show(program, window, 3, 320, 240);
    program.ask("move w 10 20");
    show(program, window, 4, 320, 240);
    program.ask("unmap w");
    program.ask("frames bar 5 5");
    program.ask("map w");
    show(program, window, 6, 320, 240);
    playSecondWindow(program);
    program.ask("current w w");
    show(program, window, 9, 320, 240);
    program.ask("release");
    program.ask("forget w");
    program.ask("destroy w");
    EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  }

  SessionLog logOfSession() const {
    for (int attempt = 1; attempt <= 5; ++attempt) {
      const Folder folder;
      PictureProgram program(folder, display_, {{"ZOL_GL_COPYBACK_FRAME_RATE", "4"}});
      const pid_t thread = program.pid();
      play(program);
      EXPECT_EQ(program.end(), 0) << program.errors();
      if (HasFailure() || !isTangled(program.log().path())) return split(program.log(), thread);
    }
    ADD_FAILURE() << "the threads' records were mingled five times";
    return {};
  }

private:
  void show(PictureProgram& program, Window window, int frame, int width, int height) const {
    program.ask("frames bar " + std::to_string(frame) + " " + std::to_string(frame));
    EXPECT_TRUE(observer_.shows(window, paintedScene("bar", frame, width, height))) << frame;
  }

  // Another window with a context of its own, made the way of programs that use FBConfigs.
  void playSecondWindow(PictureProgram& program) const {
    program.ask("find-config c 24 double");
    const Window window = std::stoul(program.ask("glx-window second c 200 100 400 0"), nullptr, 16);
    program.ask("new-context second c w");
    program.ask("current second second");
    show(program, window, 7, 200, 100);
    program.ask("destroy-glx-window second");
    program.ask("destroy second");
    program.ask("forget second");
  }

  static SessionLog split(const rig::LogFile& log, pid_t programThread) {
    SessionLog result;
    for (const rig::LogRecord& record : log.all()) {
      if (isReportOfFrames(record)) continue;
      (record.thread == programThread ? result.program : result.copyback)
          .push_back(masked(record.text()));
    }
    return {folded(withoutDriverFunctions(result.program)), folded(result.copyback)};
  }

  const std::string display_ = appDisplay();
  Observer observer_{display_};
};

std::string goldenFile(const std::string& name) {
  return ZOL_GOLDEN_FOLDER "/" + name;
}

Lines readLines(const std::string& path) {
  Lines lines;
  std::ifstream stream(path);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return lines;
}

// The two lists one below the other where they differ: "-" only expected, "+" only found.
std::string difference(const Lines& expected, const Lines& found) {
  const std::size_t rows = expected.size(), columns = found.size();
  // How many lines the rests from here on have in common, in their order.
  std::vector<std::vector<std::size_t>> common(rows + 1, std::vector<std::size_t>(columns + 1));
  for (std::size_t i = rows; i-- > 0;) {
    for (std::size_t j = columns; j-- > 0;) {
      common[i][j] = expected[i] == found[j] ? common[i + 1][j + 1] + 1
                                             : std::max(common[i + 1][j], common[i][j + 1]);
    }
  }
  std::ostringstream text;
  std::string before; // the last common line, shown above a difference
  for (std::size_t i = 0, j = 0; i < rows || j < columns;) {
    if (i < rows && j < columns && expected[i] == found[j]) {
      before = "  line " + std::to_string(i + 1) + ": " + expected[i] + "\n";
      ++i, ++j;
      continue;
    }
    text << before;
    before.clear();
    if (j == columns || (i < rows && common[i + 1][j] >= common[i][j + 1])) {
      text << "- " << expected[i++] << "\n";
    } else {
      text << "+ " << found[j++] << "\n";
    }
  }
  return text.str();
}

void expectGolden(const std::string& name, const Lines& found) {
  const std::string path = goldenFile(name);
  const std::string text = difference(readLines(path), found);
  if (text.empty()) return;
  if (std::getenv("ZOL_WRITE_GOLDEN") != nullptr) {
    std::ofstream stream(path);
    for (const std::string& line : found)
      stream << line << "\n";
    ADD_FAILURE() << path << " is written anew:\n" << text;
    return;
  }
  ADD_FAILURE() << "the log is not that of " << path << " (- expected, + found):\n" << text;
}

TEST_F(Session, IsLoggedLineByLine) {
  const SessionLog log = logOfSession();
  expectGolden("program_thread.log", log.program);
  expectGolden("copyback_thread.log", log.copyback);
}

TEST(MaskedLine, HasMarksForNumbersIdsAndAddresses) {
  EXPECT_EQ(masked("D f(): visual id fade"), "D f(): visual id <hex>");
  EXPECT_EQ(masked("D f(): 5f GLX_RGBA val 1"), "D f(): <hex> GLX_RGBA val <hex>");
  EXPECT_EQ(masked("D f(): LVI 0x55ab: fbconfig (nil), id 0x21"),
            "D f(): LVI <ptr>: fbconfig (nil), id <ptr>");
  EXPECT_EQ(masked("D f(): Moved from (0,0) to (10,-20)"),
            "D f(): Moved from (<num>,<num>) to (<num>,<num>)");
  EXPECT_EQ(masked("D f(): size 300x200"), "D f(): size <num>x<num>");
  EXPECT_EQ(masked("D f(uint32_t): GL_TEXTURE_2D and GLX_VERSION_1_4 of libX11"),
            "D f(uint32_t): GL_TEXTURE_2D and GLX_VERSION_1_4 of libX11");
  EXPECT_EQ(masked("D f(): a 3D display :7, libGLX_a.so.0, 1.25 of 32-bit"),
            "D f(): a 3D display :<num>, libGLX_a.so.0, <num> of <num>-bit");
}

TEST(LookedUpFunctions, OfTheDriverAreKeptOnceForEachAnswer) {
  const auto asked = [](const std::string& name) {
    return "I f(): Requested " + name + " function address";
  };
  const std::string has = " function address was resolved at the system level";
  const std::string lacks = " internally or at the system level - this is going to be NULL";
  const std::string ours = "D f(): glFlush function address was internally resolved";
  const Lines found = withoutDriverFunctions(
      {asked("glA"), "D f(): glA" + has, asked("glB"), "D f(): glB" + has, asked("glC"),
       "D f(): Could not resolve glC" + lacks, asked("glD"), "D f(): glD" + has, asked("glFlush"),
       ours, asked("glE"), "D f(): glE" + has, asked("glXF"),
       "D f(): Could not resolve glXF" + lacks});
  EXPECT_EQ(found, (Lines{asked("<name>"), "D f(): <name>" + has, asked("<name>"),
                          "D f(): Could not resolve <name>" + lacks, kAlike, asked("glFlush"), ours,
                          asked("<name>"), "D f(): <name>" + has, asked("glXF"),
                          "D f(): Could not resolve glXF" + lacks}));
}

TEST(FoldedLines, KeepWhatRepeatsItselfOnce) {
  EXPECT_EQ(folded({"a", "b", "c"}), (Lines{"a", "b", "c"}));
  EXPECT_EQ(folded({"a", "b", "b", "b", "c"}), (Lines{"a", "b", "(the same again: 1)", "c"}));
  EXPECT_EQ(folded({"x", "a", "b", "a", "b", "a"}),
            (Lines{"x", "a", "b", "(the same again: 2)", "a"}));
}

TEST(DifferentLines, AreShownBelowTheLastCommonOne) {
  EXPECT_EQ(difference({"a", "b", "c"}, {"a", "x", "c", "d"}),
            "  line 1: a\n- b\n+ x\n  line 3: c\n+ d\n");
  EXPECT_EQ(difference({"a"}, {"a"}), "");
}

} // namespace
} // namespace zol::endtoend
