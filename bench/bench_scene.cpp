// zol-bench-scene: draws a scene as fast as the display lets it and says how many frames it made.

#include "bench_program.h"
#include "gl_window.h"
#include "options.h"
#include "process_usage.h"
#include "scene_windows.h"
#include "size.h"

#include <GL/gl.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace zol::bench;
using zol::tools::Arguments;
using zol::tools::UsageError;
using Clock = std::chrono::steady_clock;

constexpr char kAbout[] = R"(Usage: zol-bench-scene [options]

Draws three turning rings into windows on the current display, as many frames as it
can, and prints one line at the end: the frames, the seconds, the frames per second,
the GLX vendor libraries that served it and the renderer; and for itself (0) and each
--process (1, 2 ...) the processor time meanwhile in seconds and, in KiB, the memory
of its own and the shared memory. It waits for nothing between the frames.
)";

struct Options {
  std::string help;
  Size size{300, 300};
  double seconds = 0; // 0: until a signal
  int windows = 1;
  int drawn = 0; // 0: all
  int place = 0;
  int threads = 1;
  std::vector<pid_t> processes = {getpid()};
  bool once = false;

  int drawnWindows() const { return drawn ? drawn : windows; }

  static Options parse(Arguments arguments) {
    Options options;
    const Option known[] = {
        sizeOption(&options.size, "size of the windows"),
        secondsOption(&options.seconds,
                      "end after N seconds; without it, SIGTERM or SIGINT ends it"),
        countOption("--windows N", &options.windows, "of each thread, drawn in turn"),
        countOption("--drawn N", &options.drawn,
                    "go on drawing in N of the windows alone (default: all)"),
        countOption("--place N", &options.place,
                    "of the first window on the screen, where windows lie side by side", 0),
        countOption("--threads N", &options.threads,
                    "each with a connection and windows of its own"),
        {"--process PID", "tell what this process used; may be given again",
         [&](Arguments& words) {
           int process = 0;
           const bool taken = countOption("--process", &process, "").take(words);
           if (taken) options.processes.push_back(process);
           return taken;
         }},
        flagOption("--once", &options.once,
                   "draw one frame, and print no more than the clock (seconds since 1970) when it "
                   "was finished, and the vendor libraries")};
    options.help = takeOptions(arguments, known);
    if (!options.help.empty()) return options;
    if (options.drawn > options.windows) throw UsageError("--drawn is more than --windows");
    return options;
  }
};

volatile sig_atomic_t ended = 0;

void end(int) {
  ended = 1;
}

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::vector<ProcessUsage> usageOf(const std::vector<pid_t>& processes) {
  std::vector<ProcessUsage> usage;
  for (const pid_t process : processes)
    usage.push_back(ProcessUsage::of(process));
  return usage;
}

// Threads that begin and end together, and what lies between.
class Measurement {
public:
  explicit Measurement(const Options& options)
      : options_(options), together_(options.threads, PhaseEnd{this}) {}

  // One thread's part.
  void draw(int thread) {
    SceneWindows windows(options_.size, options_.place + thread * options_.windows,
                         options_.windows);
    for (int i = 0; i < kWarmUpFrames * options_.windows; ++i)
      windows.frame(i % options_.windows);
    glFinish();
    together_.arrive_and_wait();
    long frames = 0;
    for (; !ended && (options_.seconds == 0 || secondsSince(start_) < options_.seconds); ++frames)
      windows.frame(static_cast<int>(frames % options_.drawnWindows()));
    // What is still on its way belongs to the time it took.
    glFinish();
    frames_ += frames;
    together_.arrive_and_wait();
    if (thread == 0) print();
    together_.arrive_and_wait();
  }

private:
  struct PhaseEnd {
    Measurement* owner;
    void operator()() noexcept { owner->phaseEnded(); }
  };

  void phaseEnded() noexcept {
    if (!begun_) {
      before_ = usageOf(options_.processes);
      start_ = Clock::now();
      begun_ = true;
    } else if (after_.empty()) {
      seconds_ = secondsSince(start_);
      after_ = usageOf(options_.processes);
    }
  }

  void print() const {
    const long frames = frames_;
    printf("frames %ld seconds %.3f fps %.2f vendors \"%s\" renderer \"%s\"", frames, seconds_,
           static_cast<double>(frames) / seconds_, loadedVendors().c_str(),
           reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
    for (size_t i = 0; i < after_.size(); ++i) {
      printf(" cpu%zu_s %.4f anon%zu_kb %ld shared%zu_kb %ld", i,
             after_[i].processorSeconds - before_[i].processorSeconds, i, after_[i].anonymousKb, i,
             after_[i].sharedKb);
    }
    puts("");
  }

  const Options& options_;
  bool begun_ = false;
  std::vector<ProcessUsage> before_;
  std::vector<ProcessUsage> after_;
  Clock::time_point start_;
  double seconds_ = 0;
  std::atomic<long> frames_ = 0;
  std::barrier<PhaseEnd> together_;
};

void drawOnce(const Options& options) {
  SceneWindows windows(options.size, 0, 1);
  windows.frame(0);
  glFinish();
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  printf("drawn %.6f", std::chrono::duration<double>(now).count());
  fflush(stdout); // so that it stands there in a trace, too
  printf(" vendors \"%s\"\n", loadedVendors().c_str());
}

void run(const Options& options) {
  signal(SIGTERM, end);
  signal(SIGINT, end);
  if (options.once) {
    drawOnce(options);
    return;
  }
  usageOf(options.processes); // says now if one is not there
  Measurement measurement(options);
  std::vector<std::thread> others;
  for (int i = 1; i < options.threads; ++i)
    others.emplace_back([&measurement, i] { measurement.draw(i); });
  measurement.draw(0);
  for (std::thread& other : others)
    other.join();
}

} // namespace

int main(int argc, char** argv) {
  return runProgram("zol-bench-scene", kAbout, argc, argv, run);
}
