#include "display/tsd.h"

#include "display/pairing.h"
#include "foundation/log.h"
#include "foundation/runtime_symbols.h"

zol::TLSKey tsdKey = -1;

namespace zol::gl {

TSD::~TSD() {
  ZOLGL_DEBUG("START");
  // Records that only this thread kept alive go first, while the thread can still reach its
  // displays.
  drawable.reset();
  readDrawable.reset();
  _unsetLocalDisplay(appdpy);
  if (appdpy2 != nullptr) {
    ZOLGL_DEBUG("Closing appdpy2");
    XCloseDisplay(appdpy2);
  }
}

} // namespace zol::gl

zol::gl::TSD* getTSD() {
  if (tsdKey == -1) return nullptr;
  const auto key = static_cast<pthread_key_t>(tsdKey);
  if (void* const existing = zol::runtimeSymbols.pthread_getspecific(key)) {
    return static_cast<zol::gl::TSD*>(existing);
  }
  auto* const tsd = new (std::nothrow) zol::gl::TSD;
  if (tsd != nullptr) zol::runtimeSymbols.pthread_setspecific(key, tsd);
  return tsd;
}

void cleanupTSD(void* tsd) {
  if (tsd == nullptr) return;
  // The thread's value is already cleared when a key's destructor runs. It is put back for the time
  // being, or clean-up that asks for the record would make a second one.
  const auto key = static_cast<pthread_key_t>(tsdKey);
  if (tsdKey != -1) zol::runtimeSymbols.pthread_setspecific(key, tsd);
  delete static_cast<zol::gl::TSD*>(tsd);
  if (tsdKey != -1) zol::runtimeSymbols.pthread_setspecific(key, nullptr);
}
