#include "softgpu/loading.h"

#include <glvnd/libglxabi.h>

#include <dlfcn.h>

namespace zol::softgpu::test {

bool resolveAll(std::string* reason);

namespace {
__GLXapiImports imports{};
const __GLXapiExports exports{};
} // namespace

void* find(const char* name) {
  return imports.getProcAddress(reinterpret_cast<const GLubyte*>(name));
}

bool loadVendor(std::string* reason) {
  void* const library = dlopen(ZOLSOFT_LIBRARY, RTLD_NOW);
  const auto entry =
      library ? reinterpret_cast<__PFNGLXMAINPROC>(dlsym(library, "__glx_Main")) : nullptr;
  if (!entry) {
    *reason = dlerror();
    return false;
  }
  if (entry(2U << 16, &exports, nullptr, &imports)) {
    *reason = "the library takes an interface version that it does not know";
    return false;
  }
  if (!entry(1U << 16, &exports, nullptr, &imports)) {
    *reason = "the library declined";
    return false;
  }
  // Whoever loads it once more gets the same.
  __GLXapiImports again{};
  if (!entry(1U << 16, &exports, nullptr, &again) ||
      again.getProcAddress != imports.getProcAddress || !again.isScreenSupported ||
      !again.getDispatchAddress || !again.setDispatchIndex) {
    *reason = "the library gives out something else the second time";
    return false;
  }
  return resolveAll(reason);
}

} // namespace zol::softgpu::test
