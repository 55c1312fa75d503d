// What programs do with their process while the library is in it: nothing that they do without it
// crashes, hangs or says more with it.

#include "endtoend/delivery.h"
#include "endtoend/observer.h"
#include "endtoend/picture_program.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace zol::endtoend {
namespace {

// The copyback thread paints as often as it can.
const Environment kBusy = {{"ZOL_GL_COPYBACK_FRAME_RATE", "10000"}};
std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    result.push_back(line);
  return result;
}

// What was written to standard error, but for functions that the driver does not have.
std::string unasked(const Program& program) {
  std::string result;
  for (const std::string& line : lines(program.errors())) {
    if (!line.starts_with("ERROR: system_") || !line.ends_with(" is NULL")) result += line + "\n";
  }
  return result;
}

class Processes : public testing::Test {
protected:
  void expectFrame(PictureProgram& program, Window window, int frame) {
    const std::string number = std::to_string(frame);
    program.ask("frames bar " + number + " " + number);
    EXPECT_TRUE(observer_.shows(window, paintedScene("bar", frame, 300, 200)));
  }
  void expectFrames(PictureProgram& program, Window window, int first) {
    expectFrame(program, window, first);
    expectFrame(program, window, first + 1);
  }

  void expectGoodEnd(PictureProgram& program) {
    EXPECT_EQ(program.ask("errors"), "0") << program.errors();
    EXPECT_EQ(program.end(), 0) << program.errors();
    EXPECT_EQ(unasked(program), "");
  }

  const Folder folder_;
  const Observer observer_{appDisplay()};
};

const char* const kStage = "300 200 24 double 0 0";

// A connection or a log that a child inherits is one that nobody closes any more.
TEST_F(Processes, OtherProgramsThatTheyStartInheritNoFile) {
  PictureProgram program(folder_, appDisplay());
  const std::string files = "run readlink /proc/self/fd/* | grep -v pipe: | tr '\\n' ' '";
  const std::string before = program.ask(files);
  const Window window = program.stage("w", kStage);
  expectFrames(program, window, 1);
  EXPECT_FALSE(program.log().all().empty());
  EXPECT_EQ(program.ask(files), before);
  expectGoodEnd(program);
}

TEST_F(Processes, OtherProgramsThatTheyStartUseGlLikewise) {
  PictureProgram program(folder_, appDisplay());
  const Window window = program.stage("w", kStage);
  expectFrames(program, window, 1);
  const std::string child = "{ printf '0 window w 64 64 24 double 400 0\\n0 context w w\\n"
                            "0 current w w\\n0 frames bar 1 3\\n0 errors\\n0 vendor\\n'; } | " +
                            pictureFile() + " | tr '\\n' ';'";
  const std::string answers = program.ask("run " + child);
  EXPECT_TRUE(answers.ends_with(";0 ok;0 ok;0 ok;0 ok 0;0 ok YRSO Systems;")) << answers;
  expectFrames(program, window, 3);
  expectGoodEnd(program);
}

// A child has none of the library's threads, and the connections that it inherits are its parent's.
TEST_F(Processes, ThatForkGoOnWhenTheirChildUsesGl) {
  PictureProgram program(folder_, appDisplay());
  const Window window = program.stage("w", kStage);
  expectFrames(program, window, 1);
  EXPECT_EQ(program.ask("fork-perform own-display; window child 300 200 24 double 400 0;"
                        "context child child; current child child; frames bar 1 3"),
            "one failed");
  expectFrames(program, window, 6);
  const Window second = program.stage("second", "300 200 24 double 400 0");
  expectFrames(program, second, 8);
  EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  EXPECT_EQ(program.end(), 0) << program.errors();
}

// The thread that draws is at rest: exiting beside one that is inside the driver ends in a crash of
// Mesa's software renderer without the library, too.
TEST_F(Processes, ThatExitInAnotherThreadWhileFramesArePainted) {
  for (const Delivery& delivery : {Delivery{1, true, false}, Delivery{2, true, true}}) {
    Environment environment = delivery.environment();
    environment.insert(kBusy.begin(), kBusy.end());
    for (int i = 0; i < 3; ++i) {
      PictureProgram program(folder_, appDisplay(), environment);
      for (const char* name : {"a", "b", "c"})
        program.stage(name, "1600 1200 24 double 0 0", 1);
      for (const char* name : {"a", "b", "c"}) {
        program.ask(std::string("current ") + name + " " + name, 1);
        program.ask("frames bar 1 1", 1);
      }
      program.tell("exit 3", 2);
      EXPECT_EQ(program.wait(), 3) << delivery.name() << "\n" << unasked(program);
    }
  }
}

TEST_F(Processes, ThatExitInASignalHandler) {
  for (int i = 0; i < 3; ++i) {
    PictureProgram program(folder_, appDisplay(), kBusy);
    program.ask("exit-on-signal 3");
    const Window window = program.stage("w", "1600 1200 24 double 0 0");
    program.tell("frames bar 1 1000000");
    ASSERT_TRUE(observer_.seesPaints(window, 2 + i));
    program.signal(SIGUSR1);
    EXPECT_EQ(program.wait(), 3) << unasked(program);
  }
}

TEST_F(Processes, ThatExitInTheirXErrorHandler) {
  PictureProgram program(folder_, appDisplay(), kBusy);
  const Window window = program.stage("w", kStage);
  expectFrames(program, window, 1);
  program.ask("exit-on-error 3");
  program.tell("x-error");
  EXPECT_EQ(program.wait(), 3) << unasked(program);
  EXPECT_EQ(unasked(program), "");
}

// The copyback that finds out about shared memory sets a handler of its own for a while.
TEST_F(Processes, KeepTheirXErrorHandlerAndGetTheirErrors) {
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_COPYBACK_STRATEGY", "0"}});
  EXPECT_EQ(program.ask("error-handler"), "mine");
  const Window window = program.window("w", kStage);
  EXPECT_EQ(program.ask("error-handler"), "mine");
  program.ask("context w w");
  program.ask("current w w");
  expectFrames(program, window, 1);
  EXPECT_EQ(program.ask("error-handler"), "mine");
  program.ask("x-error");
  EXPECT_EQ(program.ask("errors"), "1");
  expectFrames(program, window, 3);
  EXPECT_EQ(program.ask("errors"), "1");
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_F(Processes, KeepTheirLocale) {
  const std::string source = folder_.path() / "source", locale = folder_.path() / "comma";
  std::ofstream(source) << "LC_NUMERIC\ndecimal_point \"<U002C>\"\nthousands_sep \"<U002E>\"\n"
                           "grouping 3;3\nEND LC_NUMERIC\n";
  Program localedef(folder_, {"localedef", "-c", "--no-archive", "-i", source, locale}, {});
  localedef.readRest();
  localedef.wait(); // what it says about the parts that are left out does not matter

  PictureProgram program(folder_, appDisplay(), {{"LOCPATH", folder_.path()}});
  program.ask("locale comma");
  ASSERT_EQ(program.ask("half"), "0,5");
  const Window window = program.stage("w", kStage);
  expectFrames(program, window, 1);
  EXPECT_EQ(program.ask("half"), "0,5");
  EXPECT_FALSE(program.log().all().empty()); // its name has a number with a point in it
  expectGoodEnd(program);
}

// The last frame is still on its way when they do.
TEST_F(Processes, ThatLetGoOfGlAndLoadItAgainAreServedAgain) {
  if (kStaysLoaded) {
    GTEST_SKIP() << "built with sanitizers the library stays loaded, and it serves a GLVND once";
  }
  Program program(folder_, {ZOL_LATE_GL, "3"},
                  {{"DISPLAY", appDisplay()}, {"ZOL_GL_LOG_DIR", folder_.path()}});
  for (int time = 0; time < 3; ++time) {
    const std::string shown = program.readLine();
    ASSERT_EQ(shown.substr(0, 6), "shown ") << program.errors();
    EXPECT_TRUE(program.hasLoaded("libGLX_zol.so.0"));
    const Picture expected{64, 64, std::vector<std::uint32_t>(64 * 64, 0xff00ff)};
    EXPECT_TRUE(observer_.shows(std::stoul(shown.substr(6), nullptr, 16), expected)) << time;
    program.write("\n");
    EXPECT_EQ(program.readLine(), "closed") << program.errors();
    EXPECT_EQ(program.hasLoaded("libGLX_zol.so.0"), kStaysLoaded);
    program.write("\n");
  }
  EXPECT_EQ(program.wait(), 0) << program.errors();
  EXPECT_EQ(unasked(program), "");
}

TEST_F(Processes, ThatMayNotConnectAreNotServed) {
  PictureProgram program(folder_, appDisplay());
  program.ask("errors"); // opens its connection
  program.ask("refuse-connections");
  const Window window = program.stage("w", kStage);
  program.ask("draw quadrants 1");
  program.ask("show w");
  EXPECT_TRUE(observer_.shows(window, paintedScene("quadrants", 1, 300, 200)));
  EXPECT_EQ(program.ask("vendor"), "Mesa Project and SGI");
  EXPECT_EQ(program.hasLoaded("libGLX_zol.so.0"), kStaysLoaded);
  expectGoodEnd(program);
}

TEST_F(Processes, ThatMayNotConnectAnyMoreGoOnWithWhatTheyHave) {
  PictureProgram program(folder_, appDisplay());
  const Window window = program.stage("w", kStage);
  expectFrames(program, window, 1);
  program.ask("refuse-connections");
  expectFrames(program, window, 3);
  const Window second = program.stage("second", "300 200 24 double 400 0");
  expectFrames(program, second, 5);
  // Another thread would need a connection of its own.
  EXPECT_THROW(program.stage("third", "300 200 24 double 0 400", 1), std::runtime_error);
  program.ask("current w w");
  expectFrames(program, window, 7);
  expectGoodEnd(program);
}

// Of what programs call without looking whether it is offered, an error reaches them for what the
// driver itself cannot do with a window that it does not know.
TEST_F(Processes, MayCallWhatIsNotOffered) {
  PictureProgram program(folder_, appDisplay());
  const Window window = program.stage("w", kStage);
  program.ask("find-config c 24 double");
  std::vector<std::string> refused;
  std::string errors = "0";
  int frame = 0;
  for (const char* name :
       {"glXSwapIntervalEXT", "glXSwapIntervalMESA", "glXGetSwapIntervalMESA", "glXSwapIntervalSGI",
        "glXGetSyncValuesOML", "glXGetMscRateOML", "glXSwapBuffersMscOML", "glXWaitForMscOML",
        "glXWaitForSbcOML", "glXGetVideoSyncSGI", "glXWaitVideoSyncSGI", "glXDelayBeforeSwapNV",
        "glXCopySubBufferMESA", "glXReleaseBuffersMESA", "glXCushionSGI",
        "glXQueryRendererIntegerMESA", "glXQueryCurrentRendererIntegerMESA"}) {
    SCOPED_TRACE(name);
    program.ask(std::string("call w c ") + name);
    if (const std::string now = program.ask("errors"); now != errors) {
      refused.push_back(name);
      errors = now;
    }
    expectFrame(program, window, ++frame);
  }
  EXPECT_EQ(refused, (std::vector<std::string>{"glXSwapIntervalEXT", "glXCopySubBufferMESA"}));
  SCOPED_TRACE("glXMakeCurrentReadSGI");
  // The driver makes the context current in its own way, until GLVND makes another one current.
  program.ask("call w c glXMakeCurrentReadSGI");
  program.ask("release");
  program.ask("current w w");
  expectFrame(program, window, ++frame);
  EXPECT_EQ(program.end(), 0) << program.errors();
}

} // namespace
} // namespace zol::endtoend
