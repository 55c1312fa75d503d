#pragma once

#include "softgpu/gl_headers.h"

namespace zol::softgpu {

// The function that answers for a GL or GLX name: this library's own where it mends something, the
// driver's otherwise; null when the driver has none.
void* procAddress(const GLubyte* name);

// This library's own functions, with the names and signatures of those they stand for.
namespace hooks {
#define HOOK(name) decltype(::name) name;
#define ALIAS(name, hook)
#include "softgpu/hooks.def"
#undef ALIAS
#undef HOOK
} // namespace hooks

} // namespace zol::softgpu
