#include "rig/fixture.h"
#include "rig/shared_segments.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace zol::rig;

namespace {

constexpr unsigned kTooLong = 60; // seconds, after which a process that hangs is ended

class Exit : public Rig {};

// A program with a current context, whose copyback thread has a frame to deliver and does not get
// to it.
class Program : public Rig {
public:
  void TestBody() override {}

  [[noreturn]] void exitInsideMakeCurrent(int status) {
    drawFrame();
    recorder().setHook("glXMakeCurrent", [status] { std::exit(status); });
    makeCurrent(display_, None, nullptr);
    _exit(97);
  }

  // The copyback thread never comes back from this call, in which a segment is on its way to the
  // X server.
  [[noreturn]] void exitWhileASegmentChangesHands(const char* call, int status) {
    drawFrame();
    static std::atomic<bool> underWay{false};
    outside::setHook(call, [] {
      underWay = true;
      for (;;)
        pause();
    });
    outside::letDeliveriesPass();
    if (!eventually([] { return underWay.load(); })) _exit(94);
    std::printf("%zu", sharedSegmentsOf(getpid()).size());
    outside::recordSleeps();
    std::exit(status);
  }

  // The exit status of a child that has this program's memory, but not its threads.
  int forkAndExit(int status) {
    drawFrame();
    const pid_t child = fork();
    if (child == 0) {
      alarm(kTooLong);
      std::printf("%d", getpid());
      std::fflush(stdout);
      std::exit(status);
    }
    int left = 0;
    if (child < 0 || waitpid(child, &left, 0) != child) return 98;
    outside::letDeliveriesPass();
    return WIFSIGNALED(left) ? 128 + WTERMSIG(left) : WEXITSTATUS(left);
  }

private:
  void drawFrame() {
    startServers();
    describeVisuals();
    // Between the library's part of an exit and the servers': those are not a child's to end.
    static const pid_t own = getpid();
    on_exit(
        [](int status, void*) {
          if (getpid() != own) _exit(status);
        },
        nullptr);
    begin();
    outside::holdDeliveries();
    display_ = openDisplay();
    const Window window = createWindow(display_, visuals_.doubled, 64, 48);
    const GLXContext context = createContext(display_, visuals_.doubled);
    if (makeCurrent(display_, window, context) != True) _exit(96);
    swap(display_, window);
    if (!eventually(outside::deliveryIsHeld)) _exit(95);
  }

  Display* display_ = nullptr;
};

// What a program that goes on calling while it ends gets to hear.
class LateCaller : public Rig {
public:
  void TestBody() override {}

  // Runs `atEnd` once the library has done all that it does at exit; the servers are still there.
  void start(void (*atEnd)()) {
    startServers();
    describeVisuals();
    std::atexit(atEnd);
    pthread_key_t key;
    for (last_ = 0; pthread_key_create(&key, nullptr) == 0;)
      last_ = key;
    pthread_key_delete(last_); // leaves one, which the library takes
    begin();
    display_ = openDisplay();
    getProcAddress_ = host().imports().getProcAddress;
  }
  void call() {
    pthread_key_t key;
    const bool keyIsBack = pthread_key_create(&key, nullptr) == 0;
    const GLXContext context = createContext(display_, visuals_.doubled);
    void* const lookedUp = getProcAddress_(reinterpret_cast<const GLubyte*>("glXMakeCurrent"));
    const char* const whose =
        lookedUp == recorder().address("glXMakeCurrent") ? "the driver's" : "the library's";
    std::printf("key %s, context %s, function %s", keyIsBack ? "back" : "gone",
                context == nullptr ? "refused" : "made", whose);
  }

private:
  pthread_key_t last_ = 0;
  Display* display_ = nullptr;
  void* (*getProcAddress_)(const GLubyte*) = nullptr;
};

RIG_SCENARIO(callsAfterTheLibrarysEnd) {
  static auto* const caller = new LateCaller;
  caller->start([] { caller->call(); });
  return 0;
}

RIG_SCENARIO(exitsInsideTheDriver) {
  alarm(kTooLong);
  static Program* const program = new Program;
  program->exitInsideMakeCurrent(3);
}

RIG_SCENARIO(exitsWhileASegmentChangesHands) {
  alarm(kTooLong);
  static Program* const program = new Program;
  program->exitWhileASegmentChangesHands(getenv("RIG_CALL"), 5);
}

RIG_SCENARIO(exitsInAForkedChild) {
  static Program* const program = new Program;
  return program->forkAndExit(7);
}

// The thread may be waiting for just the lock that the exiting thread will never give back.
TEST_F(Exit, InsideACallThatHoldsALockDoesNotWaitForTheCopybackThread) {
  EXPECT_EQ(runScenario("exitsInsideTheDriver").exitStatus, 3); // -SIGALRM: it hung
}

// From its making to the server's answer, a segment is there for whoever knows its number.
TEST_F(Exit, WhileASegmentChangesHandsRemovesIt) {
  for (const char* call : {"shmat", "XShmAttach"}) {
    ScenarioOptions options;
    options.environment["RIG_CALL"] = call;
    const ScenarioResult result = runScenario("exitsWhileASegmentChangesHands", options);
    EXPECT_EQ(result.exitStatus, 5) << call;
    EXPECT_EQ(result.out, "1") << call;
    EXPECT_TRUE(sharedSegmentsOf(result.process).empty()) << call;
  }
}

// No thread state is made any more, and the driver answers for every name.
TEST_F(Exit, LeavesCallersNothingOfTheLibrarysState) {
  const ScenarioResult result = runScenario("callsAfterTheLibrarysEnd");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "key back, context refused, function the driver's");
}

// The copyback thread stayed in the parent: the child neither waits for its beginning nor its end.
TEST_F(Exit, OfAForkedChildDoesNotWaitForTheCopybackThread) {
  const ScenarioResult result = runScenario("exitsInAForkedChild");
  EXPECT_EQ(result.exitStatus, 7);
  const pid_t child = std::atoi(result.out.c_str());
  ASSERT_GT(child, 0) << result.out;
  Lines lines;
  for (const pid_t process : {result.process, child})
    lines = lines + textsOfThread(LogFile(testDirectory(), process).all(), child);
  EXPECT_LINES(lines, {"D void zol_fini(): START", "D void zol::gl::Copyback::stop(): START",
                       "D void zol::gl::Copyback::stop(): DONE", "D void zol_fini(): DONE"});
}

} // namespace
