#pragma once

#include "foundation/runtime_symbols.h"

#include <exception>
#include <new>

namespace zol {

// The one instance of T in the process: created by whoever asks first, never destroyed.
// initRuntimeSymbols() must have succeeded before. Where it could not be created, asking for it is
// a std::bad_alloc.
template <class T>
class Singleton {
public:
  static T* instance() {
    runtimeSymbols.pthread_once(&once, doInit);
    if (object == nullptr) throw std::bad_alloc();
    return object;
  }

  // The once-routine, from which the C library lets no exception pass.
  static void doInit() {
    try {
      object = new T();
    } catch (const std::exception&) {
      object = nullptr;
    }
  }

private:
  static inline T* object = nullptr;
  static inline pthread_once_t once = PTHREAD_ONCE_INIT;
};

} // namespace zol
