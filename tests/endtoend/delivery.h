#pragma once

#include "endtoend/displays.h"
#include "endtoend/program.h"

#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

namespace zol::endtoend {

// A way in which frames reach their window.
struct Delivery {
  int strategy;      // of the copyback
  bool sharedMemory; // the server has MIT-SHM
  bool singleThread; // the program's thread waits for its pixels

  std::string name() const {
    return "Strategy" + std::to_string(strategy) + (sharedMemory ? "WithShm" : "WithoutShm") +
           (singleThread ? "SingleThread" : "MultiThread");
  }
  Environment environment() const {
    Environment result = {{"ZOL_GL_COPYBACK_STRATEGY", std::to_string(strategy)}};
    if (singleThread) result["ZOL_GL_FORCE_SINGLE_THREAD_READBACK"] = "1";
    return result;
  }
  const std::string& display() const {
    return sharedMemory ? appDisplay() : appDisplayWithout("MIT-SHM");
  }
};

inline void PrintTo(const Delivery& delivery, std::ostream* stream) {
  *stream << delivery.name();
}

// All that deliver: shared memory cannot be forced on a server that has none.
inline std::vector<Delivery> allDeliveries() {
  std::vector<Delivery> result;
  for (const bool singleThread : {false, true}) {
    for (const int strategy : {0, 1, 2})
      result.push_back({strategy, true, singleThread});
    for (const int strategy : {0, 2})
      result.push_back({strategy, false, singleThread});
  }
  return result;
}

} // namespace zol::endtoend
