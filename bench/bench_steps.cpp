// zol-bench-steps: times the steps of a frame's way back one by one.

#include "bench_program.h"
#include "frame_path.h"
#include "options.h"
#include "shm_window.h"
#include "size.h"
#include "statistics.h"
#include "x_connection.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace zol::bench;
using zol::tools::Arguments;
using zol::tools::UsageError;
using Clock = std::chrono::steady_clock;

constexpr char kAbout[] = R"(Usage: zol-bench-steps --app-display NAME [--size WxH] [--seconds N]

Times the steps that a frame takes from a program to its window: drawn and read
back on the current display, painted on another. Each step is waited for, which the
library itself does not do. Prints one line a step: the name and the median in
microseconds.
)";

struct Options {
  std::string help;
  Size size{300, 300};
  double seconds = 3;
  std::string appDisplay;

  static Options parse(Arguments arguments) {
    Options options;
    const Option known[] = {
        textOption("--app-display NAME", &options.appDisplay, "the display of the window"),
        sizeOption(&options.size, "size of the frame"), secondsOption(&options.seconds)};
    options.help = takeOptions(arguments, known);
    if (!options.help.empty()) return options;
    if (options.appDisplay.empty()) throw UsageError("--app-display is missing");
    return options;
  }
};

struct Step {
  const char* name;
  std::function<void()> run;
  std::vector<double> times = {}; // microseconds
};

double microsecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

void measure(const Options& options) {
  XConnection local;
  FramePath path(local, options.size);
  ShmWindow window(options.appDisplay, options.size);
  std::vector<Step> steps = {
      {"draw", [&] { path.draw(), path.finish(); }},
      {"swap", [&] { path.swap(); }},
      {"ask-window", [&] { window.ask(); }},
      {"to-read-context", [&] { path.toReadContext(); }},
      {"flip", [&] { path.renew(), path.flip(), path.finish(); }},
      {"transfer", [&] { path.transfer(), path.map(); }},
      {"to-program-context", [&] { path.toProgramContext(); }},
      {"copy", [&] { window.copy(path.pixels()); }},
      {"paint", [&] { window.paint(); }},
  };
  const auto start = Clock::now();
  for (int frame = 0; frame <= kWarmUpFrames || microsecondsSince(start) < options.seconds * 1e6;
       ++frame) {
    for (Step& step : steps) {
      const auto before = Clock::now();
      step.run();
      if (frame >= kWarmUpFrames) step.times.push_back(microsecondsSince(before));
    }
  }
  for (const Step& step : steps)
    printf("%s %.0f\n", step.name, median(step.times));
}

} // namespace

int main(int argc, char** argv) {
  return runProgram("zol-bench-steps", kAbout, argc, argv, measure);
}
