// zol-bench-floor: what a swap costs the program's thread through the library, beside the driver's
// calls that it cannot do without.

#include "bench_program.h"
#include "checked_window.h"
#include "frame_path.h"
#include "options.h"
#include "scene_windows.h"
#include "size.h"
#include "statistics.h"
#include "turn_process.h"

#include <GL/gl.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace zol::bench;
using zol::tools::Arguments;
using zol::tools::UsageError;

constexpr char kAbout[] =
    R"(Usage: zol-bench-floor --local-display NAME --app-display NAME [options]

Lets processes take turns of a tenth of a second: one makes the driver's calls of a
frame itself, in the library's order and without waiting for any ("floor"); the others
swap a window through the library, which delivers 30 frames a second ("swap") or only
one ("swap-undelivered"). Only the swap is timed, in the thread that makes it, after
the drawing has been finished. New processes go on every 0.75 seconds.
Prints a line for each: the median microseconds of a swap and their ratio to the
floor's in the same round, as median, lowest and highest; then the same of the time
that the thread was running, and of the longest swap of a turn.
)";

constexpr double kTurn = 0.1;        // seconds
constexpr double kGeneration = 0.75; // seconds that processes take turns before others do

struct Options {
  std::string help;
  std::string localDisplay;
  std::string appDisplay;
  Size size{300, 300};
  double seconds = 6;
  bool singleThread = false;

  static Options parse(Arguments arguments) {
    Options options;
    const Option known[] = {
        textOption("--local-display NAME", &options.localDisplay, "where frames are rendered"),
        textOption("--app-display NAME", &options.appDisplay, "the display of the windows"),
        sizeOption(&options.size, "size of the frame"), secondsOption(&options.seconds),
        flagOption("--single-thread", &options.singleThread,
                   "read back as in a program without threads")};
    options.help = takeOptions(arguments, known);
    if (!options.help.empty()) return options;
    if (options.localDisplay.empty()) throw UsageError("--local-display is missing");
    if (options.appDisplay.empty()) throw UsageError("--app-display is missing");
    return options;
  }
};

// The calls of a frame, made by hand.
class Floor {
public:
  explicit Floor(const Options& options)
      : path_(local_, options.size), window_(options.appDisplay, options.size),
        mapsAtOnce_(options.singleThread) {}

  void draw() { path_.draw(); }

  void swap() {
    path_.swap();
    path_.noteProgram();
    path_.toReadContext();
    path_.renew();
    path_.flip();
    path_.transfer();
    if (mapsAtOnce_) path_.map();
    path_.toProgramContext();
    window_.check();
  }

private:
  XConnection local_;
  FramePath path_;
  CheckedWindow window_;
  const bool mapsAtOnce_;
};

class Swap {
public:
  explicit Swap(const Options& options) : windows_(options.size, 0, 1) {}
  void draw() { windows_.draw(0); }
  void swap() { windows_.swap(0); }

private:
  SceneWindows windows_;
};

double secondsOf(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

template <class Frame>
Cost swapFor(Frame& frame, double seconds) {
  std::vector<double> elapsed;
  std::vector<double> running;
  const double start = secondsOf(CLOCK_MONOTONIC);
  for (double now = start; elapsed.empty() || now - start < seconds;) {
    frame.draw();
    glFinish();
    const double runningBefore = secondsOf(CLOCK_THREAD_CPUTIME_ID);
    const double before = secondsOf(CLOCK_MONOTONIC);
    frame.swap();
    now = secondsOf(CLOCK_MONOTONIC);
    elapsed.push_back((now - before) * 1e6);
    running.push_back((secondsOf(CLOCK_THREAD_CPUTIME_ID) - runningBefore) * 1e6);
  }
  return {median(elapsed), median(running), quantile(elapsed, 1)};
}

using Environment = std::vector<std::pair<const char*, std::string>>;

template <class Frame>
TurnProcess::Turn prepare(const Options& options, const Environment& environment) {
  for (const auto& [name, value] : environment)
    setenv(name, value.c_str(), 1);
  const auto frame = std::make_shared<Frame>(options);
  for (int i = 0; i < kWarmUpFrames; ++i)
    swapFor(*frame, 0);
  return [frame] { return swapFor(*frame, kTurn); };
}

// One that takes turns, and what its turns took.
struct Contestant {
  void print(const Contestant& floor) const {
    printf("%s", name);
    for (const auto measured : {&Cost::elapsed, &Cost::running, &Cost::longest}) {
      std::vector<double> values;
      std::vector<double> ratios;
      for (size_t i = 0; i < costs.size(); ++i) {
        values.push_back(costs[i].*measured);
        ratios.push_back(costs[i].*measured / (floor.costs[i].*measured));
      }
      printf(" %.1f %.4f %.4f %.4f", median(values), median(ratios), quantile(ratios, 0),
             quantile(ratios, 1));
    }
    puts("");
  }

  const char* name;
  std::function<TurnProcess::Turn()> prepare;
  std::vector<Cost> costs;
};

// Rounds of turns in processes of their own: where a process happens to have its memory decides
// how fast it copies pixels, for as long as it lives.
void compete(std::vector<Contestant>& contestants, double seconds) {
  std::deque<TurnProcess> processes;
  for (const Contestant& contestant : contestants)
    processes.emplace_back(contestant.prepare);
  // Once all have prepared themselves, which takes a processor from the others.
  for (TurnProcess& process : processes)
    process.takeTurn();

  const double start = secondsOf(CLOCK_MONOTONIC);
  do {
    // Forwards and backwards, over all processes, so that a drift of the machine evens out.
    const bool backwards = contestants.front().costs.size() % 2 != 0;
    for (size_t i = 0; i < contestants.size(); ++i) {
      const size_t next = backwards ? contestants.size() - 1 - i : i;
      contestants[next].costs.push_back(processes[next].takeTurn());
    }
  } while (secondsOf(CLOCK_MONOTONIC) - start < seconds);
}

void measure(const Options& options) {
  const auto floor = [&] { return prepare<Floor>(options, {{"DISPLAY", options.localDisplay}}); };
  const auto swap = [&](const char* frameRate) {
    return [&options, frameRate] {
      return prepare<Swap>(
          options, {{"DISPLAY", options.appDisplay},
                    {"ZOL_GL_COPYBACK_FRAME_RATE", frameRate},
                    {"ZOL_GL_FORCE_SINGLE_THREAD_READBACK", options.singleThread ? "1" : "0"}});
    };
  };
  std::vector<Contestant> contestants{
      {"floor", floor, {}}, {"swap", swap("30"), {}}, {"swap-undelivered", swap("1"), {}}};
  for (double left = options.seconds; left > 0; left -= kGeneration)
    compete(contestants, std::min(left, kGeneration));
  for (const Contestant& contestant : contestants)
    contestant.print(contestants.front());
}

} // namespace

int main(int argc, char** argv) {
  return runProgram("zol-bench-floor", kAbout, argc, argv, measure);
}
