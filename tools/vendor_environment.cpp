#include "vendor_environment.h"

#include "locations.h"

#include <cstdlib>
#include <sstream>
#include <system_error>

namespace zol::tools {

namespace {

namespace fs = std::filesystem;

constexpr char kVendor[] = "zol";
constexpr char kPathVariable[] = "LD_LIBRARY_PATH";
constexpr char kVendorVariable[] = "__GLX_VENDOR_LIBRARY_NAME";

std::string environmentValue(const char* name) {
  const char* const value = getenv(name);
  return value ? value : "";
}

bool hasFolder(const std::string& path, const fs::path& folder) {
  std::istringstream folders(path);
  for (std::string each; std::getline(folders, each, ':');) {
    std::error_code failure;
    if (fs::equivalent(each, folder, failure)) return true;
  }
  return false;
}

// Whether the loader finds what is in the folder when it looks into those of the path as well.
bool isFound(const fs::path& folder, const std::string& path) {
  return folder.empty() || isSystemLibraryFolder(folder) || hasFolder(path, folder);
}

} // namespace

VendorEnvironment vendorEnvironment(const DisplayFacts& application) {
  VendorEnvironment environment{.folder = vendorLibraryFolder(kVendorLibrary)};
  const std::string before = environmentValue(kPathVariable);
  std::string path = before;
  const auto add = [&](const fs::path& folder) {
    if (!isFound(folder, path)) path = folder.string() + (path.empty() ? "" : ":" + path);
  };
  // The loader passes over libraries of the other word size.
  add(vendorLibraryFolder32(kVendorLibrary));
  add(environment.folder);
  if (path != before) environment.variables[kPathVariable] = path;
  const std::string inherited = environmentValue(kVendorVariable);
  const bool isOverridden = !inherited.empty() && inherited != kVendor;
  const bool isNamed = application.announces(kVendor) && !isOverridden;
  if (!isNamed) environment.variables[kVendorVariable] = kVendor;
  environment.isNeeded = !isNamed || !isFound(environment.folder, before);
  return environment;
}

} // namespace zol::tools
