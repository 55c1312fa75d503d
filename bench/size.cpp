#include "size.h"

#include "tools/arguments.h"

#include <cmath>
#include <cstdlib>
#include <limits>

namespace zol::bench {

using tools::UsageError;

Size Size::parse(const char* option, const std::string& text) {
  constexpr int kLargest = 32767; // what the X protocol can address
  const size_t cross = text.find('x');
  if (cross != std::string::npos) {
    const auto width = tools::parseNumber(text.substr(0, cross), kLargest);
    const auto height = tools::parseNumber(text.substr(cross + 1), kLargest);
    if (width.value_or(0) > 0 && height.value_or(0) > 0) return {*width, *height};
  }
  throw UsageError(std::string(option) + " " + text + " is not of the form WxH");
}

double parseSeconds(const char* option, const std::string& text) {
  char* end = nullptr;
  const double seconds = strtod(text.c_str(), &end);
  if (end == text.c_str() || *end != '\0' || !std::isfinite(seconds) || seconds <= 0) {
    throw UsageError(std::string(option) + " " + text + " is not a number of seconds above 0");
  }
  return seconds;
}

int parseCount(const char* option, const std::string& text, int lowest) {
  const auto count = tools::parseNumber(text, std::numeric_limits<int>::max());
  if (count && *count >= lowest) return *count;
  throw UsageError(std::string(option) + " " + text + " is not a number from " +
                   std::to_string(lowest) + " on");
}

} // namespace zol::bench
