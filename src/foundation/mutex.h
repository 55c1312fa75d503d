#pragma once

#include "foundation/thread_annotations.h"

#include <pthread.h>

namespace zol {

// A pthread mutex. Failures are logged at DEBUG and reported as false; work goes on.
class ZOL_CAPABILITY("mutex") Mutex {
public:
  explicit Mutex(bool recursive);
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  bool lock() ZOL_ACQUIRE();
  bool unlock() ZOL_RELEASE();

  // How many locks the calling thread holds, of all mutexes together.
  static int heldByThisThread();

private:
  pthread_mutex_t mutex;
};

// Holds a mutex until the end of the scope or until unlock(), whichever comes first.
class ZOL_SCOPED_CAPABILITY MutexLock {
public:
  explicit MutexLock(Mutex& mutex) ZOL_ACQUIRE(mutex) : held(&mutex) { mutex.lock(); }
  explicit MutexLock(Mutex* mutex) ZOL_ACQUIRE(mutex) : held(mutex) { mutex->lock(); }
  ~MutexLock() ZOL_RELEASE() {
    if (held) held->unlock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void unlock() ZOL_RELEASE() {
    held->unlock();
    held = nullptr;
  }

private:
  Mutex* held;
};

} // namespace zol
