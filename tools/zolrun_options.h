#pragma once

#include "arguments.h"

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
  std::string glDisplay; // empty: none was named
  std::vector<std::string> command;

  // Throws UsageError.
  static ZolrunOptions parse(Arguments arguments);
};

} // namespace zol::tools
