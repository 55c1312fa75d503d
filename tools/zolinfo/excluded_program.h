#pragma once

#include "vendor/exclusion.h"

#include <string>

namespace zol::tools {

// A program, and whether the library would leave it alone.
struct ProgramCheck {
  std::string path; // of the executable, as the library would see it; the name where it is unknown
  Exclusion exclusion = Exclusion::NONE;
};

// An empty name stands for this program; one without a slash is looked for in PATH.
ProgramCheck checkProgram(const std::string& name);

const char* listOf(Exclusion exclusion); // null for none: "the built-in list of browsers"
std::string adviceFor(Exclusion exclusion);

} // namespace zol::tools
