#include "endtoend/loads.h"

namespace zol::endtoend {
namespace {

using Steps = std::vector<const char*>;

// A number in place of each "%".
std::string numbered(const char* step, int number) {
  std::string result;
  for (; *step != '\0'; ++step)
    *step == '%' ? result += std::to_string(number) : result += *step;
  return result;
}

void perform(PictureProgram& program, const Steps& steps, int number = 0) {
  for (const char* const step : steps)
    program.ask(numbered(step, number));
}

// All threads, counted from 1, at the same time.
void performTogether(PictureProgram& program, const Steps& steps, int threads) {
  for (int thread = 1; thread <= threads; ++thread) {
    for (const char* const step : steps)
      program.tell(numbered(step, thread), thread);
  }
  for (int thread = 1; thread <= threads; ++thread) {
    for (std::size_t step = 0; step < steps.size(); ++step)
      program.answer(thread);
  }
}

const Steps kEverything = {"window w 64 48 24 double",
                           "context c w",
                           "context shared w c",
                           "current w c",
                           "frames bar 1 2",
                           "resize w 90 60",
                           "frames bar 3 5",
                           "current w shared",
                           "frames bar 6 6",
                           "pixmap p 50 40 24 double",
                           "current p c",
                           "frames quadrants 1 1",
                           "wait-gl",
                           "find-config config 24 double",
                           "pbuffer b config 80 70",
                           "current b shared",
                           "frames quadrants 2 2",
                           "current-both w b c",
                           "frames bar 7 7",
                           "release",
                           "destroy-pbuffer b",
                           "destroy-pixmap p",
                           "forget shared",
                           "forget c",
                           "destroy w"};

const Steps kOpenWindow = {"window w% 64 48 24 double", "context w% w%"};
const Steps kUseWindow = {"current w% w%", "frames bar 1 3"};
const Steps kCloseWindow = {"forget w%", "destroy w%"};

const Steps kThreadEnds = {"frames bar 4 6", "release", "forget w%", "destroy w%"};

void beginThreads(PictureProgram& program, int count) {
  for (const Steps* const steps : {&kOpenWindow, &kUseWindow})
    performTogether(program, *steps, count);
}

Window showRest(PictureProgram& program) {
  const Window window = program.stage("rest", "64 48 24 double 600 0");
  program.ask("frames bar 1 3");
  return window;
}

void endThreads(PictureProgram& program, int count) {
  for (int thread = 1; thread <= count; ++thread)
    program.ask("end-thread", thread);
}

} // namespace

void turnOver(PictureProgram& program) {
  perform(program, kEverything);
}

void turnWindows(PictureProgram& program, int count) {
  for (const Steps* const steps : {&kOpenWindow, &kUseWindow}) {
    for (int window = 1; window <= count; ++window)
      perform(program, *steps, window);
  }
  program.ask("release");
  for (int window = 1; window <= count; ++window)
    perform(program, kCloseWindow, window);
}

void turnThreads(PictureProgram& program, int count) {
  beginThreads(program, count);
  performTogether(program, kThreadEnds, count);
  endThreads(program, count);
}

void turnConnectedThreads(PictureProgram& program, int count) {
  performTogether(program, {"own-display"}, count);
  beginThreads(program, count);
  performTogether(program, kThreadEnds, count);
  performTogether(program, {"close-display"}, count);
  endThreads(program, count);
}

void makeHandedContext(PictureProgram& program, int threads) {
  for (int window = 1; window <= threads; ++window)
    perform(program, {"window w% 64 48 24 double"}, window);
  program.ask("context handed w1");
}

void handContextOn(PictureProgram& program, int threads) {
  for (int thread = 1; thread <= threads; ++thread) {
    for (const char* const step : {"current w% handed", "frames bar 1 2", "release"})
      program.ask(numbered(step, thread), thread);
  }
}

Rest::Rest(PictureProgram& program, const Observer& observer)
    : program_(program),
      isShown_(observer.shows(showRest(program), paintedScene("bar", 3, 64, 48))) {}

Rest::~Rest() {
  perform(program_, {"release", "forget rest", "destroy rest"});
}

} // namespace zol::endtoend
