#pragma once

#include "rig/fixture.h" // GoogleTest goes before Xlib, which defines None and True

#include <atomic>
#include <functional>
#include <string>
#include <sys/types.h>
#include <thread>

namespace zol::rig {

// Whether a thread of this process waits for a lock that nobody lets go of in between.
bool waitsForLock(pid_t thread);

// Tells whether the library holds a lock while it is inside a function of the driver, or one of the
// watched ones outside: at the next call of that function another thread asks the library a
// question that takes the lock, and either gets its answer or waits.
class LockProbe {
public:
  LockProbe(std::string function, std::function<void()> question);
  // A question that takes the local display's mutex. The display is an application's.
  LockProbe(const VendorHost& host, Display* display, std::string function);
  LockProbe(const LockProbe&) = delete;
  LockProbe& operator=(const LockProbe&) = delete;
  ~LockProbe();

  // Whether the other thread had to wait; false, too, when the function was not called.
  bool held() const { return held_; }
  bool called() const { return called_; }

private:
  void setHook(std::function<void()> hook);
  void ask();

  std::string function_;
  std::function<void()> question_;
  std::thread thread_;
  std::atomic<pid_t> id_{0};
  std::atomic<bool> answered_{false};
  bool called_ = false;
  bool held_ = false;
};

} // namespace zol::rig

// EXPECT_LOCKED(host(), display, "glXWaitGL", statement): the statement's first call of the
// function is made under the local display's mutex.
#define EXPECT_LOCKED(host, display, function, statement)                                          \
  do {                                                                                             \
    const ::zol::rig::LockProbe probe(host, display, function);                                    \
    statement;                                                                                     \
    EXPECT_TRUE(probe.called()) << (function);                                                     \
    EXPECT_TRUE(probe.held()) << (function);                                                       \
  } while (false)
// The opposite.
#define EXPECT_UNLOCKED(host, display, function, statement)                                        \
  do {                                                                                             \
    const ::zol::rig::LockProbe probe(host, display, function);                                    \
    statement;                                                                                     \
    EXPECT_TRUE(probe.called()) << (function);                                                     \
    EXPECT_FALSE(probe.held()) << (function);                                                      \
  } while (false)
