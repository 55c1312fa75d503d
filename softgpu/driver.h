#pragma once

#include "softgpu/gl_headers.h"

#include <glvnd/libglxabi.h>

namespace zol::softgpu {

// The functions of the driver behind this library. Filled once by loadDriver(), read-only after;
// a function that the driver lacks is null.
struct Driver {
#define DRIVER_FUNCTION(name) decltype(&::name) name = nullptr;
#include "softgpu/driver.def"
#undef DRIVER_FUNCTION
};

extern Driver driver;

// Loads the driver's vendor library and lets it fill *imports. False, with *imports as it was, when
// no library but this one answers to its name or when the driver declines.
bool loadDriver(uint32_t version, const __GLXapiExports* exports, __GLXvendorInfo* vendor,
                __GLXapiImports* imports);

// The driver's own answer for a name; null when it has none.
void* driverProcAddress(const GLubyte* name);

} // namespace zol::softgpu
