#pragma once

#include "foundation/map.h"
#include "foundation/mutex.h"
#include "vendor/glx_api.h"

namespace zol::gl {
struct TSD;
}

// Pairing of the application's display with the local display that renders for it. A null `tsd`
// stands for the calling thread's.

// Pairs the thread with `dpy`: afterwards the second connection, the ZOL-V1 codes and the local
// display exist. False: the caller must fail. Ends the process with status 20 when the server does
// not carry ZOL-V1, because no frame could ever be delivered.
bool _setupAppDisplay(Display* dpy, zol::gl::TSD* tsd);

// The local display paired with the thread's application display, opened if needed; null on
// failure.
Display* _getLocalDisplay(zol::gl::TSD* tsd);

// The local display that is open for `appdpy`; null if none. Opens nothing.
Display* openLocalDisplay(Display* appdpy);

// For calls that do not pair the thread themselves: pairs one that has made no GLX call yet, which
// would otherwise open a local display that nobody closes.
Display* localDisplayFor(Display* dpy, zol::gl::TSD* tsd);

// Both in one: the local display for `dpy`, or null when the caller must fail.
Display* pairWithLocalDisplay(Display* dpy, zol::gl::TSD* tsd);

// Closes the local display of `appdpy` when no context and no window uses it any more and the
// setting unset-local-display is on. Takes the map, context map, drawables and local display
// mutexes one after the other.
void _unsetLocalDisplay(Display* appdpy);

// Keeps the local display of `appdpy` open for the time of a call that still needs it, whatever
// ends meanwhile.
class LocalDisplayHold {
public:
  explicit LocalDisplayHold(Display* appdpy);
  // Closes what would have been closed meanwhile.
  ~LocalDisplayHold();
  // Something was made on the display that is of use: nothing is to be closed after all.
  void somethingWasMade();
  LocalDisplayHold(const LocalDisplayHold&) = delete;
  LocalDisplayHold& operator=(const LocalDisplayHold&) = delete;

private:
  Display* const appdpy_; // null where nothing is ever closed
};

// Guards every call into the driver on a local display. Lock order: local drawables list, then a
// readback object, then this one; the visual map before this one.
zol::Mutex* getLocalDisplayMutex();

// Application display -> local display, and its guard.
zol::Map<Display*, Display*>* getLocalDisplayMap();
zol::Mutex* getLocalDisplayMapMutex();
