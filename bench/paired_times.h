#pragma once

#include <chrono>
#include <vector>

namespace zol::bench {

// What the same work costs through the library ("ours") and in the bare calls that it cannot do
// without ("floor"), timed side by side: both are taken in each round, so that what else the
// machine does weighs on both.
class PairedTimes {
public:
  void add(double ours, double floor);

  // Prints one line: the name, the medians of ours, of the floor and of their difference within a
  // round, and the quartiles of that difference.
  void print(const char* name) const;

private:
  struct Pair {
    double ours;
    double floor;
  };
  std::vector<Pair> pairs_;
};

// Nanoseconds.
template <class Call>
double timeOf(Call call, int times) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i)
    call();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

// How many calls take about as long as is needed to time them well; one at least. The first call
// may be of another kind than those that follow.
template <class Call>
int batchOf(Call call) {
  constexpr double kLongEnough = 200e3;
  call();
  int times = 1;
  while (timeOf(call, times) < kLongEnough)
    times *= 2;
  return times;
}

// Prints nanoseconds a call.
template <class Ours, class Floor>
void compareCalls(const char* name, int rounds, Ours ours, Floor floor) {
  const int ourBatch = batchOf(ours);
  const int floorBatch = batchOf(floor);
  PairedTimes times;
  for (int round = 0; round < rounds; ++round) {
    const double oursTook = timeOf(ours, ourBatch) / ourBatch;
    times.add(oursTook, timeOf(floor, floorBatch) / floorBatch);
  }
  times.print(name);
}

} // namespace zol::bench
