#include "softgpu/driver.h"
#include "softgpu/hooks.h"

#include <atomic>
#include <dlfcn.h>

namespace {

// Displays and contexts keep pointers into this library until the process ends.
void stayLoaded() {
  Dl_info self{};
  if (dladdr(reinterpret_cast<void*>(&__glx_Main), &self))
    dlopen(self.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

// What a started library hands out, the same for everyone who loads it.
struct Started {
  bool done = false;
  __GLXapiImports imports{};
};
Started started;

bool start(uint32_t version, const __GLXapiExports* exports, __GLXvendorInfo* vendor,
           const __GLXapiImports* imports) {
  started.imports = *imports;
  if (!zol::softgpu::loadDriver(version, exports, vendor, &started.imports)) return false;
  started.imports.getProcAddress = zol::softgpu::procAddress;
  started.done = true;
  stayLoaded();
  return true;
}

} // namespace

extern "C" __attribute__((visibility("default"))) Bool __glx_Main(uint32_t version,
                                                                  const __GLXapiExports* exports,
                                                                  __GLXvendorInfo* vendor,
                                                                  __GLXapiImports* imports) {
  if (GLX_VENDOR_ABI_GET_MAJOR_VERSION(version) != GLX_VENDOR_ABI_MAJOR_VERSION) return False;
  // Entered a second time from within, the chain of vendor libraries has become a circle.
  static std::atomic_flag entered;
  if (entered.test_and_set()) return False;
  const bool taken = started.done || start(version, exports, vendor, imports);
  if (taken) *imports = started.imports;
  entered.clear();
  return taken ? True : False;
}
