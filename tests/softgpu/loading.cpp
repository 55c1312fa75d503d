#include "softgpu/loading.h"

namespace zol::softgpu::test {

GlFunctions gl;

namespace {

template <class Function>
bool resolve(Function& function, const char* name, std::string* reason) {
  function = reinterpret_cast<Function>(find(name));
  if (!function) *reason = std::string("no function ") + name;
  return function;
}

} // namespace

bool resolveAll(std::string* reason) {
  return true
#define GL_FUNCTION(name) &&resolve(gl.name, #name, reason)
#include "softgpu/gl_functions.def"
#undef GL_FUNCTION
      ;
}

} // namespace zol::softgpu::test
