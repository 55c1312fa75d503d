#include "softgpu/loading.h"

#include <cstdlib>
#include <dlfcn.h>

namespace zol::softgpu::test {

bool resolveAll(std::string* reason);

namespace {
decltype(&::glXGetProcAddress) getProcAddress = nullptr;
}

void* find(const char* name) {
  return reinterpret_cast<void*>(getProcAddress(reinterpret_cast<const GLubyte*>(name)));
}

bool loadVendor(std::string* reason) {
  // Standing in for the driver, the library is found by the driver's name.
  if (!getenv("ZOLSOFT_TEST_STANDS_IN")) {
    // Once loaded, GLVND finds it by its name wherever it lies.
    if (!dlopen(ZOLSOFT_LIBRARY, RTLD_NOW)) {
      *reason = dlerror();
      return false;
    }
    setenv("__GLX_VENDOR_LIBRARY_NAME", "zolsoft", 1);
  }
  void* const glvnd = dlopen("libGLX.so.0", RTLD_NOW);
  if (!glvnd) {
    *reason = dlerror();
    return false;
  }
  getProcAddress = reinterpret_cast<decltype(getProcAddress)>(dlsym(glvnd, "glXGetProcAddress"));
  return resolveAll(reason);
}

} // namespace zol::softgpu::test
