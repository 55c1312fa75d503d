#include "rig/outside.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdarg>
#include <dlfcn.h>
#include <map>
#include <mutex>
#include <set>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

#define ZOL_EXPORTED extern "C" __attribute__((visibility("default")))

namespace zol::rig::outside {
namespace {

struct Failures {
  int first = 0;
  int count = 0;
};

struct State {
  std::mutex mutex;
  std::condition_variable changed;
  std::map<std::string, int> calls;
  std::map<std::string, Failures> failures;
  std::map<std::string, std::function<void()>> hooks;
  std::set<std::string> unloadable;
  std::vector<std::string> opened;
  int opening = 0;
  bool opensNoMore = false;
  std::vector<Display*> fontsAskedOn;
  std::uint64_t time = 0;
  bool sleepsAreRecorded = false;
  std::vector<std::uint64_t> sleeps;
  bool deliveriesAreHeld = false;
  int deliveriesWaiting = 0;
  std::uint64_t heldSleep = 0;
  int passes = 0;
  bool otherLogsAreHeld = false;
};

State& state() {
  static State* const instance = new State; // other threads may call to the very end
  return *instance;
}

bool isTestThread() {
  return gettid() == getpid();
}

// Counts a call and runs its hook; whether it has to fail.
bool entered(const char* function) {
  State& s = state();
  std::unique_lock lock(s.mutex);
  ++s.calls[function];
  if (const auto hook = s.hooks.find(function); hook != s.hooks.end() && hook->second) {
    const auto run = hook->second;
    lock.unlock();
    run();
    lock.lock();
  }
  Failures& failures = s.failures[function];
  if (failures.count == 0) return false;
  if (failures.first > 0) {
    --failures.first;
    return false;
  }
  --failures.count;
  return true;
}

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// The definition that this one stands before.
#define ZOL_NEXT(function)                                                                         \
  [] {                                                                                             \
    static const auto found = next<decltype(&::function)>(#function);                              \
    return found;                                                                                  \
  }()

} // namespace

int calls(const std::string& function) {
  const std::lock_guard guard(state().mutex);
  return state().calls[function];
}

void setHook(const std::string& function, std::function<void()> hook) {
  const std::lock_guard guard(state().mutex);
  state().hooks[function] = std::move(hook);
}

std::vector<std::string> openedDisplays() {
  const std::lock_guard guard(state().mutex);
  return state().opened;
}

std::vector<Display*> fontsAskedOn() {
  const std::lock_guard guard(state().mutex);
  return state().fontsAskedOn;
}

void fail(const std::string& function, int count, int first) {
  const std::lock_guard guard(state().mutex);
  state().failures[function] = {first, count};
}

void failLoading(const std::string& fileName) {
  const std::lock_guard guard(state().mutex);
  state().unloadable.insert(fileName);
}

void setTime(std::uint64_t milliseconds) {
  const std::lock_guard guard(state().mutex);
  state().time = milliseconds;
}

void recordSleeps() {
  const std::lock_guard guard(state().mutex);
  state().sleepsAreRecorded = true;
}

std::vector<std::uint64_t> sleeps() {
  const std::lock_guard guard(state().mutex);
  return state().sleeps;
}

void holdDeliveries() {
  const std::lock_guard guard(state().mutex);
  state().deliveriesAreHeld = true;
  state().passes = 0;
}

void endOpening() {
  std::unique_lock lock(state().mutex);
  state().opensNoMore = true;
  state().changed.wait(lock, [] { return state().opening == 0; });
}

bool deliveryIsHeld() {
  const std::lock_guard guard(state().mutex);
  return state().deliveriesWaiting > 0 && state().passes == 0;
}

std::uint64_t heldSleep() {
  const std::lock_guard guard(state().mutex);
  return state().heldSleep;
}

void letOneDeliveryPass() {
  const std::lock_guard guard(state().mutex);
  ++state().passes;
  state().changed.notify_all();
}

void letDeliveriesPass() {
  const std::lock_guard guard(state().mutex);
  state().deliveriesAreHeld = false;
  state().changed.notify_all();
}

void holdOtherLogs() {
  const std::lock_guard guard(state().mutex);
  state().otherLogsAreHeld = true;
}

void letOtherLogs() {
  const std::lock_guard guard(state().mutex);
  state().otherLogsAreHeld = false;
  state().changed.notify_all();
}

} // namespace zol::rig::outside

using namespace zol::rig::outside;

// libc ----------------------------------------------------------------------------------------

ZOL_EXPORTED int gettimeofday(timeval* time, void* zone) noexcept {
  entered("gettimeofday");
  std::uint64_t milliseconds;
  {
    const std::lock_guard guard(state().mutex);
    milliseconds = state().time;
  }
  if (milliseconds == 0) return ZOL_NEXT(gettimeofday)(time, zone);
  time->tv_sec = static_cast<time_t>(milliseconds / 1000);
  time->tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);
  return 0;
}

ZOL_EXPORTED int usleep(useconds_t microseconds) {
  entered("usleep");
  State& s = state();
  {
    std::unique_lock lock(s.mutex);
    if (isTestThread()) {
      if (s.sleepsAreRecorded) {
        s.sleeps.push_back(microseconds);
        if (s.time != 0) s.time += microseconds / 1000;
        return 0;
      }
    } else if (s.deliveriesAreHeld) {
      ++s.deliveriesWaiting;
      s.heldSleep = microseconds;
      s.changed.wait(lock, [&] { return !s.deliveriesAreHeld || s.passes > 0; });
      --s.deliveriesWaiting;
      s.passes = std::max(0, s.passes - 1);
      return 0;
    }
  }
  return ZOL_NEXT(usleep)(microseconds);
}

ZOL_EXPORTED long syscall(long number, ...) noexcept {
  va_list list;
  va_start(list, number);
  long arguments[6];
  for (long& argument : arguments)
    argument = va_arg(list, long);
  va_end(list);
  const auto real = ZOL_NEXT(syscall);
  const long result = real(number, arguments[0], arguments[1], arguments[2], arguments[3],
                           arguments[4], arguments[5]);
  if (number == SYS_gettid && result != getpid()) {
    const int saved = errno;
    State& s = state();
    std::unique_lock lock(s.mutex);
    s.changed.wait(lock, [&] { return !s.otherLogsAreHeld; });
    errno = saved;
  }
  return result;
}

ZOL_EXPORTED int shmget(key_t key, size_t size, int flags) noexcept {
  if (entered("shmget")) {
    errno = ENOSPC;
    return -1;
  }
  return ZOL_NEXT(shmget)(key, size, flags);
}

ZOL_EXPORTED void* shmat(int id, const void* address, int flags) noexcept {
  if (entered("shmat")) {
    errno = ENOMEM;
    return reinterpret_cast<void*>(-1);
  }
  return ZOL_NEXT(shmat)(id, address, flags);
}

ZOL_EXPORTED void* dlopen(const char* fileName, int mode) noexcept {
  entered("dlopen");
  bool fails = false;
  {
    const std::lock_guard guard(state().mutex);
    fails = fileName != nullptr && state().unloadable.count(fileName) != 0;
  }
  return ZOL_NEXT(dlopen)(fails ? "/nonexistent/made-to-fail" : fileName, mode);
}

// Xlib ----------------------------------------------------------------------------------------

ZOL_EXPORTED Display* XOpenDisplay(const char* name) {
  const bool fails = entered("XOpenDisplay");
  {
    const std::lock_guard guard(state().mutex);
    state().opened.emplace_back(name != nullptr ? name : "(null)");
    if (fails || state().opensNoMore) return nullptr;
    ++state().opening;
  }
  Display* const display = ZOL_NEXT(XOpenDisplay)(name);
  const std::lock_guard guard(state().mutex);
  --state().opening;
  state().changed.notify_all();
  return display;
}

ZOL_EXPORTED XErrorHandler XSetErrorHandler(XErrorHandler handler) {
  entered("XSetErrorHandler");
  return ZOL_NEXT(XSetErrorHandler)(handler);
}

ZOL_EXPORTED int XCloseDisplay(Display* display) {
  entered("XCloseDisplay");
  return ZOL_NEXT(XCloseDisplay)(display);
}

ZOL_EXPORTED int XSync(Display* display, Bool discard) {
  entered("XSync");
  return ZOL_NEXT(XSync)(display, discard);
}

ZOL_EXPORTED XVisualInfo* XGetVisualInfo(Display* display, long mask, XVisualInfo* wanted,
                                         int* count) {
  if (entered("XGetVisualInfo")) return nullptr;
  return ZOL_NEXT(XGetVisualInfo)(display, mask, wanted, count);
}

ZOL_EXPORTED XImage* XGetImage(Display* display, Drawable drawable, int x, int y, unsigned width,
                               unsigned height, unsigned long planes, int format) {
  if (entered("XGetImage")) return nullptr;
  return ZOL_NEXT(XGetImage)(display, drawable, x, y, width, height, planes, format);
}

ZOL_EXPORTED GC XCreateGC(Display* display, Drawable drawable, unsigned long mask,
                          XGCValues* values) {
  if (entered("XCreateGC")) return nullptr;
  return ZOL_NEXT(XCreateGC)(display, drawable, mask, values);
}

ZOL_EXPORTED XFontStruct* XQueryFont(Display* display, XID font) {
  {
    const std::lock_guard guard(state().mutex);
    state().fontsAskedOn.push_back(display);
  }
  if (entered("XQueryFont")) return nullptr;
  XFontStruct* const info = ZOL_NEXT(XQueryFont)(display, font);
  if (info != nullptr && entered("font properties")) info->n_properties = 0;
  return info;
}

ZOL_EXPORTED XFontStruct* XLoadQueryFont(Display* display, const char* name) {
  return entered("XLoadQueryFont") ? nullptr : ZOL_NEXT(XLoadQueryFont)(display, name);
}

ZOL_EXPORTED char* XGetAtomName(Display* display, Atom atom) {
  return entered("XGetAtomName") ? nullptr : ZOL_NEXT(XGetAtomName)(display, atom);
}

ZOL_EXPORTED Bool XShmQueryExtension(Display* display) {
  return entered("XShmQueryExtension") ? False : ZOL_NEXT(XShmQueryExtension)(display);
}

ZOL_EXPORTED Bool XShmAttach(Display* display, XShmSegmentInfo* segment) {
  return entered("XShmAttach") ? False : ZOL_NEXT(XShmAttach)(display, segment);
}

ZOL_EXPORTED Bool XShmPutImage(Display* display, Drawable drawable, GC gc, XImage* image, int fromX,
                               int fromY, int toX, int toY, unsigned width, unsigned height,
                               Bool event) {
  if (entered("XShmPutImage")) return False;
  return ZOL_NEXT(XShmPutImage)(display, drawable, gc, image, fromX, fromY, toX, toY, width, height,
                                event);
}

ZOL_EXPORTED int XPutImage(Display* display, Drawable drawable, GC gc, XImage* image, int fromX,
                           int fromY, int toX, int toY, unsigned width, unsigned height) {
  entered("XPutImage");
  return ZOL_NEXT(XPutImage)(display, drawable, gc, image, fromX, fromY, toX, toY, width, height);
}
