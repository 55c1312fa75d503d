#include "options.h"

#include <algorithm>

namespace zol::bench {

using tools::Arguments;

namespace {

// An option whose value is what read(name, text) makes of the word.
template <class Value, class Read>
Option valued(const char* name, Value* value, Read read) {
  return [=](Arguments& arguments) {
    const auto word = arguments.takeValue(name);
    if (word) *value = read(name, *word);
    return word.has_value();
  };
}

} // namespace

Option flagOption(const char* name, bool* given) {
  return [=](Arguments& arguments) {
    const bool taken = arguments.takeFlag(name);
    *given = *given || taken;
    return taken;
  };
}

Option textOption(const char* name, std::string* value) {
  return valued(name, value, [](const char*, const std::string& word) { return word; });
}

Option sizeOption(const char* name, Size* value) {
  return valued(name, value, Size::parse);
}

Option secondsOption(const char* name, double* value) {
  return valued(name, value, parseSeconds);
}

Option countOption(const char* name, int* value, int lowest) {
  return valued(name, value, [lowest](const char* option, const std::string& word) {
    return parseCount(option, word, lowest);
  });
}

bool takeOption(Arguments& arguments, std::span<const Option> options) {
  return std::any_of(options.begin(), options.end(),
                     [&](const Option& option) { return option(arguments); });
}

bool takeOptions(Arguments& arguments, std::span<const Option> options) {
  while (!arguments.atEnd()) {
    if (arguments.takeFlag("--help")) return true;
    if (!takeOption(arguments, options))
      throw tools::UsageError("unknown option " + arguments.peek());
  }
  return false;
}

} // namespace zol::bench
