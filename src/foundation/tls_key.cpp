#include "foundation/tls_key.h"

#include "foundation/log.h"
#include "foundation/runtime_symbols.h"

#include <cerrno>

namespace zol {

TLSKey createTLSKey(void (*destructor)(void*)) {
  auto key = static_cast<pthread_key_t>(-1);
  if (runtimeSymbols.pthread_key_create(&key, destructor) == EAGAIN)
    ZOLGL_LOG_AS("zol::TLSKey zol::createTLSKey(void (*)(void*))", ERROR,
                 "Reached the maximum number of keys per thread: %d", 1024);
  return static_cast<TLSKey>(key);
}

} // namespace zol
