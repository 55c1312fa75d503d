#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zol::bench {

// The value below which that share (0 to 1) of the values lies, by the nearest rank; 0 of none.
double quantile(std::vector<double> values, double share);

inline double median(std::vector<double> values) {
  return quantile(std::move(values), 0.5);
}

// A quantile as it is printed, with three digits; a dash of none.
std::string quantileText(const std::vector<double>& values, double share);

} // namespace zol::bench
