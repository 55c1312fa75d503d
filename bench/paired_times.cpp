#include "paired_times.h"

#include "statistics.h"

#include <cstdio>

namespace zol::bench {

void PairedTimes::add(double ours, double floor) {
  pairs_.push_back({ours, floor});
}

void PairedTimes::print(const char* name) const {
  std::vector<double> ours, floor, difference;
  for (const Pair& pair : pairs_) {
    ours.push_back(pair.ours);
    floor.push_back(pair.floor);
    difference.push_back(pair.ours - pair.floor);
  }
  std::printf("%s %.1f %.1f %.1f %.1f %.1f\n", name, median(ours), median(floor),
              median(difference), quantile(difference, 0.25), quantile(difference, 0.75));
  std::fflush(stdout);
}

} // namespace zol::bench
