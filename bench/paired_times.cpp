#include "paired_times.h"

#include <algorithm>
#include <cstdio>

namespace zol::bench {

namespace {

// The value that `part` of the others are below.
double quantile(std::vector<double>& values, double part) {
  const auto at =
      values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

} // namespace

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
  std::printf("%s %.1f %.1f %.1f %.1f %.1f\n", name, quantile(ours, 0.5), quantile(floor, 0.5),
              quantile(difference, 0.5), quantile(difference, 0.25), quantile(difference, 0.75));
  std::fflush(stdout);
}

} // namespace zol::bench
