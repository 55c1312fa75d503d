#pragma once

#include "foundation/map.h"
#include "foundation/mutex.h"
#include "vendor/glx_api.h"

#include <array>
#include <forward_list>
#include <optional>

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

// The application display whose local display the thread works on; `appDisplay` for a thread that
// is not paired.
Display* pairedDisplayOf(const zol::gl::TSD* tsd, Display* appDisplay);

// The local display that is open for `appdpy`; null if none. Opens nothing. The one place where
// local displays are handed out: see LocalDisplayCall.
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

// Something of use was made on the local display of `appdpy`: what would have been closed up to now
// stays open after all.
void somethingWasMadeOn(Display* appdpy);

// Keeps the local display of `appdpy` open while it lives, whatever ends meanwhile. At its end it
// closes what would have been closed. Takes the map mutex, and no memory.
class LocalDisplayHold {
public:
  explicit LocalDisplayHold(Display* appdpy);
  ~LocalDisplayHold();
  LocalDisplayHold(const LocalDisplayHold&) = delete;
  LocalDisplayHold& operator=(const LocalDisplayHold&) = delete;

  Display* appdpy() const { return appdpy_; }

  // Whether there is one, so that the end of the local display has to wait; it is made up for then.
  // Hold the map mutex.
  static bool delaysEndOf(Display* appdpy);

private:
  friend void somethingWasMadeOn(Display* appdpy);

  static inline LocalDisplayHold* first_ = nullptr; // guarded by the map mutex, as are:

  Display* const appdpy_;
  bool closingWaits_ = false; // for this one's end
  LocalDisplayHold* next_ = nullptr;
};

// The local displays that a thread has been handed in one call.
class HeldLocalDisplays {
public:
  HeldLocalDisplays();
  ~HeldLocalDisplays();
  HeldLocalDisplays(const HeldLocalDisplays&) = delete;
  HeldLocalDisplays& operator=(const HeldLocalDisplays&) = delete;

  void hold(Display* appdpy); // needs memory for the third one

private:
  HeldLocalDisplays* const outer_; // the call that this one was made in
  std::array<std::optional<LocalDisplayHold>, 2> room_;
  std::forward_list<LocalDisplayHold> more_;
};

// A call of the program's, or another stretch of a thread's work: holds every local display that
// the thread is handed until it ends.
class LocalDisplayCall {
public:
  LocalDisplayCall() {
    if (displaysAreClosed) held_.emplace();
  }
  LocalDisplayCall(const LocalDisplayCall&) = delete;
  LocalDisplayCall& operator=(const LocalDisplayCall&) = delete;

  // The setting unset-local-display, where it costs nothing to ask. Written before the first call.
  static inline bool displaysAreClosed = false;

private:
  std::optional<HeldLocalDisplays> held_;
};

// Guards every call into the driver on a local display. Lock order: local drawables list, then a
// readback object, then this one; the visual map before this one.
zol::Mutex* getLocalDisplayMutex();

// Application display -> local display, and its guard.
zol::Map<Display*, Display*>* getLocalDisplayMap();
zol::Mutex* getLocalDisplayMapMutex();
