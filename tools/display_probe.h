#pragma once

#include <string>

namespace zol::tools {

// What a display says about itself.
struct DisplayFacts {
  bool hasZol = false; // the extension "ZOL-V1"
  bool hasGlx = false;
  std::string vendorNames; // the GLX vendors it announces, separated by blanks

  bool announces(const std::string& vendor) const;
};

// Connects to the display and asks. Throws RunError, with the display's name in it, when it cannot
// be reached or does not answer within seconds.
DisplayFacts probeDisplay(const std::string& name);

} // namespace zol::tools
