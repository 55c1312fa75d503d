#include "rig/no_memory.h"

#include "foundation/sanitized.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <new>

#define ZOL_EXPORTED __attribute__((visibility("default")))

namespace zol::rig {
namespace {

constinit thread_local bool hasNone = false;

bool isRefused(void* caller) {
  if (!hasNone) return false;
  dl_find_object found{};
  if (_dl_find_object(caller, &found) != 0) return false;
  const char* const name = found.dlfo_link_map->l_name;
  return name != nullptr && std::strstr(name, "/libGLX_zol.so") != nullptr;
}

} // namespace

NoMemory::NoMemory() {
  hasNone = true;
}

NoMemory::~NoMemory() {
  hasNone = false;
}

} // namespace zol::rig

// The library brings its C++ runtime along and so allocates with malloc(), but for the sanitizers'
// own way.
#ifdef ZOL_SANITIZED

ZOL_EXPORTED void* operator new(std::size_t size) {
  if (zol::rig::isRefused(__builtin_return_address(0))) throw std::bad_alloc();
  static const auto next = reinterpret_cast<void* (*)(std::size_t)>(dlsym(RTLD_NEXT, "_Znwm"));
  return next(size);
}

#else

extern "C" void* __libc_malloc(std::size_t size); // NOLINT: the C library's name

extern "C" ZOL_EXPORTED void* malloc(std::size_t size) noexcept {
  if (!zol::rig::isRefused(__builtin_return_address(0))) return __libc_malloc(size);
  errno = ENOMEM;
  return nullptr;
}

#endif
