#pragma once

#include "endtoend/observer.h"
#include "endtoend/program.h"

#include <iosfwd>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zol::endtoend {

// What an X server holds for all its clients together.
struct ServerFootprint {
  long memory = 0;                         // resident, KiB
  std::map<std::string, unsigned> objects; // by kind

  unsigned total() const;
};

// What a program and its X servers hold at a moment.
struct Footprint {
  long memory = 0;          // of the program: resident, KiB
  std::size_t files = 0;    // open file descriptors
  std::size_t segments = 0; // of shared memory
  ServerFootprint application;
  ServerFootprint local;
};

std::ostream& operator<<(std::ostream& stream, const Footprint& footprint);

// The allocator and a driver that renders in software keep memory at their own discretion, the
// latter also in segments that it makes when a buffer is first used: so much more is no growth.
long memoryAtDiscretion(long before); // KiB
constexpr long kSegmentsAtDiscretion = 8;

// All threads of a program share a heap: otherwise it depends on who frees what first how much
// memory each of them keeps.
Environment oneHeap();

// What there is more of in the second one, a line each; nothing when it is flat.
std::vector<std::string> growth(const Footprint& before, const Footprint& after);

// Takes the footprint of a program, or, with a process of 0, that of the servers alone.
class Scales {
public:
  Scales(const Observer& application, const Observer& local)
      : application_(application), local_(local) {}

  Footprint weigh(pid_t process) const;
  // Waits until there is nothing more than before: what goes later than it was let go of, with the
  // next pass of the copyback thread or when a server has noticed, is given the time. The last
  // footprint taken.
  Footprint weighWhenFlat(pid_t process, const Footprint& before) const;

private:
  const Observer& application_;
  const Observer& local_;
};

} // namespace zol::endtoend
