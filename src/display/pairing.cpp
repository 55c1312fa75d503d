#include "display/pairing.h"

#include "display/context_map.h"
#include "display/same_display.h"
#include "display/tsd.h"
#include "display/zol_ext.h"
#include "drawable/local_pixmap_window.h"
#include "drawable/registry.h"
#include "foundation/conf_settings.h"
#include "foundation/immortal.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "visual/local_fbconfig.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

using zol::MutexLock;
using zol::gl::TSD;

namespace {

// The status of a program whose X server cannot show a single frame.
constexpr int kNoExtensionStatus = 20;

// The innermost call that the thread is in.
thread_local HeldLocalDisplays* currentCall = nullptr;

// Takes an object out of the list that its class keeps of them; not in it, it stays as it is.
template <class Object>
void unlink(Object** link, Object* gone, Object* Object::*next) {
  while (*link != nullptr && *link != gone)
    link = &((*link)->*next);
  if (*link == gone) *link = gone->*next;
}

// Whether the local display of `appdpy` can be closed is found out by one look after the other, at
// the contexts, at the windows. What was seen no longer holds once the display is handed out: the
// end of that use looks again.
class Look {
public:
  explicit Look(Display* appdpy);
  ~Look();
  Look(const Look&) = delete;
  Look& operator=(const Look&) = delete;

  Display* local() const { return local_; } // null: it is not open, or held
  bool takeOffMap();                        // false: it is not to be closed after all

  // Whether one was on. Hold the map mutex.
  static bool outdate(Display* appdpy);

private:
  void end();

  // All that are on. No container: a look must not fail for want of memory.
  static inline Look* first_ = nullptr; // guarded by the map mutex

  Display* const appdpy_;
  Display* local_ = nullptr;
  Look* next_ = nullptr;
  bool outdated_ = false;
};

Look::Look(Display* appdpy) : appdpy_(appdpy) {
  const MutexLock lock(getLocalDisplayMapMutex());
  Display** const paired = getLocalDisplayMap()->find(appdpy);
  if (paired == nullptr || *paired == nullptr) return;
  if (LocalDisplayHold::delaysEndOf(appdpy)) return;
  local_ = *paired;
  next_ = std::exchange(first_, this);
}

Look::~Look() {
  if (local_ == nullptr) return;
  const MutexLock lock(getLocalDisplayMapMutex());
  end();
}

// Hold the map mutex. Done before, it does nothing.
void Look::end() {
  unlink(&first_, this, &Look::next_);
}

bool Look::takeOffMap() {
  const MutexLock lock(getLocalDisplayMapMutex());
  end(); // the next one that is opened is another
  // Another thread may have come to the same end; who takes the entry out closes the display.
  Display** const paired = getLocalDisplayMap()->find(appdpy_);
  if (outdated_ || paired == nullptr || *paired != local_) return false;
  getLocalDisplayMap()->erase(appdpy_);
  return true;
}

bool Look::outdate(Display* appdpy) {
  bool any = false;
  for (Look* look = first_; look != nullptr; look = look->next_) {
    if (look->appdpy_ != appdpy) continue;
    look->outdated_ = true;
    any = true;
  }
  return any;
}

zol::Mutex* setupMutex() {
  static zol::Immortal<zol::Mutex> mutex(false);
  return mutex.get();
}

Display* forgetSecondConnection(TSD* tsd) {
  tsd->extCodes = nullptr;
  return std::exchange(tsd->appdpy2, nullptr);
}

// Finds ZOL-V1 on the thread's second connection, or ends the process.
void initialiseExtension(TSD* tsd, const char* label) {
  Bool present = False;
  if (!XZolExtQueryExtension(tsd->appdpy2, &present)) {
    ZOLGL_LOG_AS(label, ERROR,
                 "You should install Xzol to use ZOL (ZOL-V1 extension not found on %s).",
                 DisplayString(tsd->appdpy2));
    std::exit(kNoExtensionStatus);
  }
  tsd->extCodes = XInitExtension(tsd->appdpy2, ZOL_EXT_NAME);
  if (tsd->extCodes == nullptr) {
    ZOLGL_LOG_AS(label, ERROR,
                 "Could not initialized the ZOL X Extension. Please check that ZOL is "
                 "properly installed");
    std::exit(kNoExtensionStatus);
  }
  ZOLGL_LOG_AS(label, DEBUG, "ZOL ext is enabled on display %s (%p)", DisplayString(tsd->appdpy2),
               static_cast<void*>(tsd->appdpy2));
}

// The local display that is the application display's from now on: this one, or that of another
// thread that has been quicker; null when no memory is left to know it by.
Display* keepLocalDisplay(Display* appdpy, Display* local) {
  const MutexLock lock(getLocalDisplayMapMutex());
  Display** const paired = getLocalDisplayMap()->obtain(appdpy);
  if (paired == nullptr) return nullptr;
  if (*paired == nullptr) *paired = local;
  return *paired;
}

} // namespace

// The name of the local display: one for the whole process, resolved once. Null where the server
// says that the environment decides.
static const char* getLocalDisplayName(TSD* tsd) {
  static zol::Immortal<zol::Mutex> mutex(false);
  static bool resolved = false;
  static char* name = nullptr;

  const MutexLock lock(mutex.get());
  if (resolved) return name;
  if (const char* configured = zol::conf::settings().glDisplay) {
    name = strdup(configured);
  } else if (tsd->appdpy2 == nullptr || tsd->extCodes == nullptr) {
    ZOLGL_ERROR("The local 3D accelerated X display is not specified. Using default display "
                "(:0.0).");
    return ":0.0"; // nobody to ask; threads that can ask still decide
  } else if (errno = 0; XZolExtGetGLDisplay(tsd->appdpy2, tsd->extCodes, &name) == 0) {
    // Nothing may be asked on that connection any more: the next call opens another.
    if (errno == ENOMEM) forgetSecondConnection(tsd);
    ZOLGL_ERROR("The local 3D accelerated X display is not specified. Using default display "
                "(:0.0).");
    std::free(name);
    name = strdup(":0.0");
  }
  resolved = true;
  return name;
}

bool _setupAppDisplay(Display* dpy, TSD* tsd) {
  if (dpy == nullptr) return false;
  if (tsd == nullptr) tsd = getTSD();
  if (tsd == nullptr) return false;

  if (tsd->appdpy == nullptr) {
    ZOLGL_DEBUG("setting TSD appdpy %p", static_cast<void*>(dpy));
    tsd->appdpy = dpy;
  } else if (tsd->appdpy != dpy) {
    ZOLGL_DEBUG("switching TSD appdpy from %p to %p", static_cast<void*>(tsd->appdpy),
                static_cast<void*>(dpy));
    if (zol::conf::settings().overrideCachedDisplay) tsd->appdpy = dpy;
  }
  if (tsd->appdpy2 != nullptr) return true;

  const MutexLock lock(setupMutex());
  tsd->appdpy2 = XOpenDisplay(DisplayString(dpy));
  if (tsd->appdpy2 == nullptr) {
    ZOLGL_ERROR("Cannot open secondary connection to application display.");
    return false;
  }
  if (tsd->extCodes == nullptr) initialiseExtension(tsd, __PRETTY_FUNCTION__);

  Display* const local = _getLocalDisplay(tsd);
  if (tsd->appdpy2 == nullptr) return false; // lost while it was asked for the name
  if (local != nullptr && zolIsSameXDisplay(dpy, local)) {
    ZOLGL_ERROR("Local display is the same as the application display.");
    // Closed again, so that the thread's next attempt comes by here too and fails the same way.
    XCloseDisplay(forgetSecondConnection(tsd));
    return false;
  }
  // Without a local display this succeeds too: the caller's own look-up is the one that fails.
  return true;
}

Display* _getLocalDisplay(TSD* tsd) {
  if (tsd == nullptr) tsd = getTSD();
  if (tsd == nullptr) return nullptr;

  if (tsd->appdpy == nullptr) {
    ZOLGL_ERROR("appdpy not found for current thread");
  } else if (Display* const open = openLocalDisplay(tsd->appdpy)) {
    return open;
  }

  const char* const name = getLocalDisplayName(tsd);
  Display* const local = XOpenDisplay(name);
  if (local == nullptr) {
    ZOLGL_ERROR("Cannot open connection to local display %s.", zol::text(name));
    return nullptr;
  }
  if (tsd->appdpy == nullptr) {
    ZOLGL_ERROR("appdpy not found for current thread");
    return local;
  }
  ZOLGL_INFO("opened local display %s mapped to %p", zol::text(name),
             static_cast<void*>(tsd->appdpy));
  Display* const shared = keepLocalDisplay(tsd->appdpy, local);
  if (shared != local) XCloseDisplay(local);
  if (shared == nullptr)
    ZOLGL_ERROR("No memory for the local display of %p.", static_cast<void*>(tsd->appdpy));
  return shared;
}

Display* pairedDisplayOf(const TSD* tsd, Display* appDisplay) {
  return tsd != nullptr && tsd->appdpy != nullptr ? tsd->appdpy : appDisplay;
}

Display* openLocalDisplay(Display* appdpy) {
  if (currentCall != nullptr) currentCall->hold(appdpy); // also the one that is opened next
  const MutexLock lock(getLocalDisplayMapMutex());
  Display** const paired = getLocalDisplayMap()->find(appdpy);
  return paired != nullptr ? *paired : nullptr;
}

Display* localDisplayFor(Display* dpy, TSD* tsd) {
  if (tsd == nullptr) tsd = getTSD();
  if (tsd != nullptr && tsd->appdpy == nullptr) _setupAppDisplay(dpy, tsd);
  return _getLocalDisplay(tsd);
}

Display* pairWithLocalDisplay(Display* dpy, TSD* tsd) {
  return _setupAppDisplay(dpy, tsd) ? _getLocalDisplay(tsd) : nullptr;
}

void _unsetLocalDisplay(Display* appdpy) {
  if (!zol::conf::settings().unsetLocalDisplay || appdpy == nullptr) return;

  Look look(appdpy);
  Display* const local = look.local();
  if (local == nullptr) return;
  const bool usedByContext = anyContextOn(appdpy);
  if (anyWindowOn(appdpy)) return;
  if (usedByContext) return;
  {
    const MutexLock lock(getLocalDisplayMutex());
    leaveHomeOfFBConfigs(local);
  }
  if (!look.takeOffMap()) return;
  forgetLocalDrawablesOf(appdpy);
  {
    const MutexLock lock(getLocalDisplayMutex());
    forgetFBConfigsOf(local);
    forgetLocalPixmapWindow(local);
    XCloseDisplay(local);
  }
  ZOLGL_INFO("closed local display %p mapped to %p", static_cast<void*>(local),
             static_cast<void*>(appdpy));
}

LocalDisplayHold::LocalDisplayHold(Display* appdpy) : appdpy_(appdpy) {
  const MutexLock lock(getLocalDisplayMapMutex());
  closingWaits_ = Look::outdate(appdpy);
  next_ = std::exchange(first_, this);
}

LocalDisplayHold::~LocalDisplayHold() {
  MutexLock lock(getLocalDisplayMapMutex());
  unlink(&first_, this, &LocalDisplayHold::next_);
  lock.unlock();
  if (closingWaits_) _unsetLocalDisplay(appdpy_);
}

bool LocalDisplayHold::delaysEndOf(Display* appdpy) {
  for (LocalDisplayHold* hold = first_; hold != nullptr; hold = hold->next_) {
    if (hold->appdpy_ != appdpy) continue;
    hold->closingWaits_ = true;
    return true;
  }
  return false;
}

void somethingWasMadeOn(Display* appdpy) {
  const MutexLock lock(getLocalDisplayMapMutex());
  for (LocalDisplayHold* hold = LocalDisplayHold::first_; hold != nullptr; hold = hold->next_) {
    if (hold->appdpy_ == appdpy) hold->closingWaits_ = false;
  }
}

HeldLocalDisplays::HeldLocalDisplays() : outer_(std::exchange(currentCall, this)) {}

HeldLocalDisplays::~HeldLocalDisplays() {
  currentCall = outer_;
}

void HeldLocalDisplays::hold(Display* appdpy) {
  for (std::optional<LocalDisplayHold>& room : room_) {
    if (!room) room.emplace(appdpy);
    if (room->appdpy() == appdpy) return;
  }
  const bool known =
      std::any_of(more_.begin(), more_.end(),
                  [appdpy](const LocalDisplayHold& hold) { return hold.appdpy() == appdpy; });
  if (!known) more_.emplace_front(appdpy);
}

zol::Mutex* getLocalDisplayMutex() {
  static zol::Immortal<zol::Mutex> mutex(zol::conf::settings().recursiveLocalDisplayLock);
  return mutex.get();
}

zol::Map<Display*, Display*>* getLocalDisplayMap() {
  static zol::Immortal<zol::Map<Display*, Display*>> map;
  return map.get();
}

zol::Mutex* getLocalDisplayMapMutex() {
  static zol::Immortal<zol::Mutex> mutex(false);
  return mutex.get();
}
