// The programs that scripts/bench runs: what they print is what happened.

#include "bench/statistics.h"
#include "bench/turn_process.h"
#include "program.h"
#include "tools/display_server.h"

#include <gtest/gtest.h>
#include <regex>
#include <unistd.h>

namespace zol::test {

namespace {

// A display that Mesa alone serves.
class BenchPrograms : public testing::Test {
protected:
  static void SetUpTestSuite() {
    std::string error;
    server_ = tools::DisplayServer::start({ZOL_XZOL, "--geometry", "640x480"}, &error);
    ASSERT_TRUE(server_) << error;
  }
  static void TearDownTestSuite() { server_.reset(); }

  static Outcome bench(const std::string& program, std::vector<std::string> options) {
    options.insert(options.begin(), ZOL_PROGRAM_FOLDER "/zol-bench-" + program);
    return run(std::move(options),
               {{"DISPLAY", server_->name()}, {"__GLX_VENDOR_LIBRARY_NAME", "mesa"}});
  }

  static std::unique_ptr<tools::DisplayServer> server_;
};

std::unique_ptr<tools::DisplayServer> BenchPrograms::server_;

// The library above a driver of the test's choice.
class BenchCalls : public testing::Test {
protected:
  Outcome bench(const std::string& driver, std::vector<std::string> options,
                Program::Environment environment = {}) {
    local_ = start({"--vendor-names", driver});
    app_ = start({"--gl-display", local_->name()});
    options.insert(options.begin(), ZOL_PROGRAM_FOLDER "/zol-bench-calls");
    environment.merge(Program::Environment{{"DISPLAY", app_->name()},
                                           {"LD_LIBRARY_PATH", ZOL_LIBRARY_FOLDERS},
                                           {"ZOL_NULL_FBCONFIGS", "40"},
                                           {"ZOL_GL_USER_CONFDIR", "/nonexistent"}});
    return run(std::move(options), environment);
  }

private:
  static std::unique_ptr<tools::DisplayServer> start(const std::vector<std::string>& options) {
    std::vector<std::string> command{ZOL_XZOL, "--geometry", "640x480"};
    command.insert(command.end(), options.begin(), options.end());
    std::string error;
    auto server = tools::DisplayServer::start(std::move(command), &error);
    if (!server) throw std::runtime_error(error);
    return server;
  }

  std::unique_ptr<tools::DisplayServer> local_, app_;
};

std::string field(const std::string& name, const std::string& line) {
  std::smatch match;
  const std::regex pattern("(^| )" + name + " (\"([^\"]*)\"|([0-9.]+))");
  return std::regex_search(line, match, pattern) ? match.str(3) + match.str(4) : "(none)";
}

} // namespace

TEST(BenchStatistics, QuantileIsTheValueOfTheNearestRank) {
  EXPECT_EQ(bench::quantile({40, 10, 30, 20}, 0.5), 20);
  EXPECT_EQ(bench::quantile({40, 10, 30, 20}, 0.51), 30);
  EXPECT_EQ(bench::quantile({40, 10, 30, 20}, 0), 10);
  EXPECT_EQ(bench::quantile({40, 10, 30, 20}, 1), 40);
  EXPECT_EQ(bench::quantile({}, 0.5), 0);
}

TEST(BenchStatistics, WhatWasNeverSeenIsADash) {
  EXPECT_EQ(bench::quantileText({}, 0.5), "-");
  EXPECT_EQ(bench::quantileText({3, 1, 2.0625}, 0.5), "2.062");
}

TEST(BenchTurns, AProcessWorksOnceForEachTurnInItsOwnMemory) {
  int prepared = 0;
  bench::TurnProcess process([&prepared] {
    ++prepared;
    return [turns = 0, &prepared]() mutable {
      return bench::Cost{static_cast<double>(++turns), static_cast<double>(prepared)};
    };
  });
  process.takeTurn();
  const bench::Cost second = process.takeTurn();
  EXPECT_EQ(second.elapsed, 2);
  EXPECT_EQ(second.running, 1);
  EXPECT_EQ(prepared, 0);
}

TEST(BenchTurns, AProcessThatHasEndedIsReported) {
  bench::TurnProcess process([]() -> bench::TurnProcess::Turn { _exit(3); });
  EXPECT_THROW(process.takeTurn(), std::runtime_error);
}

TEST_F(BenchPrograms, SingleFramesAllReachTheirWindowsAndAreTimed) {
  const Outcome outcome = bench(
      "delivery", {"--one-at-a-time", "--windows", "2", "--size", "200x100", "--seconds", "0.2"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(field("reached_fps", outcome.out), field("produced_fps", outcome.out));
  EXPECT_EQ(field("fewest_fps", outcome.out), field("produced_fps", outcome.out));
  const int delays = std::stoi(field("delays", outcome.out));
  EXPECT_GT(delays, 0);
  EXPECT_EQ(delays % 2, 0) << "as many in one window as in the other";
  EXPECT_GT(std::stod(field("delay_ms", outcome.out)), 0);
  EXPECT_GE(std::stod(field("delay95_ms", outcome.out)), std::stod(field("delay_ms", outcome.out)));
}

TEST_F(BenchPrograms, TheSceneTellsItsOwnAndOtherProcessesUse) {
  const Outcome outcome =
      bench("scene", {"--threads", "2", "--windows", "2", "--size", "100x100", "--seconds", "0.2",
                      "--process", std::to_string(server_->pid())});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(field("vendors", outcome.out), "libGLX_mesa.so.0");
  EXPECT_GT(std::stoi(field("frames", outcome.out)), 0);
  EXPECT_GT(std::stod(field("cpu0_s", outcome.out)), 0);
  EXPECT_GT(std::stoi(field("anon0_kb", outcome.out)), 0);
  EXPECT_GT(std::stoi(field("anon1_kb", outcome.out)), 0);
  EXPECT_EQ(field("anon2_kb", outcome.out), "(none)");
}

TEST_F(BenchPrograms, WindowsThatWouldCoverEachOtherAreRefused) {
  const Outcome fits = bench("scene", {"--windows", "4", "--size", "320x240", "--seconds", "0.01"});
  EXPECT_EQ(fits.status, 0) << fits.err;
  const Outcome outcome =
      bench("scene", {"--windows", "5", "--size", "320x240", "--seconds", "0.01"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "zol-bench-scene: the screen of '" + server_->name() +
                             "' has no room for 5 windows of that size\n");
}

TEST_F(BenchPrograms, HelpNamesOptionsAndTheirDefaults) {
  const Outcome outcome = bench("scene", {"--windows", "3", "--help"});
  EXPECT_EQ(outcome.status, 0);
  const std::string options = outcome.out.substr(outcome.out.find("\n\n  --") + 2);
  EXPECT_EQ(
      options,
      "  --size WxH     size of the windows (default 300x300)\n"
      "  --seconds N    end after N seconds; without it, SIGTERM or SIGINT ends it\n"
      "  --windows N    of each thread, drawn in turn (default 1)\n"
      "  --drawn N      go on drawing in N of the windows alone (default: all)\n"
      "  --place N      of the first window on the screen, where windows lie side by side\n"
      "                 (default 0)\n"
      "  --threads N    each with a connection and windows of its own (default 1)\n"
      "  --process PID  tell what this process used; may be given again\n"
      "  --once         draw one frame, and print no more than the clock (seconds since 1970)\n"
      "                 when it was finished, and the vendor libraries\n"
      "  --help         show this help\n");
}

TEST_F(BenchPrograms, AProcessThatDoesNotExistIsNamed) {
  constexpr char kNoProcess[] = "4194305"; // Linux has none above 2^22
  const Outcome outcome = bench("scene", {"--seconds", "0.01", "--process", kNoProcess});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "zol-bench-scene: there is no process 4194305\n");
}

TEST_F(BenchCalls, EachIsALineOfFigures) {
  const Outcome outcome = bench("zolnull", {"--rounds", "1", "--visuals", "20", "calls"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  EXPECT_TRUE(std::regex_match(outcome.out, std::regex("([A-Za-z-]+( -?[0-9]+\\.[0-9]){5}\n)+")))
      << outcome.out;
  EXPECT_NE(outcome.out.find("\nglFlush-front "), std::string::npos) << outcome.out;
}

TEST_F(BenchCalls, AreComparedAsTheLibrarysSettingsSay) {
  const struct {
    const char* variable;
    const char* what;
    const char* off;
    const char* on;
  } settings[] = {
      {"ZOL_GL_FORCE_SINGLE_THREAD_READBACK", "frame", "frame", "frame-mapped"},
      {"ZOL_GL_VIEWPORT_RESIZE_OPTIMIZATION", "viewport", "glViewport", "glViewport-optimized"}};
  for (const auto& setting : settings) {
    for (const bool on : {false, true}) {
      const Outcome outcome = bench("zolnull", {"--rounds", "1", "--visuals", "20", setting.what},
                                    {{setting.variable, on ? "1" : "0"}});
      EXPECT_EQ(outcome.status, 0) << outcome.err;
      EXPECT_EQ(outcome.out.substr(0, outcome.out.find(' ')), on ? setting.on : setting.off);
    }
  }
}

TEST_F(BenchCalls, MoreVisualsThanTheDisplayHasAreRefused) {
  const Outcome outcome = bench("zolnull", {"--visuals", "100000", "frame"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(std::regex_match(
      outcome.err, std::regex("zol-bench-calls: the application display has [0-9]+ visuals\n")))
      << outcome.err;
}

TEST_F(BenchCalls, AboveAnotherDriverAreRefused) {
  const Outcome outcome = bench("mesa", {"frame"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_NE(outcome.err.find("the library has another driver than the null driver\n"),
            std::string::npos)
      << outcome.err;
}

} // namespace zol::test
