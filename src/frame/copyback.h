#pragma once

#include "foundation/mutex.h"
#include "foundation/semaphore.h"
#include "foundation/singleton.h"
#include "foundation/thread.h"
#include "foundation/timer.h"

#include <X11/Xlib.h>

#include <atomic>
#include <pthread.h>
#include <sys/types.h>

namespace zol::gl {

class Copyback;

// The thread that paints. It talks to the application display over a connection of its own.
class CopybackThread : public Thread<CopybackThread> {
public:
  explicit CopybackThread(Copyback* owner); // starts the thread
  void svc();
  // Before the thread is told to stop. A program may exit inside a call that holds one of our
  // locks, on an X error for instance; the thread may be waiting for just that lock and would never
  // end.
  void decideOnJoin();
  void join();

private:
  static int callback(CopybackThread* thread);

  bool endsInTime() const;
  void leave();

  Copyback* const owner_;
  decltype(&pthread_detach) detach_ = nullptr; // null where the program has no threads library:
  decltype(&pthread_self) self_ = nullptr;     // the thread then stays unjoined
  Semaphore begun_{0}; // up once the thread runs: a join that comes too early waits for it
  std::atomic<bool> ended_{false};     // nothing is left to do but to be joined
  std::atomic<bool> claimed_{false};   // by who joins the thread, or by itself to end unjoined
  std::atomic<bool> leftAlone_{false}; // the program ends without waiting for the thread
  Semaphore awaited_{0}; // up once a join waits: the thread that was stopped does not end before
};

// Paints read-back frames into the application's windows, at most "copyback-frame-rate" passes a
// second. One per process, through Singleton<Copyback>; never destroyed, and not to be started
// again once stopped. Threads: all functions may be called from any thread, doCopyback from its own
// only.
class Copyback : public Singleton<Copyback> {
public:
  Copyback();
  virtual ~Copyback() = default;

  void unblock(); // a frame has been read back
  bool checkStop();
  static bool isEnding(); // stop() has been called: the process is about to end
  void stop();            // ends the thread and waits for it

  // One pass: waits for a frame, keeps the pace, delivers every pending frame.
  void doCopyback(Display* display, XExtCodes* codes);

private:
  static inline std::atomic<bool> ending{false};

  Mutex mutex{false};
  Semaphore wakeup{0};
  Mutex stopMutex{false};
  bool stopRequested ZOL_GUARDED_BY(stopMutex) = false;
  HighResTimer timer;
  CopybackThread thread; // runs from its construction on, but reads what follows only once woken
  const unsigned int frameInterval; // microseconds
  const pid_t process;              // a forked child has no such thread, and no say over its locks
};

} // namespace zol::gl
