#pragma once

#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zol::rig {

// A piece of a test that needs a process of its own: one that ends, is named otherwise, or whose
// standard error counts. RIG_SCENARIO(name) { ...; return 0; } at namespace scope defines it;
// runScenario("name") runs it in a new process of the same program and hands back what it left.
struct ScenarioOptions {
  std::string executable{}; // name to run under ("firefox", "usr/bin/X"); "": its own
  std::map<std::string, std::string> environment{}; // set in the process
  std::vector<std::string> without{};               // variables to take out
};

struct ScenarioResult {
  pid_t process = 0;
  std::string path;   // of the executable
  int exitStatus = 0; // -signal when it was killed
  std::string out;
  std::string err;
};

ScenarioResult runScenario(const std::string& name, const ScenarioOptions& options = {});

using ScenarioBody = int (*)();
bool registerScenario(const char* name, ScenarioBody body);

// For main(): runs the scenario that the arguments ask for and returns true, or returns false.
bool runRequestedScenario(int argc, char** argv, int* status);

// The directory that belongs to this test alone and vanishes with it. Log files are written there.
const std::string& testDirectory();

} // namespace zol::rig

#define RIG_SCENARIO(name)                                                                         \
  static int scenario_##name();                                                                    \
  [[maybe_unused]] static const bool scenarioRegistered_##name =                                   \
      ::zol::rig::registerScenario(#name, scenario_##name);                                        \
  static int scenario_##name()
