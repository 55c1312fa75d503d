#include "call_figures.h"

#include "bare_frame.h"
#include "foundation/conf_settings.h"
#include "paired_times.h"

#include <atomic>
#include <barrier>
#include <cstdio>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace zol::bench {

namespace {

// As the library finds them.
const conf::Settings& settings() {
  static const conf::Settings found;
  return found;
}

bool threadMapsPixels() {
  return settings().forceSingleThreadReadback;
}

void compareQueriesOfState(const CallRig& rig, int rounds) {
  const auto ours = GL_OF(rig.ours(), glXGetCurrentContext);
  const auto drivers = GL_OF(rig.drivers(), glXGetCurrentContext);
  compareCalls("glXGetCurrentContext", rounds, ours, drivers);
}

// A window that is left may hold an unfinished frame: it is flushed before and after the drawable
// to be is known.
void compareMakeCurrent(const CallRig& rig, int rounds, Window window, GLXContext context) {
  Display* const dpy = rig.display();
  const Window other = rig.createWindow();
  rig.makeCurrent(other, context);
  rig.makeCurrent(window, context);
  const auto ours = GL_OF(rig.ours(), glXMakeCurrent);
  const auto drivers = GL_OF(rig.drivers(), glXMakeCurrent);
  const auto flush = GL_OF(rig.drivers(), glFlush);
  GLXContext const driversOwn = GL_OF(rig.drivers(), glXGetCurrentContext)();
  compareCalls(
      "glXMakeCurrent-same", rounds, [&] { ours(dpy, window, context); },
      [&] { drivers(dpy, window, driversOwn); });
  bool turn = false;
  const auto next = [&] { return (turn = !turn) ? other : window; };
  compareCalls(
      "glXMakeCurrent-other", rounds, [&] { ours(dpy, next(), context); },
      [&] {
        flush();
        flush();
        drivers(dpy, next(), driversOwn);
      });
  rig.makeCurrent(window, context);
}

void compareDrawingCalls(const CallRig& rig, int rounds) {
  const auto& drivers = rig.drivers();
  const auto clear = GL_OF(rig.ours(), glClear);
  const auto clearBare = GL_OF(drivers, glClear);
  compareCalls(
      "glClear", rounds, [&] { clear(GL_COLOR_BUFFER_BIT); },
      [&] { clearBare(GL_COLOR_BUFFER_BIT); });

  const auto flush = GL_OF(rig.ours(), glFlush);
  const auto flushBare = GL_OF(drivers, glFlush);
  compareCalls("glFlush-back", rounds, flush, flushBare);

  // To the front buffer samples are counted; none passes here.
  const auto drawBuffer = GL_OF(rig.ours(), glDrawBuffer);
  const auto endQuery = GL_OF(drivers, glEndQuery);
  const auto queryResult = GL_OF(drivers, glGetQueryObjectiv);
  const auto beginQuery = GL_OF(drivers, glBeginQuery);
  drawBuffer(GL_FRONT);
  compareCalls("glFlush-front", rounds, flush, [&] {
    GLint samples = 0;
    endQuery(GL_SAMPLES_PASSED);
    queryResult(1, GL_QUERY_RESULT, &samples);
    beginQuery(GL_SAMPLES_PASSED, 1);
    flushBare();
  });
  drawBuffer(GL_BACK);
}

void compareLookups(const CallRig& rig, int rounds) {
  struct Lookup {
    const char* figure;
    const char* name;
  };
  // By GLVND, of the library.
  for (const Lookup& lookup :
       {Lookup{"lookup-gl", "glViewport"}, Lookup{"lookup-glx", "glXSwapBuffers"},
        Lookup{"lookup-driver", "glBlitFramebuffer"}, Lookup{"lookup-unknown", "glNeverHeardOf"}}) {
    compareCalls(
        lookup.figure, rounds, [&] { return rig.ours().find(lookup.name); },
        [&] { return rig.drivers().find(lookup.name); });
  }
  // By whoever asks the library's own function.
  const auto ours = GL_OF(rig.ours(), glXGetProcAddress);
  const auto drivers = GL_OF(rig.drivers(), glXGetProcAddress);
  for (const Lookup& lookup : {Lookup{"glXGetProcAddress-gl", "glViewport"},
                               Lookup{"glXGetProcAddress-glx", "glXSwapBuffers"},
                               Lookup{"glXGetProcAddress-driver", "glBlitFramebuffer"},
                               Lookup{"glXGetProcAddress-unknown", "glXNeverHeardOf"}}) {
    const auto* const name = reinterpret_cast<const GLubyte*>(lookup.name);
    compareCalls(
        lookup.figure, rounds, [&] { return ours(name); }, [&] { return drivers(name); });
  }
}

void compareConfigQueries(const CallRig& rig, int rounds) {
  Display* const dpy = rig.display();
  const int screen = DefaultScreen(dpy);
  int request[] = {GLX_RGBA, GLX_DOUBLEBUFFER, None};
  const auto chooseVisual = [&](auto choose) {
    return [&, choose] { XFree(choose(dpy, screen, request)); };
  };
  compareCalls("glXChooseVisual", rounds, chooseVisual(GL_OF(rig.ours(), glXChooseVisual)),
               chooseVisual(GL_OF(rig.drivers(), glXChooseVisual)));

  int count = 0;
  const auto getConfigs = [&](auto get) { return [&, get] { XFree(get(dpy, screen, &count)); }; };
  compareCalls("glXGetFBConfigs", rounds, getConfigs(GL_OF(rig.ours(), glXGetFBConfigs)),
               getConfigs(GL_OF(rig.drivers(), glXGetFBConfigs)));

  const std::unique_ptr<GLXFBConfig, int (*)(void*)> configs(
      GL_OF(rig.ours(), glXGetFBConfigs)(dpy, screen, &count), XFree);
  GLXFBConfig const config = *configs;
  int value = 0;
  const auto getAttrib = [&](auto get, int attribute) {
    return [&, get, attribute] { get(dpy, config, attribute, &value); };
  };
  const auto ours = GL_OF(rig.ours(), glXGetFBConfigAttrib);
  const auto drivers = GL_OF(rig.drivers(), glXGetFBConfigAttrib);
  compareCalls("glXGetFBConfigAttrib", rounds, getAttrib(ours, GLX_SAMPLES),
               getAttrib(drivers, GLX_SAMPLES));
  compareCalls("glXGetFBConfigAttrib-visual", rounds, getAttrib(ours, GLX_VISUAL_ID),
               getAttrib(drivers, GLX_VISUAL_ID));
}

// One frame after the other, ours and bare in turns. Nanoseconds.
void compareFrames(const CallRig& rig, const char* name, int rounds, Window window) {
  constexpr int kFramesARound = 10;
  const auto swap = GL_OF(rig.ours(), glXSwapBuffers);
  Display* const dpy = rig.display();
  BareFrame bare(rig, window, threadMapsPixels());
  swap(dpy, window);
  PairedTimes times;
  for (int i = 0; i < rounds * kFramesARound; ++i) {
    const double ours = timeOf([&] { swap(dpy, window); }, 1);
    times.add(ours, timeOf([&] { bare.run(); }, 1));
  }
  times.print(name);
}

double threadTime() {
  timespec time;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

} // namespace

void measureCalls(const CallRig& rig, int rounds) {
  const Window window = rig.createWindow();
  GLXContext const context = rig.createContext();
  rig.makeCurrent(window, context);
  compareQueriesOfState(rig, rounds);
  compareMakeCurrent(rig, rounds, window, context);
  compareDrawingCalls(rig, rounds);
  compareLookups(rig, rounds);
  compareConfigQueries(rig, rounds);
}

void measureViewport(const CallRig& rig, int rounds) {
  const Window window = rig.createWindow();
  rig.makeCurrent(window, rig.createContext());
  const auto ours = GL_OF(rig.ours(), glViewport);
  const auto drivers = GL_OF(rig.drivers(), glViewport);
  BareFrame bare(rig, window, false);
  if (settings().viewportResizeOptimization) {
    compareCalls(
        "glViewport-optimized", rounds, [&] { ours(0, 0, 300, 300); },
        [&] { drivers(0, 0, 300, 300); });
    return;
  }
  compareCalls(
      "glViewport", rounds, [&] { ours(0, 0, 300, 300); },
      [&] {
        bare.askForWindow();
        drivers(0, 0, 300, 300);
      });
}

void measureFrame(const CallRig& rig, int rounds) {
  const Window window = rig.createWindow();
  rig.makeCurrent(window, rig.createContext());
  compareFrames(rig, threadMapsPixels() ? "frame-mapped" : "frame", rounds, window);
}

// The displays are open before the map's time is taken.
void measureVisualMap(const CallRig& rig, int) {
  Display* const dpy = rig.display();
  GL_OF(rig.ours(), glXIsDirect)(dpy, nullptr);
  XVisualInfo visual{};
  visual.visualid = XVisualIDFromVisual(DefaultVisual(dpy, DefaultScreen(dpy)));
  const auto getConfig = GL_OF(rig.ours(), glXGetConfig);
  int value = 0;
  const double took = timeOf([&] { getConfig(dpy, &visual, GLX_USE_GL, &value); }, 1);
  if (value != 1) throw std::runtime_error("the visual map has not been built");
  std::printf("visual-map %.1f\n", took);
}

void measureIdleWindows(const CallRig& rig, int rounds) {
  GLXContext const context = rig.createContext();
  std::vector<Window> idle;
  for (const std::size_t count : {1, 2, 4, 8, 16, 32, 64}) {
    while (idle.size() < count) {
      idle.push_back(rig.createWindow());
      rig.makeCurrent(idle.back(), context);
      GL_OF(rig.ours(), glXSwapBuffers)(rig.display(), idle.back());
    }
    const Window window = rig.createWindow();
    rig.makeCurrent(window, context);
    compareFrames(rig, ("idle-" + std::to_string(count)).c_str(), rounds, window);
    idle.push_back(window);
  }
}

// Frames of so many threads at once, each with a window of its own. What is counted is the threads'
// processor time: how long they wait for a processor says nothing of the library.
void measureThreads(const CallRig& rig, int rounds) {
  constexpr int kFrames = 50;
  for (const unsigned count : {1u, 2u, 4u, 8u, 16u}) {
    std::atomic<double> ours{0}, floor{0};
    PairedTimes times;
    std::barrier together(count, [&]() noexcept {});
    const auto work = [&](unsigned index) {
      const Window window = rig.createWindow();
      rig.makeCurrent(window, rig.createContext());
      const auto swap = GL_OF(rig.ours(), glXSwapBuffers);
      BareFrame bare(rig, window, threadMapsPixels());
      swap(rig.display(), window);
      for (int round = 0; round < rounds; ++round) {
        if (index == 0) ours = floor = 0;
        together.arrive_and_wait();
        const double start = threadTime();
        for (int i = 0; i < kFrames; ++i)
          swap(rig.display(), window);
        const double middle = threadTime();
        ours += middle - start;
        together.arrive_and_wait();
        const double again = threadTime();
        for (int i = 0; i < kFrames; ++i)
          bare.run();
        floor += threadTime() - again;
        together.arrive_and_wait();
        if (index == 0) times.add(ours / (count * kFrames), floor / (count * kFrames));
      }
      GL_OF(rig.ours(), glXMakeCurrent)(rig.display(), None, nullptr);
    };
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (unsigned i = 0; i < count; ++i)
      threads.emplace_back(work, i);
    for (std::thread& thread : threads)
      thread.join();
    times.print(("threads-" + std::to_string(count)).c_str());
  }
}

} // namespace zol::bench
