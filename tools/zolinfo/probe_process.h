#pragma once

#include <chrono>
#include <map>
#include <string>
#include <sys/types.h>

namespace zol::tools {

// How a run of this program as a probe ended, and what it wrote.
struct ProbeOutcome {
  pid_t pid = 0;
  bool inTime = false;
  int signal = 0; // that killed it before its time; 0 for none
  int status = 0; // its exit status
  std::string out;
  std::string err;
};

// Runs this very program again with one argument and these changes to the environment, and kills it
// when it does not end in time. Throws RunError when no process can be had.
ProbeOutcome runAsProbe(const std::string& argument,
                        const std::map<std::string, std::string>& environment,
                        std::chrono::seconds patience);

} // namespace zol::tools
