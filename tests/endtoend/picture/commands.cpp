#include "endtoend/picture/commands.h"

#include "endtoend/picture/core_drawing.h"
#include "endtoend/picture/drawing.h"
#include "endtoend/picture/words.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool isForkedChild = false;

} // namespace

// A child does not have the threads of its parent: what only their stacks hold looks lost in it.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
  return isForkedChild;
}

namespace zol::endtoend {
namespace {

std::atomic<int> xErrors{0};

int countXError(Display* display, XErrorEvent* event) {
  char text[256] = "";
  XGetErrorText(display, event->error_code, text, sizeof text);
  std::fprintf(stderr, "X error on %s: %s, request %d.%d, resource 0x%lx\n", DisplayString(display),
               text, event->request_code, event->minor_code, event->resourceid);
  ++xErrors;
  return 0;
}

std::string makeWindow(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  const int width = next<int>(words), height = next<int>(words), depth = next<int>(words);
  const bool doubleBuffered = next<std::string>(words) == "double";
  const int x = std::stoi(nextOr(words, "0")), y = std::stoi(nextOr(words, "0"));
  return ok(hex(stage.createWindow(name, width, height, depth, doubleBuffered, x, y)));
}

std::string makeContext(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words), window = next<std::string>(words);
  stage.createContext(name, window, nextOr(words, ""));
  return ok();
}

std::string makeCurrent(Stage& stage, std::istringstream& words) {
  const auto window = next<std::string>(words);
  stage.makeCurrent(window, next<std::string>(words));
  return ok();
}

void drawFrame(Stage& stage, const std::string& picture, int frame) {
  const StageDrawable& target = stage.current();
  if (stage.currentIsCore()) {
    drawWithShaders(picture, frame, target.width, target.height);
  } else {
    draw(picture, frame, target.width, target.height);
  }
}

std::string drawPicture(Stage& stage, std::istringstream& words) {
  const auto picture = next<std::string>(words);
  drawFrame(stage, picture, next<int>(words));
  return ok();
}

// A finished frame: swapped, or flushed where there is nothing to swap.
void show(const StageDrawable& window) {
  if (window.doubleBuffered) {
    glXSwapBuffers(window.display, window.drawable);
  } else {
    glFlush();
  }
  XSync(window.display, False);
}

std::string showWindow(Stage& stage, std::istringstream& words) {
  show(stage.drawable(next<std::string>(words)));
  return ok();
}

std::string showFrames(Stage& stage, std::istringstream& words) {
  const auto picture = next<std::string>(words);
  const int first = next<int>(words), last = next<int>(words);
  for (int frame = first; frame <= last; ++frame) {
    drawFrame(stage, picture, frame);
    show(stage.current());
  }
  return ok();
}

// Two windows in turn, each with its context, a frame each time.
std::string alternate(Stage& stage, std::istringstream& words) {
  const std::string windows[] = {next<std::string>(words), next<std::string>(words)};
  const std::string contexts[] = {next<std::string>(words), next<std::string>(words)};
  const int last = next<int>(words);
  for (int frame = 1; frame <= last; ++frame) {
    for (int i = 0; i < 2; ++i) {
      stage.makeCurrent(windows[i], contexts[i]);
      drawFrame(stage, i == 0 ? "bar" : "quadrants", frame);
      show(stage.current());
    }
  }
  return ok();
}

std::string resize(Stage& stage, std::istringstream& words) {
  StageDrawable& window = stage.drawable(next<std::string>(words));
  window.width = next<int>(words);
  window.height = next<int>(words);
  XResizeWindow(window.display, window.id, static_cast<unsigned>(window.width),
                static_cast<unsigned>(window.height));
  XSync(window.display, False);
  return ok();
}

std::string move(Stage& stage, std::istringstream& words) {
  const StageDrawable& window = stage.drawable(next<std::string>(words));
  const int x = next<int>(words), y = next<int>(words);
  XMoveWindow(window.display, window.id, x, y);
  XSync(window.display, False);
  return ok();
}

std::string map(Stage& stage, std::istringstream& words) {
  const StageDrawable& window = stage.drawable(next<std::string>(words));
  XMapWindow(window.display, window.id);
  XSync(window.display, False);
  return ok();
}

std::string unmap(Stage& stage, std::istringstream& words) {
  const StageDrawable& window = stage.drawable(next<std::string>(words));
  XUnmapWindow(window.display, window.id);
  XSync(window.display, False);
  return ok();
}

std::string destroyWindow(Stage& stage, std::istringstream& words) {
  stage.destroyWindow(next<std::string>(words));
  return ok();
}

std::string destroyContext(Stage& stage, std::istringstream& words) {
  stage.destroyContext(next<std::string>(words));
  return ok();
}

std::string release(Stage& stage, std::istringstream&) {
  stage.release();
  return ok();
}

std::string makeSharedTexture(Stage&, std::istringstream& words) {
  makeTexture(next<int>(words));
  return ok();
}

std::string text(const void* value) {
  return value == nullptr ? "(none)" : static_cast<const char*>(value);
}

std::string renderer(Stage&, std::istringstream&) {
  return ok(text(glGetString(GL_RENDERER)));
}

std::string clientVendor(Stage& stage, std::istringstream&) {
  return ok(text(glXGetClientString(stage.display(), GLX_VENDOR)));
}

std::string currentWindow(Stage&, std::istringstream&) {
  return ok(hex(glXGetCurrentDrawable()));
}

std::string errors(Stage& stage, std::istringstream&) {
  XSync(stage.display(), False);
  return ok(std::to_string(xErrors));
}

std::string closeDisplay(Stage& stage, std::istringstream&) {
  stage.closeDisplay();
  return ok();
}

std::string openOwnDisplay(Stage& stage, std::istringstream&) {
  stage.openOwnDisplay();
  return ok();
}

// Many windows one after the other, each with frames of its own.
std::string cycle(Stage& stage, std::istringstream& words) {
  const int count = next<int>(words);
  for (int i = 1; i <= count; ++i) {
    stage.createWindow("cycled", 64 + i % 7, 48, 24, true, 0, 0);
    stage.createContext("cycled", "cycled", "");
    stage.makeCurrent("cycled", "cycled");
    for (int frame = 1; frame <= 2; ++frame) {
      drawFrame(stage, "bar", frame);
      show(stage.current());
    }
    stage.release();
    stage.destroyContext("cycled");
    stage.destroyWindow("cycled");
  }
  return ok();
}

// A child that ends at once, by exit() or _exit(); its status.
std::string forkChild(Stage&, std::istringstream& words) {
  const auto ending = next<std::string>(words);
  const pid_t child = fork();
  if (child == 0) {
    isForkedChild = true;
    if (ending == "exit") std::exit(7);
    _exit(7);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("fork failed");
  return ok(WIFEXITED(status) ? "status " + std::to_string(WEXITSTATUS(status))
                              : "signal " + std::to_string(WTERMSIG(status)));
}

std::string endAtOnce(Stage&, std::istringstream& words) {
  _exit(next<int>(words));
}

std::string end(Stage&, std::istringstream& words) {
  std::exit(next<int>(words));
}

const Commands kCommands = {
    {"window", makeWindow},            // NAME WIDTH HEIGHT DEPTH double|single [X Y]: its id
    {"context", makeContext},          // NAME WINDOW [SHARED-WITH]
    {"current", makeCurrent},          // WINDOW CONTEXT
    {"release", release},              //
    {"draw", drawPicture},             // PICTURE FRAME
    {"show", showWindow},              // WINDOW
    {"frames", showFrames},            // PICTURE FIRST LAST
    {"alternate", alternate},          // WINDOW WINDOW CONTEXT CONTEXT LAST
    {"texture", makeSharedTexture},    // FRAME
    {"resize", resize},                // WINDOW WIDTH HEIGHT
    {"move", move},                    // WINDOW X Y
    {"map", map},                      // WINDOW
    {"unmap", unmap},                  // WINDOW
    {"destroy", destroyWindow},        // WINDOW
    {"forget", destroyContext},        // CONTEXT
    {"cycle", cycle},                  // COUNT
    {"renderer", renderer},            //
    {"vendor", clientVendor},          //
    {"current-window", currentWindow}, //
    {"errors", errors},                // how many X errors there were
    {"own-display", openOwnDisplay},   // for the thread
    {"close-display", closeDisplay},   //
    {"fork", forkChild},               // exit|_exit
    {"exit", end},                     // STATUS
    {"_exit", endAtOnce},              // STATUS
};

Command find(const std::string& verb) {
  for (const Commands* commands :
       {&kCommands, &configCommands(), &drawableCommands(), &faultCommands(), &fontCommands(),
        &oldGlCommands(), &procedureCommands(), &processCommands()}) {
    const auto found = commands->find(verb);
    if (found != commands->end()) return found->second;
  }
  throw std::runtime_error("no such command: " + verb);
}

} // namespace

void countXErrors() {
  XSetErrorHandler(countXError);
}

std::string perform(Stage& stage, const std::string& line) {
  std::istringstream words(line);
  const auto verb = next<std::string>(words);
  return find(verb)(stage, words);
}

} // namespace zol::endtoend
