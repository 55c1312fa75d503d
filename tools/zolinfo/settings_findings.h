#pragma once

#include "finding.h"
#include "settings_report.h"

namespace zol::tools {

// Broken files, values and variables that the library ignores, settings that do harm or nothing.
Findings findingsAbout(const SettingsReport& report);

} // namespace zol::tools
