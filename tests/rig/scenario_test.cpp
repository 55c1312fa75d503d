#include "rig/scenario.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace zol::rig;

RIG_SCENARIO(speaks) {
  std::printf("%s", std::getenv("ZOL_RIG_WORD"));
  std::fprintf(stderr, "aside");
  return 7;
}

RIG_SCENARIO(dies) {
  std::abort();
}

TEST(Scenario, HandsBackWhatTheProcessLeft) {
  const ScenarioResult result = runScenario("speaks", {.environment = {{"ZOL_RIG_WORD", "hello"}}});
  EXPECT_EQ(result.exitStatus, 7);
  EXPECT_EQ(result.out, "hello");
  EXPECT_EQ(result.err, "aside");
}

TEST(Scenario, TellsASignalFromAStatus) {
  EXPECT_EQ(runScenario("dies").exitStatus, -SIGABRT);
}

TEST(Scenario, RunsUnderTheNameThatItIsGiven) {
  const ScenarioResult result =
      runScenario("speaks", {.executable = "firefox", .environment = {{"ZOL_RIG_WORD", "hello"}}});
  EXPECT_EQ(result.exitStatus, 7);
  EXPECT_EQ(result.path.substr(result.path.rfind('/')), "/firefox");
}

TEST(TestProcess, HasADirectoryOfItsOwnAndNoSettings) {
  EXPECT_EQ(access(testDirectory().c_str(), W_OK), 0);
  EXPECT_EQ(std::getenv("DISPLAY"), nullptr);
  EXPECT_EQ(std::getenv("ZOL_GL_DISPLAY"), nullptr);
}
