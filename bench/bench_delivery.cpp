// zol-bench-delivery: tells how many frames reach windows, and how long after their swap.

#include "bench_program.h"
#include "delivery_watch.h"
#include "frame_number.h"
#include "options.h"
#include "scene_windows.h"
#include "size.h"
#include "statistics.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

namespace {

using namespace zol::bench;
using zol::tools::Arguments;
using zol::tools::UsageError;
using Clock = std::chrono::steady_clock;

constexpr char kAbout[] = R"(Usage: zol-bench-delivery [options]

Draws numbered frames into windows on the current display, one window after the other,
and watches them arrive there on a second connection (with the DAMAGE extension and
the number's pixels). Prints one line: frames per second and window that were produced
and that reached their window, the latter also of the window that got the fewest; the
median and the 95th percentile of the milliseconds from the call of the swap to the
moment when the number was read from the window, a dash where none was, and how many
frames that is of.
)";

struct Options {
  std::string help;
  Size size{300, 300};
  int windows = 1;
  double seconds = 3;
  bool oneAtATime = false;

  static Options parse(Arguments arguments) {
    Options options;
    const Option known[] = {sizeOption(&options.size, "size of the windows"),
                            countOption("--windows N", &options.windows, "how many there are"),
                            secondsOption(&options.seconds),
                            flagOption("--one-at-a-time", &options.oneAtATime,
                                       "draw a frame only when the one before it is in its window, "
                                       "and swap it when it is drawn")};
    options.help = takeOptions(arguments, known);
    return options;
  }
};

// Windows whose frames carry numbers, which the watch is told of.
class NumberedWindows {
public:
  explicit NumberedWindows(const Options& options)
      : size_(options.size), windows_(options.size, 0, options.windows), watch_(ids(), size_) {}

  // The next frame of every window.
  void round(bool await) {
    ++number_;
    for (int i = 0; i < windows_.count(); ++i) {
      windows_.draw(i);
      drawFrameNumber(number_, size_);
      if (await) glFinish(); // what is waited for is the frame's way alone
      watch_.swapping(static_cast<size_t>(i), number_);
      windows_.swap(i);
      if (await) watch_.awaitShown(static_cast<size_t>(i), number_);
    }
  }

  DeliveryWatch::Delivered take() { return watch_.take(); }

private:
  std::vector<Window> ids() const {
    std::vector<Window> ids;
    for (int i = 0; i < windows_.count(); ++i)
      ids.push_back(windows_.window(i).id());
    return ids;
  }

  const Size size_;
  SceneWindows windows_;
  DeliveryWatch watch_;
  int number_ = 0;
};

void measure(const Options& options) {
  countXErrors();
  NumberedWindows windows(options);
  for (int i = 0; i < kWarmUpFrames; ++i)
    windows.round(true);
  windows.take();

  int rounds = 0;
  double seconds = 0;
  const auto start = Clock::now();
  for (; seconds < options.seconds; ++rounds) {
    windows.round(options.oneAtATime);
    seconds = std::chrono::duration<double>(Clock::now() - start).count();
  }
  const auto delivered = windows.take();
  const int reached = std::accumulate(delivered.frames.begin(), delivered.frames.end(), 0);
  const int fewest = *std::min_element(delivered.frames.begin(), delivered.frames.end());
  printf("produced_fps %.2f reached_fps %.2f fewest_fps %.2f delay_ms %s delay95_ms %s "
         "delays %zu vendors \"%s\"\n",
         rounds / seconds, reached / seconds / options.windows, fewest / seconds,
         quantileText(delivered.delays, 0.5).c_str(), quantileText(delivered.delays, 0.95).c_str(),
         delivered.delays.size(), loadedVendors().c_str());
}

} // namespace

int main(int argc, char** argv) {
  return runProgram("zol-bench-delivery", kAbout, argc, argv, measure);
}
