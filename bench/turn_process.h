#pragma once

#include "tools/unique_fd.h"

#include <functional>
#include <sys/types.h>

namespace zol::bench {

// Of what was done in one turn, in microseconds: medians, and the longest.
struct Cost {
  double elapsed = 0;
  double running = 0; // of the thread that is measured
  double longest = 0;
};

// A process of its own that works when it is told to, one turn after the other, and rests between:
// processes that take turns by tenths of a second see the same machine.
class TurnProcess {
public:
  using Turn = std::function<Cost()>;

  // `prepare` runs in the new process and returns what it does each turn. To be made before this
  // process has connections or threads.
  explicit TurnProcess(const std::function<Turn()>& prepare);
  ~TurnProcess();
  TurnProcess(const TurnProcess&) = delete;
  TurnProcess& operator=(const TurnProcess&) = delete;

  // Throws std::runtime_error when the process has ended; it has said why on standard error.
  Cost takeTurn();

private:
  pid_t pid_ = 0;
  tools::UniqueFd begin_;
  tools::UniqueFd cost_;
};

} // namespace zol::bench
