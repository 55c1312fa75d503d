// Programs that know nothing of the library, started the way a newcomer starts them.

#include "endtoend/observer.h"
#include "endtoend/picture_program.h"

#include <algorithm>
#include <csignal>
#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <set>

namespace zol::endtoend {
namespace {

namespace fs = std::filesystem;

const std::string kZolrun = ZOL_PROGRAM_FOLDER "/zolrun";

std::set<std::string> namesIn(const fs::path& folder, const std::string& beginning) {
  std::set<std::string> names;
  std::error_code failure;
  for (const auto& entry : fs::directory_iterator(folder, failure)) {
    const std::string name = entry.path().filename();
    if (name.starts_with(beginning)) names.insert(name);
  }
  return names;
}

// What tells a server's socket from that of a later one with the same number: the shell command
// that prints it for $DISPLAY, in a line of its own.
const std::string kPrintSocket = "stat -c '%n %i %z' /tmp/.X11-unix/X${DISPLAY#:}; ";

// Runs a program that was not built here in the shell's place.
const std::string kForeign = "exec env LD_PRELOAD='" ZOL_SANITIZER_RUNTIME "' ";

// Whether the socket that the line tells of is still there.
bool isThere(const std::string& socket) {
  Folder folder;
  const std::string path = socket.substr(0, socket.find(' '));
  Program program(folder, {"stat", "-c", "%n %i %z", path}, {});
  const std::string now = program.readRest();
  program.wait();
  return now == socket + "\n";
}

// Processes that have this in their environment, which they got from the test.
std::set<std::string> processesWith(const std::string& variable) {
  std::set<std::string> found;
  for (const std::string& name : namesIn("/proc", "")) {
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    std::ifstream stream("/proc/" + name + "/environ", std::ios::binary);
    const std::string environment((std::istreambuf_iterator<char>(stream)), {});
    if (environment.find(variable) == std::string::npos) continue;
    std::ifstream command("/proc/" + name + "/comm");
    std::string text;
    std::getline(command, text);
    found.insert(name + " " + text);
  }
  return found;
}

class Zolrun : public testing::Test {
protected:
  Environment marked() const { return {{"ENDTOEND_MARK", folder_.path()}}; }
  // `socket` is the line that kPrintSocket made.
  void expectNothingLeft(const std::string& socket) const {
    EXPECT_TRUE(socket.starts_with("/tmp/.X11-unix/X")) << socket;
    EXPECT_FALSE(isThere(socket));
    EXPECT_EQ(processesWith("ENDTOEND_MARK=" + folder_.path().string()), std::set<std::string>{});
  }

  Folder folder_;
};

TEST_F(Zolrun, ShowsAProgramsFramesAndLeavesNothingBehind) {
  Program program(
      folder_,
      {kZolrun, "--headless", "--", "sh", "-c",
       "echo $DISPLAY; " + kPrintSocket + "echo $$; " + kForeign + "glxgears -geometry 200x150"},
      marked());
  const std::string display = program.readLine();
  const std::string socket = program.readLine();
  EXPECT_TRUE(isThere(socket));
  const std::string gears = program.readLine();
  {
    const Observer observer(display);
    Window window = None;
    ASSERT_TRUE(observer.waitFor(DefaultRootWindow(observer.display()), [&] {
      const std::vector<Window> windows = observer.windows();
      if (!windows.empty()) window = windows.front();
      return window != None;
    })) << program.errors();
    EXPECT_TRUE(observer.seesPaints(window, 10)) << program.errors();
    // Gears of three colours on black.
    const Picture picture = observer.picture(window);
    const std::set<std::uint32_t> colours(picture.pixels.begin(), picture.pixels.end());
    EXPECT_GT(colours.size(), 20u);
    std::ifstream maps("/proc/" + gears + "/maps");
    const std::string loaded((std::istreambuf_iterator<char>(maps)), {});
    EXPECT_NE(loaded.find("libGLX_zol.so.0"), std::string::npos);
    EXPECT_NE(loaded.find("libGLX_zolsoft.so.0"), std::string::npos);
  }
  kill(std::stoi(gears), SIGTERM);
  program.readRest();
  EXPECT_EQ(program.wait(), 128 + SIGTERM) << program.errors();
  expectNothingLeft(socket);
}

TEST_F(Zolrun, RendersOnTheLocalDisplaysDriver) {
  Program program(folder_,
                  {kZolrun, "--headless", "--", "sh", "-c", kPrintSocket + kForeign + "glxinfo -B"},
                  marked());
  const std::string socket = program.readLine();
  const std::string text = program.readRest();
  EXPECT_EQ(program.wait(), 0) << program.errors();
  EXPECT_NE(text.find("OpenGL renderer string: llvmpipe"), std::string::npos) << text;
  // Only the library reports what the driver lacks.
  EXPECT_NE(program.errors().find("system_glXJoinSwapGroupNV is NULL"), std::string::npos);
  expectNothingLeft(socket);
}

// What the count of samples does to the driver's errors tells whether the library counts.
TEST_F(Zolrun, GivesTheLibraryTheSettingsOfTheCommandLine) {
  const std::string refusal = "0x502"; // GL_INVALID_OPERATION
  for (const auto& [value, error] : std::map<std::string, std::string>{
           {"true", refusal}, {"1", refusal}, {"false", "0x0"}, {"0", "0x0"}}) {
    // The command line stands above the environment.
    const std::string otherwise = error == refusal ? "0" : "1";
    PictureProgram program(folder_,
                           Command{{kZolrun, "--headless", "--set", "use-sample-queries=" + value,
                                    "--", pictureFile()}},
                           {{"ZOL_GL_USE_SAMPLE_QUERIES", otherwise}});
    program.stage("w", "60 40 24 single");
    program.ask("draw-buffer front-and-back");
    program.ask("gl-error");
    program.ask("flush");
    EXPECT_EQ(program.ask("gl-error"), error) << value;
    EXPECT_EQ(program.end(), 0) << value;
  }
}

TEST_F(Zolrun, StopsItsServersWhenItIsTold) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Program program(folder_,
                    {kZolrun, "--headless", "--", "sh", "-c",
                     kPrintSocket + kForeign + "glxgears -geometry 200x150"},
                    marked());
    const std::string socket = program.readLine();
    program.signal(signal);
    program.readRest();
    EXPECT_EQ(program.wait(), 128 + signal) << program.errors();
    expectNothingLeft(socket);
  }
}

} // namespace
} // namespace zol::endtoend
