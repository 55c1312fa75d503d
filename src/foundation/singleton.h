#pragma once

#include "foundation/runtime_symbols.h"

namespace zol {

// The one instance of T in the process: created by whoever asks first, never destroyed.
// initRuntimeSymbols() must have succeeded before.
template <class T>
class Singleton {
public:
  static T* instance() {
    runtimeSymbols.pthread_once(&once, doInit);
    return object;
  }

  // The once-routine.
  static void doInit() { object = new T(); }

private:
  static inline T* object = nullptr;
  static inline pthread_once_t once = PTHREAD_ONCE_INIT;
};

} // namespace zol
