#pragma once

#include "../arguments.h"

#include <string>

namespace zol::tools {

// What the command line of zolinfo asks for.
struct ZolinfoOptions {
  enum class Screen { check, config, visuals, help, version };

  Screen screen = Screen::check;
  bool asJson = false;
  std::string program; // empty: zolinfo itself

  // Throws UsageError.
  static ZolinfoOptions parse(Arguments arguments);
};

} // namespace zol::tools
