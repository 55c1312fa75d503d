#pragma once

#include "size.h"
#include "tools/arguments.h"

#include <functional>
#include <span>
#include <string>

namespace zol::bench {

// An option of a program that measures.
struct Option {
  std::string usage; // "--name", or "--name VALUE"
  std::string text;  // what it means, for the help
  // Takes itself, and its value, from a command line and says so; false when the next word is
  // another one. Throws tools::UsageError for a wrong value.
  std::function<bool(tools::Arguments&)> take;
};

// What the value is so far is the default, which the help names where it could be given as well.
Option flagOption(const char* usage, bool* given, const std::string& text);
Option textOption(const char* usage, std::string* value, const std::string& text);
Option sizeOption(Size* value, const std::string& text); // --size WxH
Option secondsOption(double* value, const std::string& text = "measure for N seconds",
                     const char* usage = "--seconds N");
Option countOption(const char* usage, int* value, const std::string& text, int lowest = 1);

// Some lines: all of them, and --help.
std::string helpOf(std::span<const Option> options);

// Takes one of the options, whichever is next.
bool takeOption(tools::Arguments& arguments, std::span<const Option> options);

// Takes options to the end of the command line, or to --help: their help then, else nothing. Throws
// tools::UsageError for a word that is none of them.
std::string takeOptions(tools::Arguments& arguments, std::span<const Option> options);

} // namespace zol::bench
