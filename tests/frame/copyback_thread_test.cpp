#include "rig/fixture.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>

using namespace zol::rig;

namespace {

std::atomic<bool> extensionFails{false}; // for threads other than the test's
std::atomic<int> threadsDetached{0};
std::atomic<int> timerSlack{0}; // of the last thread that asked for less, in nanoseconds

} // namespace

// Xlib's own and the C library's, which these stand before.
extern "C" __attribute__((visibility("default"))) XExtCodes* XInitExtension(Display* display,
                                                                            const char* name) {
  static const auto real =
      reinterpret_cast<XExtCodes* (*)(Display*, const char*)>(dlsym(RTLD_NEXT, "XInitExtension"));
  if (extensionFails && gettid() != getpid() && std::strcmp(name, "ZOL-V1") == 0) return nullptr;
  return real(display, name);
}

extern "C" __attribute__((visibility("default"))) int pthread_detach(pthread_t thread) {
  static const auto real = reinterpret_cast<int (*)(pthread_t)>(dlsym(RTLD_NEXT, "pthread_detach"));
  ++threadsDetached;
  return real(thread);
}

extern "C" __attribute__((visibility("default"))) int prctl(int option, ...) {
  static const auto real = reinterpret_cast<int (*)(int, ...)>(dlsym(RTLD_NEXT, "prctl"));
  va_list list;
  va_start(list, option);
  unsigned long values[4];
  for (unsigned long& value : values)
    value = va_arg(list, unsigned long);
  va_end(list);
  const int result = real(option, values[0], values[1], values[2], values[3]);
  if (option == PR_SET_TIMERSLACK) timerSlack = real(PR_GET_TIMERSLACK);
  return result;
}

namespace {

// The threads of this process but the one that runs the test.
std::vector<pid_t> otherThreads() {
  std::vector<pid_t> threads;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    const pid_t thread = std::stoi(entry.path().filename());
    if (thread != getpid()) threads.push_back(thread);
  }
  return threads;
}

std::uint64_t blockedSignals(pid_t thread) {
  std::ifstream stream("/proc/self/task/" + std::to_string(thread) + "/status");
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with("SigBlk:")) return std::stoull(line.substr(7), nullptr, 16);
  }
  return 0;
}

// What the thread says when it is about to end.
const std::string kDone = debugLine("void zol::gl::CopybackThread::svc()", "DONE");
const std::string kNoExtension = "W void zol::gl::CopybackThread::svc(): Could not initialize Xzol "
                                 "extension in the copyback thread";

class CopybackThreadOfTheProcess : public Rig {};

// Signals of the program are for the program's threads.
TEST_F(CopybackThreadOfTheProcess, HasEverySignalBlockedAndTheProgramsThreadNone) {
  start();
  ASSERT_TRUE(eventually([] { return otherThreads().size() == 1; }));
  const std::uint64_t blocked = blockedSignals(otherThreads().front());
  for (int number = 1; number < NSIG; ++number) {
    // Those that nobody can block, and those that the C library keeps for itself.
    if (number == SIGKILL || number == SIGSTOP || (number > SIGSYS && number < SIGRTMIN)) continue;
    EXPECT_NE(blocked >> (number - 1) & 1, 0U) << strsignal(number);
  }
  EXPECT_EQ(blockedSignals(getpid()), 0U);
}

// What the timer is late by is taken from the rate of the frames.
TEST_F(CopybackThreadOfTheProcess, IsWokenUpInTimeAndTheProgramsThreadAsBefore) {
  const int before = prctl(PR_GET_TIMERSLACK);
  start();
  EXPECT_TRUE(eventually([] { return timerSlack == 1; }));
  EXPECT_EQ(prctl(PR_GET_TIMERSLACK), before);
  EXPECT_NE(before, 1);
}

// The program goes on, without frames in its windows.
TEST_F(CopybackThreadOfTheProcess, EndsWithoutTheExtension) {
  set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
  extensionFails = true;
  start();
  Display* const display = openDisplay();
  const Window window = createWindow(display, visuals_.doubled, 64, 48);
  EXPECT_EQ(makeCurrent(display, window, createContext(display, visuals_.doubled)), True);
  const int closed = outside::calls("XCloseDisplay");
  outside::setHook("XCloseDisplay",
                   [&] { EXPECT_FALSE(hasLine(texts(log().all()), kNoExtension)); });
  swap(display, window); // starts it
  EXPECT_TRUE(eventually([] { return otherThreads().empty(); }));
  EXPECT_EQ(threadsDetached, 1); // nobody waits for it
  EXPECT_EQ(outside::calls("XCloseDisplay"), closed + 1);
  outside::setHook("XCloseDisplay", nullptr);
  EXPECT_LINES(loggedByOthers(), {"D void zol::gl::CopybackThread::svc(): START", kNoExtension});
  swap(display, window);
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, pbuffer2, ctx1)");
}

// A program that ends while the copyback thread keeps its pace before a frame.
class EndingProgram : public Rig {
public:
  void TestBody() override {}

  int end() {
    start();
    outside::holdDeliveries();
    Display* const display = openDisplay();
    const Window window = createWindow(display, visuals_.doubled, 64, 48);
    if (!makeCurrent(display, window, createContext(display, visuals_.doubled))) return 99;
    swap(display, window);
    if (!eventually(outside::deliveryIsHeld)) return 98;
    outside::setHook("XCloseDisplay", [this] {
      if (hasLine(texts(log().all()), kDone)) _exit(95);
    });
    std::thread([this, display, window] {
      if (!eventually([this] { return isStopping(); })) _exit(97);
      recorder().take();
      swap(display, window); // too late for a frame
      if (hasLine(texts(recorder().take()), "glReadPixels(<any>")) _exit(96);
      outside::letDeliveriesPass();
      while (true)
        pause(); // the process ends it
    }).detach();
    return 0;
  }

private:
  bool isStopping() {
    return hasLine(texts(log().all()), "D void zol::gl::CopybackThread::join(): START");
  }
};

RIG_SCENARIO(endsBeforeADelivery) {
  static EndingProgram* const program = new EndingProgram;
  return program->end();
}

TEST_F(CopybackThreadOfTheProcess, EndsWithoutTheFrameThatItSleepsBefore) {
  const ScenarioResult result = runScenario("endsBeforeADelivery");
  EXPECT_EQ(result.exitStatus, 0);
  const std::vector<LogRecord> log = LogFile(testDirectory(), result.process).all();
  const auto first = std::find_if(log.begin(), log.end(), [&](const LogRecord& record) {
    return record.thread != result.process;
  });
  ASSERT_NE(first, log.end());
  EXPECT_LINES(textsOfThread(log, first->thread),
               {"D void zol::gl::CopybackThread::svc(): START", kDone});
}

} // namespace
