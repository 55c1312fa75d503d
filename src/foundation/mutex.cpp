#include "foundation/mutex.h"

#include "foundation/log.h"
#include "foundation/runtime_symbols.h"

#include <cstring>

namespace zol {

namespace {

thread_local int held = 0;

} // namespace

Mutex::Mutex(bool recursive) : mutex{} {
  pthread_mutexattr_t attributes{};
  if (const int error = runtimeSymbols.pthread_mutexattr_init(&attributes))
    ZOL_DEBUG("Could not init mutex attribute (%s)\n", strerror(error));
  if (recursive)
    if (const int error =
            runtimeSymbols.pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE))
      ZOL_DEBUG("Could not set recursive mutex (%s)\n", strerror(error));
  if (const int error = runtimeSymbols.pthread_mutex_init(&mutex, &attributes))
    ZOL_DEBUG("Cannot initialize mutex (%s)\n", strerror(error));
  if (const int error = runtimeSymbols.pthread_mutexattr_destroy(&attributes))
    ZOL_DEBUG("Could not destroy mutex attribute (%s)\n", strerror(error));
}

Mutex::~Mutex() {
  if (const int error = runtimeSymbols.pthread_mutex_destroy(&mutex))
    ZOL_DEBUG("Cannot destroy mutex (%s)\n", strerror(error));
}

bool Mutex::lock() ZOL_NO_THREAD_SAFETY_ANALYSIS {
  if (const int error = runtimeSymbols.pthread_mutex_lock(&mutex)) {
    ZOL_DEBUG("Mutex lock operation failed (%s)\n", strerror(error));
    return false;
  }
  ++held;
  return true;
}

bool Mutex::unlock() ZOL_NO_THREAD_SAFETY_ANALYSIS {
  if (const int error = runtimeSymbols.pthread_mutex_unlock(&mutex)) {
    ZOL_DEBUG("Mutex unlock operation failed (%s)\n", strerror(error));
    return false;
  }
  --held;
  return true;
}

int Mutex::heldByThisThread() {
  return held;
}

} // namespace zol
