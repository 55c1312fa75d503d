#pragma once

#include "tools/arguments.h"

#include <optional>
#include <string>
#include <vector>

namespace zol::server {

// What the command line of Xzol asks for.
struct XzolOptions {
  bool help = false;
  bool version = false;
  std::optional<std::string> display; // ":N"
  tools::Geometry geometry{1280, 1024};
  std::string glDisplay;                // empty: the server has none to give
  std::string vendorNames = "zol mesa"; // empty: the answer is GLX's own
  std::optional<int> displayFd;         // where the display number is to be written
  std::optional<std::string> config;    // instead of the configuration that Xzol writes
  std::optional<std::string> logFile;
  std::optional<std::string> modulePath; // searched after Xzol's own
  std::optional<std::string> authority;  // the file with the keys that clients have to show
  std::vector<std::string> xorgOptions;  // handed on as they are

  // Throws tools::UsageError.
  static XzolOptions parse(tools::Arguments arguments);
};

} // namespace zol::server
