#include "excluded_program.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <unistd.h>

namespace zol::tools {

namespace {

namespace fs = std::filesystem;

// The library sees the file itself, behind all links.
std::string resolved(const fs::path& path) {
  std::error_code failure;
  const fs::path real = fs::canonical(path, failure);
  return failure ? path.string() : real.string();
}

std::string pathOf(const std::string& name) {
  if (name.empty()) return resolved("/proc/self/exe");
  if (name.find('/') != std::string::npos) return resolved(name);
  const char* const path = getenv("PATH");
  std::istringstream folders(path ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    const fs::path candidate = fs::path(folder.empty() ? "." : folder) / name;
    std::error_code failure;
    if (fs::is_regular_file(candidate, failure) && access(candidate.c_str(), X_OK) == 0) {
      return resolved(candidate);
    }
  }
  return name;
}

} // namespace

ProgramCheck checkProgram(const std::string& name) {
  ProgramCheck check{.path = pathOf(name)};
  check.exclusion = exclusionOf(check.path.c_str());
  return check;
}

const char* listOf(Exclusion exclusion) {
  switch (exclusion) {
  case Exclusion::SYSTEM_TOOL:
    return "the built-in list of system tools";
  case Exclusion::BROWSER:
    return "the built-in list of browsers";
  case Exclusion::REMOTE_DISPLAY_AGENT:
    return "the built-in rule for the remote-display agent";
  case Exclusion::DENYLIST:
    return "the setting denylist";
  case Exclusion::BLACKLIST:
    return "the setting blacklist";
  case Exclusion::NONE:
    break;
  }
  return nullptr;
}

std::string adviceFor(Exclusion exclusion) {
  switch (exclusion) {
  case Exclusion::BROWSER:
    return "Add its name to the setting allowlist.";
  case Exclusion::DENYLIST:
  case Exclusion::BLACKLIST:
    return "Take the entry that its path ends in out of the list.";
  default:
    return "Nothing can be set to change that; a program of that name is never served.";
  }
}

} // namespace zol::tools
