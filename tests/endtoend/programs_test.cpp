// Programs that no one here wrote, started as a newcomer starts them: their windows must look as
// they do straight on the local display.

#include "endtoend/displays.h"
#include "endtoend/likeness.h"

#include <csignal>
#include <sstream>

namespace zol::endtoend {
namespace {

using Words = std::vector<std::string>;

struct Foreign {
  const char* name;
  Words command;
};

// For GoogleTest.
void PrintTo(const Foreign& program, std::ostream* stream) {
  *stream << program.name;
}

std::string nameOf(const testing::TestParamInfo<Foreign>& test) {
  return test.param.name;
}

// A program running both ways.
class Both {
public:
  explicit Both(const Words& command)
      : straight(ForeignProgram::straight(command, localDisplay())),
        through(ForeignProgram::throughLibrary(command)) {}

  void expectPictures() const {
    ASSERT_TRUE(straight.waitForPicture()) << straight.errors();
    ASSERT_TRUE(through.waitForPicture()) << through.errors();
  }
  void expectServedByTheLibrary() const {
    EXPECT_FALSE(straight.hasLoaded("libGLX_zol.so.0"));
    EXPECT_TRUE(through.hasLoaded("libGLX_zol.so.0"));
    EXPECT_TRUE(through.hasLoaded("libGLX_zolsoft.so.0"));
    EXPECT_EQ(through.libraryErrors(), Words{});
  }
  void expectEqualPictures() const {
    const Comparison comparison = compareStill(straight, through);
    EXPECT_TRUE(comparison.isEqual);
    EXPECT_TRUE(samePicture(comparison.straight, comparison.through)) << through.errors();
  }
  void expectTheyCanBeEnded() { EXPECT_EQ(through.end(), 128 + SIGTERM) << through.errors(); }

  ForeignProgram straight;
  ForeignProgram through;
};

class StillPrograms : public testing::TestWithParam<Foreign> {};

TEST_P(StillPrograms, ShowTheSamePixels) {
  Both both(GetParam().command);
  ASSERT_NO_FATAL_FAILURE(both.expectPictures());
  both.expectEqualPictures();
  both.expectServedByTheLibrary();
  both.expectTheyCanBeEnded();
}

INSTANTIATE_TEST_SUITE_P(
    , StillPrograms,
    testing::Values(Foreign{"glxgears", foreignCommand({"glxgears"}, {ZOL_STILL_CLOCK})},
                    Foreign{"glxdemo", {"glxdemo"}}, Foreign{"ctmviewer", {"ctmviewer"}}),
    nameOf);

class MovingPrograms : public testing::TestWithParam<Foreign> {};

TEST_P(MovingPrograms, ShowTheSameColours) {
  Both both(GetParam().command);
  ASSERT_NO_FATAL_FAILURE(both.expectPictures());
  EXPECT_TRUE(both.through.seesPaints(10)) << both.through.errors();
  const Comparison comparison = compareMoving(both.straight, both.through);
  EXPECT_FALSE(isBlank(comparison.straight));
  EXPECT_FALSE(isBlank(comparison.through));
  EXPECT_EQ(comparison.straight.width, comparison.through.width);
  EXPECT_EQ(comparison.straight.height, comparison.through.height);
  EXPECT_GE(comparison.likeness, kAlike);
  both.expectServedByTheLibrary();
  both.expectTheyCanBeEnded();
}

INSTANTIATE_TEST_SUITE_P(, MovingPrograms,
                         testing::Values(Foreign{"glxgears", {"glxgears"}},
                                         Foreign{"glxheads", {"glxheads"}}),
                         nameOf);

// They use EGL, which goes past the library.
TEST(ProgramsWithoutGlx, AreLeftAlone) {
  Both both({"es2tri"});
  ASSERT_NO_FATAL_FAILURE(both.expectPictures());
  both.expectEqualPictures();
  EXPECT_FALSE(both.through.hasLoaded("libGLX_zol.so.0"));
  both.expectTheyCanBeEnded();
}

// What the driver says of itself. Not the GLX strings, visuals and FBConfigs, which are others, and
// not OpenGL ES, for which the library offers no contexts.
Words driverLines(const std::string& output) {
  Words lines;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with("OpenGL ES")) continue;
    if (line.starts_with("OpenGL ") || line.starts_with("direct rendering")) lines.push_back(line);
  }
  return lines;
}

TEST(ProgramsWithoutAWindow, AreToldTheSame) {
  const Folder folder;
  Program straight(folder, foreignCommand({"glxinfo"}), {{"DISPLAY", localDisplay()}});
  Words command = foreignCommand({"glxinfo"});
  command.insert(command.begin(), {ZOL_PROGRAM_FOLDER "/zolrun", "--headless", "--"});
  Program through(folder, command, {});
  const std::string expected = straight.readRest(), found = through.readRest();
  EXPECT_EQ(straight.wait(), 0) << straight.errors();
  EXPECT_EQ(through.wait(), 0) << through.errors();
  EXPECT_GT(driverLines(expected).size(), 10u);
  EXPECT_EQ(driverLines(found), driverLines(expected));
  EXPECT_EQ(expected.find("client glx vendor string: YRSO Systems\n"), std::string::npos);
  EXPECT_NE(found.find("client glx vendor string: YRSO Systems\n"), std::string::npos) << found;
}

} // namespace
} // namespace zol::endtoend
