#include "display/tsd.h"

#include "display/pairing.h"
#include "foundation/log.h"
#include "foundation/runtime_symbols.h"

#include <memory>
#include <new>
#include <pthread.h>

std::atomic<zol::TLSKey> tsdKey{-1};

namespace {

// Told by the C library, once, and not asked of the kernel at every call.
std::atomic<bool> inForkedChild{false};

} // namespace

namespace zol::gl {

TSD::~TSD() {
  ZOLGL_DEBUG("START");
  {
    // Records that only this thread kept alive go first, while the thread can still reach its
    // displays.
    const LocalDisplayCall call;
    drawable.reset();
    readDrawable.reset();
    _unsetLocalDisplay(appdpy);
  }
  if (appdpy2 != nullptr) {
    ZOLGL_DEBUG("Closing appdpy2");
    XCloseDisplay(appdpy2);
  }
}

} // namespace zol::gl

void denyRecordsToForkedChildren() {
  pthread_atfork(nullptr, nullptr, [] { inForkedChild = true; });
}

zol::gl::TSD* getTSD() {
  const zol::TLSKey key = tsdKey;
  if (key == -1 || inForkedChild) return nullptr;
  const auto pthreadKey = static_cast<pthread_key_t>(key);
  if (void* const existing = zol::runtimeSymbols.pthread_getspecific(pthreadKey)) {
    return static_cast<zol::gl::TSD*>(existing);
  }
  std::unique_ptr<zol::gl::TSD> tsd(new (std::nothrow) zol::gl::TSD);
  // A record that the thread cannot keep would be made anew, with a connection, by each call.
  if (tsd == nullptr || zol::runtimeSymbols.pthread_setspecific(pthreadKey, tsd.get()) != 0) {
    return nullptr;
  }
  return tsd.release();
}

void cleanupTSD(void* tsd) {
  if (tsd == nullptr || inForkedChild) return;
  // The thread's value is already cleared when a key's destructor runs. It is put back for the time
  // being, or clean-up that asks for the record would make a second one.
  const auto setValue = [key = tsdKey.load()](void* value) {
    if (key != -1) zol::runtimeSymbols.pthread_setspecific(static_cast<pthread_key_t>(key), value);
  };
  setValue(tsd);
  delete static_cast<zol::gl::TSD*>(tsd);
  setValue(nullptr);
}
