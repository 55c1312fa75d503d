#include "softgpu/driver.h"

#include <cstddef>
#include <cstdlib>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <string>

namespace zol::softgpu {

Driver driver;

namespace {

constexpr const char* driverLibrary = "libGLX_mesa.so.0";

void* (*procAddress)(const GLubyte*) = nullptr;

struct CloseLibrary {
  void operator()(void* handle) const { dlclose(handle); }
};
using Library = std::unique_ptr<void, CloseLibrary>;

// The library's vendor entry, unless the file is this very library under the driver's name.
__PFNGLXMAINPROC vendorEntry(void* library) {
  auto entry = reinterpret_cast<__PFNGLXMAINPROC>(dlsym(library, __GLX_MAIN_PROTO_NAME));
  return entry == &__glx_Main ? nullptr : entry;
}

bool startDriver(const std::string& file, uint32_t version, const __GLXapiExports* exports,
                 __GLXvendorInfo* vendor, __GLXapiImports* imports) {
  Library library(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (!library) return false;
  const auto entry = vendorEntry(library.get());
  if (!entry) return false;
  // A driver that was started by somebody else before answers yes and fills in nothing.
  __GLXapiImports filled = *imports;
  filled.getProcAddress = nullptr;
  if (!entry(version, exports, vendor, &filled) || !filled.getProcAddress) return false;
  *imports = filled;
  static_cast<void>(library.release()); // in use for as long as the process lives
  return true;
}

std::string folderOf(const char* file) {
  const std::string path = file ? file : "";
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// Calls try(file) for the driver's file in every folder that the loader searches and in the one
// that libX11 came from, until one returns true. Needed when the plain name leads back to this
// library, which then stands in the driver's place.
template <class Try>
bool searchFolders(Try attempt) {
  Library program(dlopen(nullptr, RTLD_NOW));
  Dl_serinfo size{};
  if (program && dlinfo(program.get(), RTLD_DI_SERINFOSIZE, &size) == 0) {
    std::unique_ptr<Dl_serinfo, void (*)(void*)> paths(
        static_cast<Dl_serinfo*>(calloc(1, size.dls_size)), free);
    if (paths && dlinfo(program.get(), RTLD_DI_SERINFOSIZE, paths.get()) == 0 &&
        dlinfo(program.get(), RTLD_DI_SERINFO, paths.get()) == 0) {
      const Dl_serpath* path = paths->dls_serpath;
      for (unsigned i = 0; i < paths->dls_cnt; ++i)
        if (attempt(std::string(path[i].dls_name) + "/" + driverLibrary)) return true;
    }
  }
  Dl_info x11{};
  return dladdr(reinterpret_cast<void*>(&XOpenDisplay), &x11) &&
         attempt(folderOf(x11.dli_fname) + "/" + driverLibrary);
}

void resolveFunctions() {
  auto resolve = [](auto& function, const char* name) {
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
        procAddress(reinterpret_cast<const GLubyte*>(name)));
  };
#define DRIVER_FUNCTION(name) resolve(driver.name, #name);
#include "softgpu/driver.def"
#undef DRIVER_FUNCTION
}

} // namespace

bool loadDriver(uint32_t version, const __GLXapiExports* exports, __GLXvendorInfo* vendor,
                __GLXapiImports* imports) {
  auto attempt = [&](const std::string& file) {
    return startDriver(file, version, exports, vendor, imports);
  };
  if (!attempt(driverLibrary) && !searchFolders(attempt)) return false;
  procAddress = imports->getProcAddress;
  resolveFunctions();
  return true;
}

void* driverProcAddress(const GLubyte* name) {
  return procAddress(name);
}

} // namespace zol::softgpu
