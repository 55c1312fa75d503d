#pragma once

#include <sys/types.h>

namespace zol::bench {

// What a process has used of the machine.
struct ProcessUsage {
  double processorSeconds = 0; // of all its threads, since its start
  long anonymousKb = 0;        // memory of its own
  long sharedKb = 0;           // shared memory that it has touched

  // Throws std::runtime_error when there is no such process.
  static ProcessUsage of(pid_t process);
};

} // namespace zol::bench
