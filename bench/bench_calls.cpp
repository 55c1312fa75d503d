// zol-bench-calls: times what the library adds to the driver's calls.

#include "bench_program.h"
#include "call_figures.h"
#include "options.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace {

using namespace zol::bench;
using zol::tools::Arguments;
using zol::tools::UsageError;

constexpr char kAbout[] = R"(Usage: zol-bench-calls [--visuals N] [--rounds N] WHAT

Times calls of the library above a driver that does nothing, beside the bare calls to
that driver. DISPLAY names a display of Xzol whose local display announces the vendor
"zolnull"; its library's folder is in LD_LIBRARY_PATH. ZOL_NULL_FBCONFIGS says how many
FBConfigs the driver has (default 800).

Prints one line a figure: the name, the medians of the library's time, of the bare calls'
and of the difference, and the quartiles of the difference, in nanoseconds.

WHAT is one of
  calls         single calls
  viewport      glViewport, with or without the setting that belongs to it
  frame         glXSwapBuffers
  visual-map    building the visual map; one column, one round
  idle-windows  a frame of one window beside others
  threads       processor time of a frame of one of several threads
)";

struct Measurement {
  const char* name;
  void (*measure)(const CallRig& rig, int rounds);
};
constexpr Measurement kMeasurements[] = {
    {"calls", measureCalls},
    {"viewport", measureViewport},
    {"frame", measureFrame},
    {"visual-map", measureVisualMap},
    {"idle-windows", measureIdleWindows},
    {"threads", measureThreads},
};

struct Options {
  std::string help;
  int visuals = 200;
  int rounds = 200;
  const Measurement* what = nullptr;

  static Options parse(Arguments arguments) {
    Options options;
    const Option known[] = {
        countOption("--visuals N", &options.visuals, "visuals of the application display to use"),
        countOption("--rounds N", &options.rounds, "measure N times each")};
    while (!arguments.atEnd() && options.help.empty()) {
      if (arguments.takeFlag("--help"))
        options.help = helpOf(known);
      else if (!takeOption(arguments, known))
        options.what = find(arguments.take());
    }
    if (!options.help.empty()) return options;
    if (options.what == nullptr) throw UsageError("what to measure is missing");
    return options;
  }

  static const Measurement* find(const std::string& name) {
    const auto* const found =
        std::find_if(std::begin(kMeasurements), std::end(kMeasurements),
                     [&](const Measurement& measurement) { return measurement.name == name; });
    if (found == std::end(kMeasurements)) throw UsageError("'" + name + "' cannot be measured");
    return found;
  }
};

void measure(const Options& options) {
  XInitThreads();
  const CallRig rig(options.visuals);
  options.what->measure(rig, options.rounds);
}

} // namespace

int main(int argc, char** argv) {
  return runProgram("zol-bench-calls", kAbout, argc, argv, measure);
}
