#include "foundation/timer.h"

#include "foundation/runtime_symbols.h"

namespace zol {

uint64_t HighResTimer::getTime() {
  timespec now{};
  runtimeSymbols.clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

void HighResTimer::start() {
  running = true;
  startTime = stopTime = getTime();
}

void HighResTimer::stop() {
  running = false;
  stopTime = getTime();
}

uint64_t HighResTimer::elapsedMicro() const {
  return (running ? getTime() : stopTime) - startTime;
}

} // namespace zol
