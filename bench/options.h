#pragma once

#include "size.h"
#include "tools/arguments.h"

#include <functional>
#include <span>
#include <string>

namespace zol::bench {

// An option of a program that measures. Takes itself, and its value, from a command line and says
// so; false when the next word is another one. Throws tools::UsageError for a wrong value.
using Option = std::function<bool(tools::Arguments&)>;

Option flagOption(const char* name, bool* given);
Option textOption(const char* name, std::string* value);
Option sizeOption(const char* name, Size* value);
Option secondsOption(const char* name, double* value);
Option countOption(const char* name, int* value, int lowest = 1);

// Takes one of the options, whichever is next.
bool takeOption(tools::Arguments& arguments, std::span<const Option> options);

// Takes options to the end of the command line, or to --help: true then. Throws tools::UsageError
// for a word that is none of them.
bool takeOptions(tools::Arguments& arguments, std::span<const Option> options);

} // namespace zol::bench
