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

} // namespace

VendorEnvironment vendorEnvironment(const DisplayFacts& application) {
  VendorEnvironment environment{.folder = vendorLibraryFolder(kVendorLibrary), .variables = {}};
  if (!environment.folder.empty() && !isSystemLibraryFolder(environment.folder)) {
    const std::string before = environmentValue(kPathVariable);
    if (!hasFolder(before, environment.folder)) {
      environment.variables[kPathVariable] =
          environment.folder.string() + (before.empty() ? "" : ":" + before);
    }
  }
  const std::string inherited = environmentValue(kVendorVariable);
  const bool isOverridden = !inherited.empty() && inherited != kVendor;
  if (!application.announces(kVendor) || isOverridden) {
    environment.variables[kVendorVariable] = kVendor;
  }
  return environment;
}

} // namespace zol::tools
