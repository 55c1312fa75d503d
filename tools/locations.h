#pragma once

#include <filesystem>

// Where the parts of the project lie, seen from the running program: a build tree and an installed
// prefix have the same shape, so both are found from the program's own place.
namespace zol::tools {

// The folder of the running program; empty when the system does not tell.
std::filesystem::path programFolder();

// The folder to give to the X server's -modulepath, and the module in it.
std::filesystem::path serverModuleFolder();
std::filesystem::path serverModule();

constexpr char kVendorLibrary[] = "libGLX_zol.so.0";

// The folder that has the GLVND vendor library `fileName`; empty when none has.
std::filesystem::path vendorLibraryFolder(const std::filesystem::path& fileName);

// Where it lies for 32-bit programs, seen from a 64-bit one; empty when it does not.
std::filesystem::path vendorLibraryFolder32(const std::filesystem::path& fileName);

// Whether the dynamic loader looks into the folder unasked.
bool isSystemLibraryFolder(const std::filesystem::path& folder);

} // namespace zol::tools
