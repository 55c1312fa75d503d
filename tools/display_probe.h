#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace zol::tools {

// What a display says about itself.
struct DisplayFacts {
  bool hasZol = false; // the extension "ZOL-V1"
  bool hasGlx = false;
  std::string vendorNames;  // the GLX vendors it announces, separated by blanks
  bool hasLibglvnd = false; // "GLX_EXT_libglvnd" among the server's GLX extensions
  bool hasShm = false;      // the extension "MIT-SHM"

  std::string serverVendor;
  int serverRelease = 0;
  pid_t serverPid = 0; // 0 where it is not on this machine or not known

  // The display that a server with ZOL-V1 wants its clients to render on: empty where it leaves it
  // to the environment's DISPLAY, no value where it names none.
  std::optional<std::string> glDisplay;

  bool announces(const std::string& vendor) const;
};

// Connects to the display and asks. Throws RunError, with the display's name in it, when it cannot
// be reached or does not answer within seconds.
DisplayFacts probeDisplay(const std::string& name);

} // namespace zol::tools
