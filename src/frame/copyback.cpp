#include "frame/copyback.h"

#include "display/zol_ext.h"
#include "drawable/drawable_info.h"
#include "drawable/registry.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "frame/image_painter.h"
#include "frame/vanished_drawable_filter.h"

#include <csignal>
#include <cstdint>
#include <dlfcn.h>
#include <exception>
#include <limits>
#include <optional>
#include <poll.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace zol::gl {

namespace {

constexpr unsigned int kSecond = 1000000; // microseconds
constexpr unsigned int kPatience = 2 * kSecond;
constexpr unsigned int kWaitingStep = 1000;

unsigned int frameIntervalFor(int frameRate) {
  return frameRate >= 1 ? kSecond / static_cast<unsigned int>(frameRate) : kSecond;
}

// Xlib ends the program when it finds a connection broken. That is not for this thread to cause: it
// looks first.
bool isConnected(Display* display) {
  pollfd connection{ConnectionNumber(display), POLLRDHUP, 0};
  return poll(&connection, 1, 0) == 0;
}

// The copyback thread's own connection. However the thread ends, no painter uses it afterwards.
class PaintingConnection {
public:
  PaintingConnection() : display_(XOpenDisplay(nullptr)) {}
  ~PaintingConnection() { close(); }
  PaintingConnection(const PaintingConnection&) = delete;
  PaintingConnection& operator=(const PaintingConnection&) = delete;

  Display* get() const { return display_; }
  void filterVanishedDrawables() { filter_.emplace(display_); }
  void close() {
    if (display_ == nullptr) return;
    if (isConnected(display_))
      closePaintingConnection(display_);
    else
      abandonPaintingConnection(display_);
    display_ = nullptr;
  }

private:
  Display* display_;
  std::optional<VanishedDrawableFilter> filter_; // Xlib knows it until the connection is closed
};

// The program's signals are for the program's threads: ours starts with all of them blocked.
class SignalsBlocked {
public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &previous_);
  }
  ~SignalsBlocked() { sigprocmask(SIG_SETMASK, &previous_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
  sigset_t previous_;
};

} // namespace

CopybackThread::CopybackThread(Copyback* owner) : owner_(owner) {
  // Not looked for by the thread: whoever waits for it to leave may hold the loader's lock.
  detach_ = reinterpret_cast<decltype(detach_)>(dlsym(RTLD_DEFAULT, "pthread_detach"));
  self_ = reinterpret_cast<decltype(self_)>(dlsym(RTLD_DEFAULT, "pthread_self"));
  const SignalsBlocked blocked;
  start(this, callback);
}

int CopybackThread::callback(CopybackThread* thread) {
  thread->begun_.V();
  prctl(PR_SET_TIMERSLACK, 1); // ns; the usual 50 us would be missing from every interval
  try {
    thread->svc();
  } catch (const std::exception& exception) {
    ZOLGL_WARNING("%s", exception.what());
  }
  thread->ended_ = true;
  thread->leave();
  return 1;
}

// Who stops the thread waits for it only while it is here, and may unload this code next. Nobody
// joins one that has given up.
void CopybackThread::leave() {
  if (owner_->checkStop() || claimed_.exchange(true))
    awaited_.P();
  else if (detach_ && self_)
    detach_(self_());
}

void CopybackThread::svc() {
  ZOLGL_DEBUG("START");
  if (owner_->checkStop()) {
    ZOLGL_DEBUG("DONE");
    return;
  }
  PaintingConnection connection;
  if (connection.get() == nullptr) {
    ZOLGL_WARNING("Could not open the copyback display");
    return;
  }
  XExtCodes* const codes = XInitExtension(connection.get(), ZOL_EXT_NAME);
  if (codes == nullptr) {
    connection.close();
    ZOLGL_WARNING("Could not initialize Xzol extension in the copyback thread");
    return;
  }
  connection.filterVanishedDrawables();
  while (!owner_->checkStop())
    owner_->doCopyback(connection.get(), codes);
  // Xlib's own end may come before that of its connection, which then stays as it is.
  if (!leftAlone_) connection.close();
  ZOLGL_DEBUG("DONE");
  if (leftAlone_) awaited_.P();
}

void CopybackThread::decideOnJoin() {
  leftAlone_ = Mutex::heldByThisThread() != 0;
}

// An X server that does not answer must not keep the program from ending.
bool CopybackThread::endsInTime() const {
  for (unsigned int waited = 0; !ended_ && waited < kPatience; waited += kWaitingStep)
    usleep(kWaitingStep);
  return ended_;
}

void CopybackThread::join() {
  ZOLGL_DEBUG("START");
  if (started() && !leftAlone_) {
    begun_.P();
    begun_.V();
    if (!endsInTime()) {
      leftAlone_ = true;
      ZOLGL_WARNING("The copyback thread waits for an X server, not joining it");
    } else if (!claimed_.exchange(true)) {
      joinRunning([this] { awaited_.V(); });
    } else {
      while (inCallback())
        usleep(kWaitingStep);
    }
  }
  ZOLGL_DEBUG("DONE");
}

Copyback::Copyback()
    : thread(this), frameInterval(frameIntervalFor(conf::settings().copybackFrameRate)),
      process(getpid()) {
  timer.start();
}

void Copyback::unblock() {
  wakeup.V();
}

bool Copyback::checkStop() {
  const MutexLock lock(stopMutex);
  return stopRequested;
}

bool Copyback::isEnding() {
  return ending.load(std::memory_order_relaxed);
}

void Copyback::stop() {
  ZOLGL_DEBUG("START");
  ending = true;
  if (process != getpid()) {
    ZOLGL_DEBUG("DONE");
    return;
  }
  thread.decideOnJoin();
  {
    const MutexLock lock(stopMutex);
    stopRequested = true;
  }
  wakeup.V();
  thread.join();
  ZOLGL_DEBUG("DONE");
}

void Copyback::doCopyback(Display* display, XExtCodes* codes) {
  wakeup.P();
  if (checkStop()) return;
  // Always the whole interval: time that has passed since the last pass is not taken off.
  if (frameInterval != 0 &&
      timer.elapsedMicro() <= std::numeric_limits<std::uint64_t>::max() - frameInterval) {
    usleep(frameInterval);
  }
  if (checkStop() || !isConnected(display)) return;
  const MutexLock lock(getLocalDrawablesMutex());
  for (const DrawableRef& record : *getLocalDrawablesList()) {
    if (record) record->copyback(display, codes);
  }
}

} // namespace zol::gl
