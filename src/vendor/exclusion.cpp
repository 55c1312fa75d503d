#include "vendor/exclusion.h"

#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/process.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kSystemTools[] = {"/usr/bin/nvidia-settings", "Xorg", "/usr/bin/X"};
constexpr char kBrowsers[] = "chrome:nacl_helper:chromium-browser:chromium:firefox";
constexpr char kRemoteDisplayAgent[] = "zolagent";

bool isSystemTool(const char* exe) {
  for (const char* tool : kSystemTools) {
    if (matchAppName(tool, exe)) return true;
  }
  return false;
}

} // namespace

Exclusion exclusionOf(const char* exe) {
  const auto& settings = zol::conf::settings();
  if (isSystemTool(exe)) return Exclusion::SYSTEM_TOOL;
  // For browsers the allow list alone decides; it admits nobody else.
  if (containsString(kBrowsers, exe)) {
    return containsString(settings.allowlist, exe) ? Exclusion::NONE : Exclusion::BROWSER;
  }
  if (matchAppName(kRemoteDisplayAgent, exe)) return Exclusion::REMOTE_DISPLAY_AGENT;
  if (containsString(settings.denylist, exe)) return Exclusion::DENYLIST;
  return containsString(settings.blacklist, exe) ? Exclusion::BLACKLIST : Exclusion::NONE;
}

bool matchAppName(const char* name, const char* exe) {
  const std::size_t nameLength = std::strlen(name);
  const std::size_t exeLength = std::strlen(exe);
  return nameLength <= exeLength && std::strcmp(exe + exeLength - nameLength, name) == 0;
}

bool containsString(const char* list, const char* exe) {
  if (list == nullptr) return false;
  char* const copy = strdup(list);
  if (copy == nullptr) return false;
  bool found = false;
  char* rest = nullptr;
  for (const char* token = strtok_r(copy, ": \t\n", &rest); token != nullptr && !found;
       token = strtok_r(nullptr, ": \t\n", &rest)) {
    found = matchAppName(token, exe);
  }
  std::free(copy);
  return found;
}

bool isExcluded() {
  char exe[1024];
  if (zolGetCurrentProcessExe(exe, sizeof exe) < 1) {
    ZOLGL_WARNING("ZOL-GL GLVND: Could not obtain process name");
    return false;
  }
  if (exclusionOf(exe) == Exclusion::NONE) return false;
  ZOLGL_INFO_STDERR("ZOL-GL GLVND: %s is excluded, ZOL-GL disabled.", exe);
  return true;
}
