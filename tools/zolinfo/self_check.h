#pragma once

#include "../vendor_environment.h"
#include "excluded_program.h"
#include "finding.h"
#include "gl_probe.h"
#include "local_display.h"
#include "settings_report.h"

#include <optional>
#include <string>

namespace zol::tools {

// The way of a program's OpenGL, as far as it goes on this machine.
struct SelfCheck {
  SettingsReport settings;
  ProgramCheck program;

  std::string applicationName; // empty: DISPLAY is not set
  std::optional<DisplayFacts> application;
  std::optional<VendorEnvironment> environment; // once the application display is known
  std::optional<LocalDisplayName> localName;
  std::optional<DisplayFacts> local;
  std::optional<GLFacts> gl; // once both displays can be used

  Findings findings; // in the order of the way

  // Whether a program's OpenGL goes through the library to its window; in software too.
  bool isServed() const { return !hasFailure(findings); }
};

// Asks both displays, and GL as a program would. Takes seconds, never more than about a minute,
// whatever the servers do. An empty program name stands for this program.
SelfCheck checkEverything(const std::string& programName);

} // namespace zol::tools
