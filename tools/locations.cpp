#include "locations.h"

#include <initializer_list>
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

namespace {

// Where an installation puts 32-bit libraries.
constexpr char kLibraries32[] = "lib/i386-linux-gnu";

// The first of the folders, seen from the place above this program's, that has the file.
fs::path folderOf(const fs::path& fileName, std::initializer_list<const char*> folders) {
  for (const char* folder : folders) {
    fs::path candidate = programFolder().parent_path() / folder;
    std::error_code failure;
    if (fs::exists(candidate / fileName, failure)) return candidate;
  }
  return {};
}

} // namespace

fs::path vendorLibraryFolder(const fs::path& fileName) {
  // The second is where an installation puts libraries, "lib/<architecture>" on Debian.
  return folderOf(fileName, {"lib", ZOL_INSTALL_LIBDIR});
}

fs::path vendorLibraryFolder32(const fs::path& fileName) {
  return folderOf(fileName, {kLibraries32});
}

bool isSystemLibraryFolder(const std::filesystem::path& folder) {
  for (const char* prefix : {"/", "/usr", "/usr/local"}) {
    for (const char* name : {"lib", ZOL_INSTALL_LIBDIR, kLibraries32}) {
      std::error_code failure;
      if (std::filesystem::equivalent(folder, std::filesystem::path(prefix) / name, failure)) {
        return true;
      }
    }
  }
  return false;
}

} // namespace zol::tools
