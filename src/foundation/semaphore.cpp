#include "foundation/semaphore.h"

#include "foundation/log.h"
#include "foundation/runtime_symbols.h"

#include <cerrno>
#include <cstring>

namespace zol {

Semaphore::Semaphore(uint32_t initial) : semaphore{} {
  if (runtimeSymbols.sem_init(&semaphore, 0, initial) != 0)
    ZOL_DEBUG("Cannot initialize semaphore (%s)\n", strerror(errno));
}

Semaphore::~Semaphore() {
  if (runtimeSymbols.sem_destroy(&semaphore) != 0)
    ZOL_DEBUG("Cannot destroy semaphore (%s)\n", strerror(errno));
}

bool Semaphore::P() {
  while (runtimeSymbols.sem_wait(&semaphore) != 0) {
    if (errno == EINTR) continue;
    ZOL_DEBUG("Semaphore wait operation failed (%s)\n", strerror(errno));
    return false;
  }
  return true;
}

bool Semaphore::V() {
  if (runtimeSymbols.sem_post(&semaphore) != 0) {
    ZOL_DEBUG("Semaphore post operation failed (%s)\n", strerror(errno));
    return false;
  }
  return true;
}

} // namespace zol
