#include "statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace zol::bench {

double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  const double rank = std::ceil(share * static_cast<double>(values.size()));
  const auto place = values.begin() + static_cast<ptrdiff_t>(std::max(rank, 1.0)) - 1;
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

std::string quantileText(const std::vector<double>& values, double share) {
  if (values.empty()) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", quantile(values, share));
  return text;
}

} // namespace zol::bench
