#pragma once

#include "drawable/drawable_ref.h"
#include "foundation/tls_key.h"
#include "vendor/glx_api.h"

#include <atomic>

namespace zol::gl {

// What one thread that calls GL has set up and has current. Belongs to its thread; needs no lock.
struct TSD {
  TSD() = default;
  virtual ~TSD(); // closes appdpy2; expects to be the calling thread's
  TSD(const TSD&) = delete;
  TSD& operator=(const TSD&) = delete;

  Display* appdpy = nullptr;             // application display; the program's
  Display* appdpy2 = nullptr;            // second connection to it; owned
  XExtCodes* extCodes = nullptr;         // of "ZOL-V1" on appdpy2; Xlib's
  DrawableRef drawable;                  // current draw drawable
  DrawableRef readDrawable;              // current read drawable
  GLXContext context = nullptr;          // current context
  GLXContext throwawayContext = nullptr; // the thread's first context; never destroyed from here
};

} // namespace zol::gl

// Key of the per-thread record; -1 before initialisation and after finalisation.
extern std::atomic<zol::TLSKey> tsdKey;

// From now on the threads of forked children have no records: the connections in these are their
// parent's, and so are the threads that hold locks.
void denyRecordsToForkedChildren();

// The calling thread's record, created at its first call; null when there is no key and in a forked
// child.
zol::gl::TSD* getTSD();

// Destructor registered with the key: ends an exiting thread's record.
void cleanupTSD(void* tsd);
