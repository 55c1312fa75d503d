#include "foundation/foundation_test.h"
#include "foundation/timer.h"

namespace {

timespec now{};
int asked = 0;
clockid_t askedClock = -1;

int fakeClock(clockid_t clock, timespec* time) noexcept {
  ++asked;
  askedClock = clock;
  *time = now;
  return 0;
}

class HighResTimer : public FoundationTest {
protected:
  HighResTimer() : real(zol::runtimeSymbols.clock_gettime) {
    zol::runtimeSymbols.clock_gettime = fakeClock;
    asked = 0;
  }
  void runForASecond() {
    now = {7, 0};
    timer.start();
    now = {8, 0};
    timer.stop();
  }
  ~HighResTimer() override { zol::runtimeSymbols.clock_gettime = real; }

  decltype(zol::RuntimeSymbols::clock_gettime) real;
  zol::HighResTimer timer;
};

TEST_F(HighResTimer, ReadsTheMonotonicClockInWholeMicroseconds) {
  now = {5000000, 123456999};
  EXPECT_EQ(5000000123456u, zol::HighResTimer::getTime());
  EXPECT_EQ(CLOCK_MONOTONIC, askedClock);
}

TEST_F(HighResTimer, IsZeroUntilStarted) {
  now = {7, 0};
  EXPECT_EQ(0u, timer.elapsedMicro());
  EXPECT_EQ(0, asked);
}

TEST_F(HighResTimer, RunsFromStart) {
  now = {7, 0};
  timer.start();
  EXPECT_EQ(1, asked);
  now = {9, 5000};
  EXPECT_EQ(2000005u, timer.elapsedMicro());
  now = {10, 0};
  EXPECT_EQ(3000000u, timer.elapsedMicro());
}

TEST_F(HighResTimer, StandsStillAfterStop) {
  runForASecond();
  now = {100, 0};
  EXPECT_EQ(1000000u, timer.elapsedMicro());
}

TEST_F(HighResTimer, StartsAnewFromZero) {
  runForASecond();
  timer.start();
  EXPECT_EQ(0u, timer.elapsedMicro());
}

TEST_F(HighResTimer, StoppedWithoutAStartCountsFromZero) {
  now = {3, 0};
  timer.stop();
  EXPECT_EQ(3000000u, timer.elapsedMicro());
}

TEST_F(HighResTimer, ACopyGoesOnFromTheSameStart) {
  now = {7, 0};
  timer.start();
  zol::HighResTimer copy(timer), assigned;
  assigned = timer;
  now = {8, 0};
  timer.stop();
  now = {9, 0};
  EXPECT_EQ(1000000u, timer.elapsedMicro());
  EXPECT_EQ(2000000u, copy.elapsedMicro());
  EXPECT_EQ(2000000u, assigned.elapsedMicro());
}

TEST(HighResTimerOnTheRealClock, NeverGoesBackwards) {
  ASSERT_TRUE(zol::runtimeSymbols.clock_gettime || zol::initRuntimeSymbols());
  const uint64_t first = zol::HighResTimer::getTime();
  EXPECT_GT(first, 0u);
  EXPECT_LE(first, zol::HighResTimer::getTime());
}

} // namespace
