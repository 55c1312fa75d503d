#include "program.h"
#include "tools/display_server.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>

namespace zol::test {

namespace {

using tools::DisplayServer;

// The error of a start that must fail.
std::string failure(std::vector<std::string> command, std::chrono::seconds patience) {
  std::string error;
  EXPECT_EQ(DisplayServer::start(std::move(command), &error, patience), nullptr);
  return error;
}

// A program in place of a server; $1 is "-displayfd" and $2 the descriptor's number.
std::vector<std::string> script(const std::string& text) {
  return {"/bin/sh", "-c", text, "script"};
}

constexpr std::chrono::seconds kLong(30);

TEST(DisplayServer, TellsTheNameOfAServerThatAnswers) {
  std::string error;
  const auto server = DisplayServer::start({ZOL_XZOL}, &error);
  ASSERT_NE(server, nullptr) << error;
  EXPECT_GT(server->pid(), 0);
  const Outcome outcome = run({"xdpyinfo", "-display", server->name()});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST(DisplayServer, TwoServersTakeDifferentNumbers) {
  std::string error;
  const auto one = DisplayServer::start({ZOL_XZOL}, &error);
  const auto other = DisplayServer::start({ZOL_XZOL}, &error);
  ASSERT_TRUE(one && other) << error;
  EXPECT_NE(one->name(), other->name());
}

TEST(DisplayServer, StoppingLeavesNothing) {
  adoptOrphans();
  std::string error;
  const auto server = DisplayServer::start({ZOL_XZOL}, &error);
  ASSERT_NE(server, nullptr) << error;
  const std::vector<pid_t> xorg = childrenOf(server->pid());
  ASSERT_EQ(xorg.size(), 1U);
  server->stop();
  EXPECT_EQ(server->pid(), 0);
  EXPECT_EQ(children(), std::vector<pid_t>());
  EXPECT_EQ(kill(xorg[0], 0), -1);
  server->stop();
}

TEST(DisplayServer, TheSocketOfAKilledServerIsRemoved) {
  adoptOrphans();
  // Started by hand on a number of its own, so that no other server takes it meanwhile.
  const std::string number = std::to_string(20000 + getpid() % 30000);
  std::string error;
  const auto server = DisplayServer::start({ZOL_XZOL, ":" + number}, &error);
  ASSERT_NE(server, nullptr) << error;
  const std::vector<pid_t> xorg = childrenOf(server->pid());
  ASSERT_EQ(xorg.size(), 1U);
  kill(xorg[0], SIGKILL);
  server->stop();
  EXPECT_FALSE(std::filesystem::exists("/tmp/.X11-unix/X" + number));
}

TEST(DisplayServer, AServerThatIgnoresTheRequestToEndIsKilled) {
  std::string error;
  const auto server = DisplayServer::start(
      script("trap '' TERM; eval \"echo 9999 >&$2\"; while :; do sleep 1; done"), &error);
  ASSERT_NE(server, nullptr) << error;
  EXPECT_EQ(server->name(), ":9999");
  const pid_t pid = server->pid();
  server->stop();
  EXPECT_EQ(kill(pid, 0), -1);
}

TEST(DisplayServer, SaysThatTheProgramIsMissing) {
  EXPECT_EQ(failure({"/nonexistent/Xnone"}, kLong),
            "/nonexistent/Xnone: could not be started: No such file or directory");
}

TEST(DisplayServer, SaysThatTheServerEnded) {
  EXPECT_EQ(failure(script("exit 3"), kLong),
            "/bin/sh: ended with status 3 before its display was ready");
  EXPECT_EQ(failure(script("kill -SEGV $$"), kLong),
            "/bin/sh: was killed by Segmentation fault before its display was ready");
}

TEST(DisplayServer, SaysThatTheServerDidNotGetReady) {
  adoptOrphans();
  EXPECT_EQ(failure(script("exec sleep 1000"), std::chrono::seconds(1)),
            "/bin/sh: its display was not ready within 1 seconds");
  EXPECT_EQ(children(), std::vector<pid_t>());
}

TEST(DisplayServer, SaysThatTheServerToldNonsense) {
  EXPECT_EQ(failure(script("eval \"echo nonsense >&$2\"; exec sleep 1000"), kLong),
            "/bin/sh: \"nonsense\" is no display number");
}

} // namespace

} // namespace zol::test
