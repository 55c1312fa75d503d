#pragma once

#include <string>

namespace zol::bench {

// Of a window, in pixels.
struct Size {
  int width = 0;
  int height = 0;
  bool operator==(const Size& other) const = default;

  // Reads "WxH", both from 1 to 32767. Throws tools::UsageError that names the option.
  static Size parse(const char* option, const std::string& text);
};

// Reads a number of seconds above 0. Throws tools::UsageError that names the option.
double parseSeconds(const char* option, const std::string& text);

// Reads a whole number. Throws tools::UsageError that names the option.
int parseCount(const char* option, const std::string& text, int lowest = 1);

} // namespace zol::bench
