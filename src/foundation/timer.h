#pragma once

#include <cstdint>

namespace zol {

// A stopwatch on the monotonic clock, in microseconds.
class HighResTimer {
public:
  static uint64_t getTime();

  void start();
  void stop();
  uint64_t elapsedMicro() const; // up to now while running, else up to stop()

private:
  bool running = false;
  uint64_t startTime = 0;
  uint64_t stopTime = 0;
};

} // namespace zol
