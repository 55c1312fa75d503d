#include "locations.h"

#include <system_error>

namespace zol::tools {

namespace fs = std::filesystem;

fs::path programFolder() {
  std::error_code failure;
  return fs::read_symlink("/proc/self/exe", failure).parent_path();
}

fs::path serverModuleFolder() {
  return programFolder().parent_path() / "lib" / "xorg" / "modules";
}

fs::path serverModule() {
  return serverModuleFolder() / "extensions" / "libzol.so";
}

fs::path vendorLibraryFolder(const fs::path& fileName) {
  // The second is where an installation puts libraries, "lib/<architecture>" on Debian.
  for (const char* folder : {"lib", ZOL_INSTALL_LIBDIR}) {
    fs::path candidate = programFolder().parent_path() / folder;
    std::error_code failure;
    if (fs::exists(candidate / fileName, failure)) return candidate;
  }
  return {};
}

bool isSystemLibraryFolder(const std::filesystem::path& folder) {
  for (const char* prefix : {"/", "/usr", "/usr/local"}) {
    for (const char* name : {"lib", ZOL_INSTALL_LIBDIR}) {
      std::error_code failure;
      if (std::filesystem::equivalent(folder, std::filesystem::path(prefix) / name, failure)) {
        return true;
      }
    }
  }
  return false;
}

} // namespace zol::tools
