#pragma once

#include "display_probe.h"

#include <filesystem>
#include <map>
#include <string>

namespace zol::tools {

// What is set for a program so that GLVND takes the library on the application display.
struct VendorEnvironment {
  std::filesystem::path folder; // of the library; empty when it is missing
  std::map<std::string, std::string> variables = {};
  bool isNeeded = false; // for programs of this one's word size
};

VendorEnvironment vendorEnvironment(const DisplayFacts& application);

} // namespace zol::tools
