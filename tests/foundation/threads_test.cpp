#include "foundation/foundation_test.h"
#include "foundation/mutex.h"
#include "foundation/semaphore.h"
#include "foundation/singleton.h"
#include "foundation/thread.h"
#include "foundation/tls_key.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

// The messages of `log`, one line each: tag, label and text of every record without its time.
std::string withoutTimes(const std::string& log) {
  std::string result;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    const size_t tag = line.find(" ZOL");
    result += (tag == std::string::npos ? line : line.substr(0, 1) + line.substr(tag)) + "\n";
  }
  return result;
}

// The table is put back after each test, which may replace its entries.
class ThreadsTest : public FoundationTest {
protected:
  ThreadsTest() : real(zol::runtimeSymbols) { openLogAt("debug"); }
  ~ThreadsTest() override { zol::runtimeSymbols = real; }

  template <class Action>
  std::string logOf(Action action) {
    return withoutTimes(stderrOf(action));
  }

  zol::RuntimeSymbols real;
};

static_assert(!std::is_polymorphic_v<zol::Mutex>);
static_assert(sizeof(zol::Mutex) == sizeof(pthread_mutex_t));

class MutexTest : public ThreadsTest {};

TEST_F(MutexTest, LocksAndUnlocksWithoutAWord) {
  EXPECT_EQ("", logOf([] {
              zol::Mutex mutex(false);
              EXPECT_TRUE(mutex.lock());
              EXPECT_TRUE(mutex.unlock());
            }));
}

TEST_F(MutexTest, ARecursiveOneMayBeLockedTwice) ZOL_NO_THREAD_SAFETY_ANALYSIS {
  zol::Mutex mutex(true);
  EXPECT_TRUE(mutex.lock());
  EXPECT_TRUE(mutex.lock());
  EXPECT_TRUE(mutex.unlock());
  EXPECT_TRUE(mutex.unlock());
}

TEST_F(MutexTest, OnlyARecursiveOneAsksForThatType) {
  static std::vector<int> types;
  types.clear();
  zol::runtimeSymbols.pthread_mutexattr_settype = [](pthread_mutexattr_t*, int type) noexcept {
    types.push_back(type);
    return 0;
  };
  zol::Mutex plain(false), recursive(true);
  EXPECT_EQ(std::vector<int>{PTHREAD_MUTEX_RECURSIVE}, types);
}

struct Counter : zol::Thread<Counter> {
  Counter(zol::Mutex& m, int& c) : mutex(m), count(c) {
    start(this, [](Counter* self) {
      for (int i = 0; i < 20000; ++i) {
        zol::MutexLock lock(self->mutex);
        ++self->count;
      }
      self->done.V();
      self->leave.P();
      return 1;
    });
  }
  void finish() {
    done.P();
    last = this;
    joinRunning();
  }
  static inline Counter* last;
  zol::Mutex& mutex;
  int& count;
  zol::Semaphore done{0}, leave{0};
};

TEST_F(MutexTest, KeepsThreadsApart) {
  static decltype(zol::RuntimeSymbols::pthread_join) realJoin;
  realJoin = real.pthread_join;
  // Both are held in their callbacks until they are being joined.
  zol::runtimeSymbols.pthread_join = [](pthread_t thread, void** result) {
    Counter::last->leave.V();
    return realJoin(thread, result);
  };
  zol::Mutex mutex(false);
  int count = 0;
  {
    Counter a(mutex, count), b(mutex, count);
    a.finish();
    b.finish();
  }
  EXPECT_EQ(40000, count);
}

TEST_F(MutexTest, EveryFailureOfConstructionIsLoggedAndTheNextStepTaken) {
  zol::runtimeSymbols.pthread_mutexattr_init = [](pthread_mutexattr_t*) noexcept { return ENOMEM; };
  zol::runtimeSymbols.pthread_mutexattr_settype = [](pthread_mutexattr_t*, int) noexcept {
    return EINVAL;
  };
  zol::runtimeSymbols.pthread_mutex_init =
      [](pthread_mutex_t*, const pthread_mutexattr_t*) noexcept { return EAGAIN; };
  zol::runtimeSymbols.pthread_mutexattr_destroy = [](pthread_mutexattr_t*) noexcept {
    return EBUSY;
  };
  zol::runtimeSymbols.pthread_mutex_destroy = [](pthread_mutex_t*) noexcept { return EPERM; };
  EXPECT_EQ("D ZOL (zol::Mutex::Mutex(bool)): Could not init mutex attribute (Cannot allocate "
            "memory)\n\n"
            "D ZOL (zol::Mutex::Mutex(bool)): Could not set recursive mutex (Invalid argument)\n\n"
            "D ZOL (zol::Mutex::Mutex(bool)): Cannot initialize mutex (Resource temporarily "
            "unavailable)\n\n"
            "D ZOL (zol::Mutex::Mutex(bool)): Could not destroy mutex attribute (Device or "
            "resource busy)\n\n"
            "D ZOL (zol::Mutex::~Mutex()): Cannot destroy mutex (Operation not permitted)\n\n",
            logOf([] { zol::Mutex mutex(true); }));
}

TEST_F(MutexTest, AFailingLockOrUnlockIsLoggedAndFalse) ZOL_NO_THREAD_SAFETY_ANALYSIS {
  zol::Mutex mutex(false);
  zol::runtimeSymbols.pthread_mutex_lock = [](pthread_mutex_t*) noexcept { return EDEADLK; };
  zol::runtimeSymbols.pthread_mutex_unlock = [](pthread_mutex_t*) noexcept { return EPERM; };
  EXPECT_EQ("D ZOL (bool zol::Mutex::lock()): Mutex lock operation failed (Resource deadlock "
            "avoided)\n\n"
            "D ZOL (bool zol::Mutex::unlock()): Mutex unlock operation failed (Operation not "
            "permitted)\n\n",
            logOf([&] {
              EXPECT_FALSE(mutex.lock());
              EXPECT_FALSE(mutex.unlock());
            }));
}

TEST_F(MutexTest, FailuresAreSilentBelowDebug) ZOL_NO_THREAD_SAFETY_ANALYSIS {
  openLogAt("info");
  zol::Mutex mutex(false);
  zol::runtimeSymbols.pthread_mutex_lock = [](pthread_mutex_t*) noexcept { return EDEADLK; };
  bool locked = true;
  EXPECT_EQ("", logOf([&]() ZOL_NO_THREAD_SAFETY_ANALYSIS { locked = mutex.lock(); }));
  EXPECT_FALSE(locked);
}

class MutexLockTest : public ThreadsTest {
protected:
  MutexLockTest() {
    calls.clear();
    zol::runtimeSymbols.pthread_mutex_lock = [](pthread_mutex_t*) noexcept {
      calls += "lock ";
      return 0;
    };
    zol::runtimeSymbols.pthread_mutex_unlock = [](pthread_mutex_t*) noexcept {
      calls += "unlock ";
      return 0;
    };
  }
  static inline std::string calls;
  zol::Mutex mutex{false};
};

TEST_F(MutexLockTest, HoldsTheMutexToTheEndOfTheScope) {
  {
    zol::MutexLock lock(mutex);
    EXPECT_EQ("lock ", calls);
  }
  EXPECT_EQ("lock unlock ", calls);
}

TEST_F(MutexLockTest, TakesAPointerToo) {
  { zol::MutexLock lock(&mutex); }
  EXPECT_EQ("lock unlock ", calls);
}

TEST_F(MutexLockTest, ReleasedEarlyIsReleasedOnce) {
  {
    zol::MutexLock lock(mutex);
    lock.unlock();
    EXPECT_EQ("lock unlock ", calls);
  }
  EXPECT_EQ("lock unlock ", calls);
}

class SemaphoreTest : public ThreadsTest {};

TEST_F(SemaphoreTest, IsPassedAsOftenAsItsInitialCountAndItsPosts) {
  EXPECT_EQ("", logOf([] {
              zol::Semaphore semaphore(2);
              EXPECT_TRUE(semaphore.V());
              for (int i = 0; i < 3; ++i)
                EXPECT_TRUE(semaphore.P());
            }));
}

TEST_F(SemaphoreTest, IsMadeForThisProcessWithItsInitialCount) {
  static int shared;
  static unsigned count;
  zol::runtimeSymbols.sem_init = [](sem_t*, int s, unsigned c) noexcept {
    shared = s;
    count = c;
    return 0;
  };
  zol::runtimeSymbols.sem_destroy = [](sem_t*) noexcept { return 0; };
  zol::Semaphore semaphore(7);
  EXPECT_EQ(0, shared);
  EXPECT_EQ(7u, count);
}

int failWith(int code) {
  errno = code;
  return -1;
}

TEST_F(SemaphoreTest, EveryFailureIsLogged) {
  zol::runtimeSymbols.sem_init = [](sem_t*, int, unsigned) noexcept { return failWith(ENOSYS); };
  zol::runtimeSymbols.sem_destroy = [](sem_t*) noexcept { return failWith(EINVAL); };
  zol::runtimeSymbols.sem_wait = [](sem_t*) { return failWith(EINVAL); };
  zol::runtimeSymbols.sem_post = [](sem_t*) noexcept { return failWith(EOVERFLOW); };
  EXPECT_EQ("D ZOL (zol::Semaphore::Semaphore(uint32_t)): Cannot initialize semaphore (Function "
            "not implemented)\n\n"
            "D ZOL (bool zol::Semaphore::P()): Semaphore wait operation failed (Invalid "
            "argument)\n\n"
            "D ZOL (bool zol::Semaphore::V()): Semaphore post operation failed (Value too large "
            "for defined data type)\n\n"
            "D ZOL (virtual zol::Semaphore::~Semaphore()): Cannot destroy semaphore (Invalid "
            "argument)\n\n",
            logOf([] {
              zol::Semaphore semaphore(0);
              EXPECT_FALSE(semaphore.P());
              EXPECT_FALSE(semaphore.V());
            }));
}

TEST_F(SemaphoreTest, AnInterruptedWaitIsResumedWithoutAMessage) {
  static int waits;
  waits = 0;
  zol::runtimeSymbols.sem_wait = [](sem_t*) { return ++waits < 4 ? failWith(EINTR) : 0; };
  zol::Semaphore semaphore(0);
  EXPECT_EQ("", logOf([&] { EXPECT_TRUE(semaphore.P()); }));
  EXPECT_EQ(4, waits);
}

// The thread gets signals until one has interrupted its wait.
TEST_F(SemaphoreTest, ASignalDoesNotEndAWait) {
  static std::atomic<int> interrupted;
  static decltype(zol::RuntimeSymbols::sem_wait) realWait;
  interrupted = 0;
  realWait = real.sem_wait;
  zol::runtimeSymbols.sem_wait = [](sem_t* semaphore) {
    const int result = realWait(semaphore);
    if (result != 0 && errno == EINTR) ++interrupted;
    return result;
  };
  struct sigaction quiet {
  }, previous{};
  quiet.sa_handler = [](int) {};
  sigaction(SIGUSR1, &quiet, &previous);
  zol::Semaphore semaphore(0);
  bool passed = false;
  EXPECT_EQ("", logOf([&] {
              std::thread waiting([&] { passed = semaphore.P(); });
              while (interrupted == 0) {
                pthread_kill(waiting.native_handle(), SIGUSR1);
                std::this_thread::yield();
              }
              semaphore.V();
              waiting.join();
            }));
  EXPECT_TRUE(passed);
  sigaction(SIGUSR1, &previous, nullptr);
}

struct Worker : zol::Thread<Worker> {
  Worker() = default;
  bool run(Callback callback) { return start(this, callback); }
  using Thread::joinRunning;
  using Thread::started;

  zol::Semaphore entered{0};
  zol::Semaphore leave{0};
};

class ThreadTest : public ThreadsTest {
protected:
  ThreadTest() {
    joined = 0;
    zol::runtimeSymbols.pthread_join = [](pthread_t thread, void** result) {
      ++joined;
      return realJoin(thread, result);
    };
    realJoin = real.pthread_join;
  }
  static inline int joined;
  static inline Worker* current; // whom the replaced join lets go
  static inline decltype(zol::RuntimeSymbols::pthread_join) realJoin;
};

int waitForLeave(Worker* worker) {
  worker->entered.V();
  worker->leave.P();
  return 1;
}

TEST_F(ThreadTest, RunsItsCallbackWithTheObjectAndIsJoinedWhileRunning) {
  Worker held;
  zol::runtimeSymbols.pthread_join = [](pthread_t thread, void** result) {
    ++joined;
    EXPECT_EQ(nullptr, result);
    current->leave.V();
    return realJoin(thread, result);
  };
  current = &held;
  EXPECT_FALSE(held.started());
  ASSERT_TRUE(held.run(waitForLeave));
  EXPECT_TRUE(held.started());
  held.entered.P();
  held.joinRunning();
  EXPECT_EQ(1, joined);
}

TEST_F(ThreadTest, IsNotStartedASecondTimeWhileRunning) {
  Worker worker;
  ASSERT_TRUE(worker.run(waitForLeave));
  worker.entered.P();
  EXPECT_FALSE(worker.run(waitForLeave));
  zol::runtimeSymbols.pthread_join = [](pthread_t thread, void** result) {
    current->leave.V();
    return realJoin(thread, result);
  };
  current = &worker;
  worker.joinRunning();
}

TEST_F(ThreadTest, IsNotJoinedWhenItDoesNotRun) {
  Worker worker;
  worker.joinRunning();
  EXPECT_EQ(0, joined);
}

TEST_F(ThreadTest, IsNotStartedWhenNoThreadCanBeCreated) {
  zol::runtimeSymbols.pthread_create = [](pthread_t*, const pthread_attr_t*, void* (*)(void*),
                                          void*) noexcept { return EAGAIN; };
  Worker worker;
  EXPECT_FALSE(worker.run(waitForLeave));
  EXPECT_FALSE(worker.started());
}

TEST_F(ThreadTest, IsNotJoinedAfterItsCallbackAndMayBeStartedAgain) {
  static void* (*routine)(void*);
  zol::runtimeSymbols.pthread_create = [](pthread_t*, const pthread_attr_t*, void* (*r)(void*),
                                          void*) noexcept {
    routine = r;
    return 0;
  };
  Worker worker;
  const auto callback = [](Worker* self) {
    EXPECT_FALSE(self->run(waitForLeave)) << "while running";
    return 1;
  };
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(worker.run(callback));
    routine(static_cast<zol::Thread<Worker>*>(&worker));
  }
  worker.joinRunning();
  EXPECT_EQ(0, joined);
}

TEST_F(ThreadTest, HandsItselfToItsStartRoutineWithoutAttributes) {
  static void* argument;
  static void* (*routine)(void*);
  zol::runtimeSymbols.pthread_create = [](pthread_t*, const pthread_attr_t* attributes,
                                          void* (*r)(void*), void* a) noexcept {
    EXPECT_EQ(nullptr, attributes);
    routine = r;
    argument = a;
    return 0;
  };
  Worker worker;
  ASSERT_TRUE(worker.run([](Worker*) { return 42; }));
  EXPECT_EQ(&Worker::svc, routine);
  EXPECT_EQ(static_cast<zol::Thread<Worker>*>(&worker), argument);
  EXPECT_EQ(reinterpret_cast<void*>(42), routine(argument)) << "the callback's result";
}

struct Single : zol::Singleton<Single> {
  Single() { ++built; }
  static inline int built = 0;
};

TEST_F(ThreadsTest, ASingletonIsBuiltOnceThroughTheTable) {
  static int onces;
  onces = 0;
  static decltype(zol::RuntimeSymbols::pthread_once) realOnce;
  realOnce = real.pthread_once;
  zol::runtimeSymbols.pthread_once = [](pthread_once_t* once, void (*routine)()) {
    ++onces;
    EXPECT_EQ(&Single::doInit, routine);
    return realOnce(once, routine);
  };
  Single* first = Single::instance();
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(first, Single::instance());
  EXPECT_EQ(1, Single::built);
  EXPECT_EQ(2, onces);
}

TEST_F(ThreadsTest, ATlsKeyHoldsAValuePerThreadAndGivesItToItsDestructor) {
  static int destroyed;
  destroyed = 0;
  const zol::TLSKey key =
      zol::createTLSKey([](void* value) { destroyed = *static_cast<int*>(value); });
  ASSERT_GE(key, 0);
  struct Holder : zol::Thread<Holder> {
    Holder() = default;
    void run(zol::TLSKey k) {
      key = k;
      start(this, [](Holder* self) {
        zol::runtimeSymbols.pthread_setspecific(static_cast<pthread_key_t>(self->key),
                                                &self->value);
        self->set.V();
        self->leave.P();
        return 1;
      });
    }
    using Thread::joinRunning;
    zol::TLSKey key = -1;
    int value = 42;
    zol::Semaphore set{0}, leave{0};
  };
  static Holder* holder;
  static decltype(zol::RuntimeSymbols::pthread_join) realJoin;
  realJoin = real.pthread_join;
  Holder thread;
  holder = &thread;
  thread.run(key);
  thread.set.P();
  EXPECT_EQ(nullptr, zol::runtimeSymbols.pthread_getspecific(static_cast<pthread_key_t>(key)));
  zol::runtimeSymbols.pthread_join = [](pthread_t t, void** result) {
    holder->leave.V();
    return realJoin(t, result);
  };
  thread.joinRunning();
  EXPECT_EQ(42, destroyed);
  EXPECT_EQ(0, zol::runtimeSymbols.pthread_key_delete(static_cast<pthread_key_t>(key)));
}

TEST_F(ThreadsTest, WithoutAFreeTlsKeyThereIsAnErrorAndMinusOne) {
  openLogAt("error");
  static pthread_key_t given;
  zol::runtimeSymbols.pthread_key_create = [](pthread_key_t* key, void (*)(void*)) noexcept {
    given = *key;
    return EAGAIN;
  };
  zol::TLSKey key = 0;
  EXPECT_EQ("E ZOLGL (zol::TLSKey zol::createTLSKey(void (*)(void*))): Reached the maximum number "
            "of keys per thread: 1024\n",
            logOf([&] { key = zol::createTLSKey(nullptr); }));
  EXPECT_EQ(-1, key);
  EXPECT_EQ(-1, static_cast<int>(given));
}

TEST_F(ThreadsTest, AnotherFailureToMakeATlsKeyIsSilent) {
  zol::runtimeSymbols.pthread_key_create = [](pthread_key_t*, void (*)(void*)) noexcept {
    return ENOMEM;
  };
  zol::TLSKey key = 0;
  EXPECT_EQ("", logOf([&] { key = zol::createTLSKey(nullptr); }));
  EXPECT_EQ(-1, key);
}

TEST_F(ThreadsTest, TheRealKeysEndAtTheLimitWithTheError) {
  std::vector<zol::TLSKey> keys;
  const std::string log = logOf([&] {
    for (zol::TLSKey key; keys.size() <= 1024 && (key = zol::createTLSKey(nullptr)) != -1;)
      keys.push_back(key);
  });
  EXPECT_LE(keys.size(), 1024u);
  EXPECT_EQ("E ZOLGL (zol::TLSKey zol::createTLSKey(void (*)(void*))): Reached the maximum number "
            "of keys per thread: 1024\n",
            log);
  for (const zol::TLSKey key : keys)
    zol::runtimeSymbols.pthread_key_delete(static_cast<pthread_key_t>(key));
}

} // namespace
