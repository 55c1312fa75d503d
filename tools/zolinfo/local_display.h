#pragma once

#include "../display_probe.h"
#include "settings_report.h"

#include <optional>
#include <string>

namespace zol::tools {

// The name of the local display and who named it.
struct LocalDisplayName {
  enum class Origin { setting, applicationDisplay, environment, builtIn };

  std::string name;
  Origin origin;
};

// As the library chooses it. `application` is what the application display says of itself, null
// where that is not known; `applicationName` its name.
LocalDisplayName chooseLocalDisplay(const SettingsReport& settings,
                                    const std::string& applicationName,
                                    const DisplayFacts* application);

// "the setting gl-display, from the user file"
std::string describeOrigin(const LocalDisplayName& local, const SettingsReport& settings);

// What to do to have another display used: the end of a sentence, with its full stop.
std::string adviceForName(const LocalDisplayName& local, const SettingsReport& settings);

// Whether both names lead to one server: equal names, names of this machine with the same number
// (":20", "localhost:20.0"), or connections that end in the same process.
bool leadToOneServer(const std::string& nameA, const DisplayFacts* a, const std::string& nameB,
                     const DisplayFacts* b);

} // namespace zol::tools
