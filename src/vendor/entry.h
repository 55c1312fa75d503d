#pragma once

#include "vendor/vendor_state.h"

// The GLVND vendor entry, the only symbol that the library exports. Returns 1 when the library
// takes part in the running program, 0 otherwise. GLVND calls it once at a time, holding a lock of
// its own.
// NOLINTNEXTLINE(readability-redundant-declaration): the public one does not make it visible
extern "C" __attribute__((visibility("default"))) int __glx_Main(uint32_t version,
                                                                 const __GLXapiExports* exports,
                                                                 __GLXvendorInfo* vendor,
                                                                 __GLXapiImports* imports);

// One-time initialisation once the system vendor is bound; `systemVendorHandle` is its loader
// handle.
void zol_init(void* systemVendorHandle);

// Shut-down, at exit or when the library is unloaded. Nothing is logged after it.
void zol_fini();

// X error handler that takes no notice of any error.
int xerr(Display* dpy, XErrorEvent* event);
