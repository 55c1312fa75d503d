#include "local_display.h"

#include <unistd.h>

namespace zol::tools {

namespace {

constexpr char kBuiltIn[] = ":0.0";

bool isThisMachine(const std::string& host) {
  char self[256] = "";
  gethostname(self, sizeof self - 1);
  return host.empty() || host == "unix" || host == "localhost" || host == "127.0.0.1" ||
         host == self;
}

struct NameParts {
  std::string host; // empty for this machine
  std::string number;
};

// The names are compared without the resolver, which may keep one waiting.
NameParts partsOf(const std::string& name) {
  const size_t colon = name.rfind(':');
  if (colon == std::string::npos) return {name, {}};
  std::string host = name.substr(0, colon);
  const std::string rest = name.substr(colon + 1);
  return {isThisMachine(host) ? std::string() : std::move(host), rest.substr(0, rest.find('.'))};
}

} // namespace

LocalDisplayName chooseLocalDisplay(const SettingsReport& settings,
                                    const std::string& applicationName,
                                    const DisplayFacts* application) {
  using Origin = LocalDisplayName::Origin;
  if (const SettingValue& value = settings["gl-display"]; value.value) {
    return {*value.value, Origin::setting};
  }
  if (application && application->glDisplay) {
    if (application->glDisplay->empty()) return {applicationName, Origin::environment};
    return {*application->glDisplay, Origin::applicationDisplay};
  }
  return {kBuiltIn, Origin::builtIn};
}

std::string describeOrigin(const LocalDisplayName& local, const SettingsReport& settings) {
  switch (local.origin) {
  case LocalDisplayName::Origin::setting:
    return "the setting gl-display, " + placeOf(settings, settings["gl-display"]);
  case LocalDisplayName::Origin::applicationDisplay:
    return "the application display's answer";
  case LocalDisplayName::Origin::environment:
    return "the variable DISPLAY, as the application display asks for";
  case LocalDisplayName::Origin::builtIn:
    break;
  }
  return "the default, as nobody names one";
}

std::string adviceForName(const LocalDisplayName& local, const SettingsReport& settings) {
  switch (local.origin) {
  case LocalDisplayName::Origin::setting:
    return "name the display of the GPU in " + placeOf(settings, settings["gl-display"]) + ".";
  case LocalDisplayName::Origin::applicationDisplay:
  case LocalDisplayName::Origin::environment:
    return "name the display of the GPU: start Xzol with another --gl-display, or set "
           "ZOL_GL_DISPLAY.";
  case LocalDisplayName::Origin::builtIn:
    break;
  }
  return "name the display of the GPU: start Xzol with --gl-display NAME, or set ZOL_GL_DISPLAY.";
}

bool leadToOneServer(const std::string& nameA, const DisplayFacts* a, const std::string& nameB,
                     const DisplayFacts* b) {
  if (nameA == nameB) return true;
  if (a && b && a->serverPid > 0 && a->serverPid == b->serverPid) return true;
  const NameParts partsA = partsOf(nameA);
  const NameParts partsB = partsOf(nameB);
  return !partsA.number.empty() && partsA.number == partsB.number && partsA.host == partsB.host;
}

} // namespace zol::tools
