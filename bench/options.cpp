#include "options.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace zol::bench {

using tools::Arguments;

namespace {

constexpr char kHelp[] = "--help";
constexpr std::size_t kLineWidth = 88;

// An option whose value is what read(name, text) makes of the word.
template <class Value, class Read>
Option valued(const std::string& usage, Value* value, const std::string& text, Read read) {
  const std::string name = usage.substr(0, usage.find(' '));
  return {usage, text, [=](Arguments& arguments) {
            const auto word = arguments.takeValue(name);
            if (word) *value = read(name.c_str(), *word);
            return word.has_value();
          }};
}

std::string withDefault(const std::string& text, const std::string& value) {
  return text + " (default " + value + ")";
}

// The usage and, from the column on, the text.
std::string helpLines(const std::string& usage, const std::string& text, std::size_t column) {
  std::string lines;
  std::string line = "  " + usage;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (line.size() + 1 + word.size() > kLineWidth) {
      lines += line + "\n";
      line.clear();
    }
    line.resize(std::max(line.size(), column - 1), ' ');
    line += " " + word;
  }
  return lines + line + "\n";
}

} // namespace

Option flagOption(const char* usage, bool* given, const std::string& text) {
  return {usage, text, [=](Arguments& arguments) {
            const bool taken = arguments.takeFlag(usage);
            *given = *given || taken;
            return taken;
          }};
}

Option textOption(const char* usage, std::string* value, const std::string& text) {
  return valued(usage, value, text, [](const char*, const std::string& word) { return word; });
}

Option sizeOption(Size* value, const std::string& text) {
  const bool hasDefault = *value != Size{};
  const std::string size = std::to_string(value->width) + "x" + std::to_string(value->height);
  return valued("--size WxH", value, hasDefault ? withDefault(text, size) : text, Size::parse);
}

Option secondsOption(double* value, const std::string& text, const char* usage) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%g", *value);
  return valued(usage, value, *value > 0 ? withDefault(text, seconds) : text, parseSeconds);
}

Option countOption(const char* usage, int* value, const std::string& text, int lowest) {
  return valued(usage, value, *value >= lowest ? withDefault(text, std::to_string(*value)) : text,
                [lowest](const char* option, const std::string& word) {
                  return parseCount(option, word, lowest);
                });
}

std::string helpOf(std::span<const Option> options) {
  std::size_t longest = std::strlen(kHelp);
  for (const Option& option : options)
    longest = std::max(longest, option.usage.size());
  const std::size_t column = longest + 4;
  std::string help;
  for (const Option& option : options)
    help += helpLines(option.usage, option.text, column);
  return help + helpLines(kHelp, "show this help", column);
}

bool takeOption(Arguments& arguments, std::span<const Option> options) {
  return std::any_of(options.begin(), options.end(),
                     [&](const Option& option) { return option.take(arguments); });
}

std::string takeOptions(Arguments& arguments, std::span<const Option> options) {
  while (!arguments.atEnd()) {
    if (arguments.takeFlag(kHelp)) return helpOf(options);
    if (!takeOption(arguments, options))
      throw tools::UsageError("unknown option " + arguments.peek());
  }
  return {};
}

} // namespace zol::bench
