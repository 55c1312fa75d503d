#pragma once

#include "softgpu/gl_headers.h"

#include <string>

namespace zol::softgpu::test {

struct GlFunctions {
#define GL_FUNCTION(name) decltype(&::name) name = nullptr;
#include "softgpu/gl_functions.def"
#undef GL_FUNCTION
};
extern GlFunctions gl;

// Loads the vendor library the way this test program does it: by GLVND, or by hand as a vendor
// library loads another. Called once, before anything else. False with a reason.
bool loadVendor(std::string* reason);

// How this program finds functions.
void* find(const char* name);

} // namespace zol::softgpu::test
