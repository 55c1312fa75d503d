// zol-frame-watch: counts the frames that a program brings into its window and takes its picture.

#include "bench_program.h"
#include "child_process.h"
#include "options.h"
#include "picture.h"
#include "size.h"
#include "watch_report.h"
#include "window_watch.h"
#include "x_connection.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace zol::bench;
using zol::tools::Arguments;
using zol::tools::UsageError;

constexpr char kAbout[] = R"(Usage: zol-frame-watch [options] [--] command [arguments]

Runs a program on the current display, counts the frames that reach its window
(with the DAMAGE extension), takes a picture of the window and ends the program.
The window is the first one that is mapped on the display after the start; no
window manager should be running there.

The exit status is 1 when no window appeared, when nothing was painted into it,
when its picture is blank (all pixels the same) or when the program ended first;
2 when the command line is wrong.
)";

struct Options {
  std::string help;
  double seconds = 5;
  double patience = 30;
  std::optional<Size> size;
  std::string png;
  std::string json;
  std::vector<std::string> command;

  static Options parse(Arguments arguments);
};

Options Options::parse(Arguments arguments) {
  Options options;
  Size wanted;
  const Option known[] = {
      secondsOption(&options.seconds, "count for N seconds from the first frame on"),
      sizeOption(&wanted, "give the window this size first"),
      textOption("--png FILE", &options.png, "write the picture as PNG"),
      textOption("--json FILE", &options.json,
                 "write the figures as JSON; \"-\" is standard output, in place of the lines for "
                 "people"),
      secondsOption(&options.patience, "give up when no window or no frame came within N seconds",
                    "--patience N")};
  while (!arguments.atEnd() && options.help.empty() && options.command.empty()) {
    if (arguments.takeFlag("--help")) options.help = helpOf(known);
    if (!options.help.empty() || takeOption(arguments, known)) continue;
    if (!arguments.takeFlag("--") && arguments.peek().starts_with("-"))
      throw UsageError("unknown option " + arguments.peek());
    options.command = arguments.takeRest();
  }
  if (!options.help.empty()) return options;
  if (wanted != Size{}) options.size = wanted;
  if (options.command.empty()) throw UsageError("no command to run");
  return options;
}

Clock::duration toDuration(double seconds) {
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

double secondsBetween(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

void takePicture(Display* display, Window window, const std::string& path) {
  const auto picture = Picture::ofWindow(display, window);
  if (!picture) throw std::runtime_error("the window's picture is not to be had");
  if (!path.empty()) picture->writePng(path);
  if (picture->isBlank()) throw std::runtime_error("the picture is blank: all pixels are the same");
}

WatchReport watch(const Options& options) {
  XConnection connection;
  WindowWatch watch(connection);
  const auto start = Clock::now();
  ChildProcess program(options.command);
  watch.awaitWindow(program, toDuration(options.patience));
  if (options.size) watch.resize(*options.size);
  watch.startCounting();
  const auto first = watch.awaitFrame(program, toDuration(options.patience));
  watch.countUntil(first + toDuration(options.seconds), program);

  WatchReport report;
  report.seconds = secondsBetween(first, Clock::now());
  report.frames = watch.frames() - 1;
  report.firstFrame = secondsBetween(start, first);
  report.display = connection.name();
  report.window = watch.window();
  report.title = watch.title();
  report.size = watch.windowSize();
  takePicture(connection.get(), watch.window(), options.png);
  report.png = options.png;
  return report;
}

void write(const std::string& path, const std::string& text) {
  FILE* file = fopen(path.c_str(), "w");
  const bool written = file && fputs(text.c_str(), file) >= 0;
  if (!file || fclose(file) != 0 || !written) {
    throw std::runtime_error("cannot write '" + path + "': " + strerror(errno));
  }
}

void run(const Options& options) {
  try {
    countXErrors();
    catchInterrupts();
    const WatchReport report = watch(options);
    if (!options.json.empty() && options.json != "-") write(options.json, report.asJson());
    fputs((options.json == "-" ? report.asJson() : report.asText()).c_str(), stdout);
  } catch (const std::exception& error) {
    throw std::runtime_error("'" + options.command[0] + "': " + error.what());
  }
}

} // namespace

int main(int argc, char** argv) {
  return runProgram("zol-frame-watch", kAbout, argc, argv, run);
}
