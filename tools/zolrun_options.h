#pragma once

#include "arguments.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zol::tools {

// What the command line of zolrun asks for.
struct ZolrunOptions {
  bool help = false;
  bool version = false;
  bool headless = false;
  std::optional<Geometry> geometry;
  std::map<std::string, std::string> settings; // by environment variable
  bool showFps = false;
  bool verbose = false;
  std::vector<std::string> command;

  // Throws UsageError.
  static ZolrunOptions parse(Arguments arguments);
};

} // namespace zol::tools
