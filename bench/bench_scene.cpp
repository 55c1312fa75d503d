// zol-bench-scene: draws a scene as fast as the display lets it and says how many frames it made.

#include "bench_program.h"
#include "gl_window.h"
#include "scene.h"
#include "size.h"
#include "x_connection.h"

#include <GL/gl.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <sys/resource.h>

namespace {

using namespace zol::bench;
using zol::tools::Arguments;
using zol::tools::UsageError;
using Clock = std::chrono::steady_clock;

constexpr char kHelp[] = R"(Usage: zol-bench-scene [--size WxH] [--seconds N]

Draws three turning rings into a window on the current display, as many frames as
it can, and prints one line at the end: the frames, the seconds, the frames per
second, the processor time of a frame in milliseconds, the GLX vendor libraries that
served it and the renderer. It waits for nothing between the frames.

  --size WxH   size of the window (default 300x300)
  --seconds N  end after N seconds; without it, SIGTERM or SIGINT ends it
  --help       show this help
)";

// Of the whole process, its driver's threads included.
double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Frames that are not counted: the first ones compile shaders and make buffers.
constexpr int kWarmUpFrames = 5;

struct Options {
  bool help = false;
  Size size{300, 300};
  double seconds = 0; // 0: until a signal

  static Options parse(Arguments arguments) {
    Options options;
    while (!arguments.atEnd()) {
      if (arguments.takeFlag("--help")) {
        options.help = true;
      } else if (auto size = arguments.takeValue("--size")) {
        options.size = Size::parse("--size", *size);
      } else if (auto seconds = arguments.takeValue("--seconds")) {
        options.seconds = parseSeconds("--seconds", *seconds);
      } else {
        throw UsageError("unknown option " + arguments.peek());
      }
    }
    return options;
  }
};

volatile sig_atomic_t ended = 0;

void end(int) {
  ended = 1;
}

void run(const Options& options) {
  signal(SIGTERM, end);
  signal(SIGINT, end);
  XConnection connection;
  const GlWindow window(connection, options.size, "zol-bench-scene");
  Scene scene;
  scene.resize(options.size);
  Size size = options.size;
  const auto frame = [&] {
    if (window.takeResize(&size)) scene.resize(size);
    scene.draw();
    window.swapBuffers();
  };
  for (int i = 0; i < kWarmUpFrames; ++i)
    frame();
  glFinish();

  long frames = 0;
  double seconds = 0;
  const double processorBefore = processorSeconds();
  const auto start = Clock::now();
  while (!ended && (options.seconds == 0 || seconds < options.seconds)) {
    frame();
    ++frames;
    seconds = std::chrono::duration<double>(Clock::now() - start).count();
  }
  // What is still on its way belongs to the time it took.
  glFinish();
  seconds = std::chrono::duration<double>(Clock::now() - start).count();
  const double processor = processorSeconds() - processorBefore;
  printf("frames %ld seconds %.3f fps %.2f cpu_ms %.4f vendors \"%s\" renderer \"%s\"\n", frames,
         seconds, static_cast<double>(frames) / seconds,
         1000 * processor / static_cast<double>(frames), loadedVendors().c_str(),
         reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
}

} // namespace

int main(int argc, char** argv) {
  return runProgram("zol-bench-scene", kHelp, argc, argv, run);
}
