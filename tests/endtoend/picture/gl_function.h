#pragma once

#include <GL/glx.h>

#include <stdexcept>
#include <string>

namespace zol::endtoend {

// A function that programs ask GLX for by its name.
template <class Function>
Function glFunction(const char* name) {
  const auto address = glXGetProcAddress(reinterpret_cast<const GLubyte*>(name));
  if (address == nullptr) throw std::runtime_error(std::string("no ") + name);
  return reinterpret_cast<Function>(address);
}

} // namespace zol::endtoend
