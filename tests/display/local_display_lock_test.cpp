// What a driver may do that calls back into the library.

#include "rig/lock_probe.h"

#include <unistd.h>

using namespace zol::rig;

namespace {

constexpr int kDeadlocked = 3;

RIG_SCENARIO(asksTheLibraryInsideTheDriver) {
  setenv("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0", 1);
  VendorHost host;
  if (host.enter() != 1) return 99;
  Display* const display = XOpenDisplay(nullptr);
  const auto ask = [display, query = GL_OF(host, glXQueryExtension)] {
    int errorBase = 0, eventBase = 0;
    query(display, &errorBase, &eventBase);
  };
  int inside = 0;
  recorder().setHook("glXQueryExtension", [&] {
    recorder().setHook("glXQueryExtension", nullptr);
    ask();
    ++inside;
  });
  std::atomic<pid_t> id{0};
  std::atomic<bool> answered{false};
  std::thread thread([&] {
    id = gettid();
    ask();
    answered = true;
  });
  while (!answered && (id == 0 || !waitsForLock(id)))
    std::this_thread::yield();
  if (!answered) _exit(kDeadlocked); // the thread cannot be ended
  thread.join();
  return inside == 1 ? 0 : 1;
}

class LocalDisplayLock : public Rig {
protected:
  void SetUp() override { startServers(); }
};

TEST_F(LocalDisplayLock, IsTakenOnceAtATime) {
  EXPECT_EQ(runScenario("asksTheLibraryInsideTheDriver").exitStatus, kDeadlocked);
}

TEST_F(LocalDisplayLock, CanBeTakenAgainByItsHolderWhenToldTo) {
  set("ZOL_GL_RECURSIVE_LOCAL_DISPLAY_LOCK", "1");
  EXPECT_EQ(runScenario("asksTheLibraryInsideTheDriver").exitStatus, 0);
}

} // namespace
