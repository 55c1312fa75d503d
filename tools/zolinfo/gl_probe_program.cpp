// The process that asks as a GL program would: it loads GL by name, so that the tool runs and can
// say so where there is none.

#include "gl_probe.h"

#include <GL/gl.h>
#include <GL/glx.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <memory>
#include <optional>
#include <set>

namespace zol::tools {

namespace {

struct GL {
  decltype(&::glXGetClientString) getClientString;
  decltype(&::glXQueryServerString) queryServerString;
  decltype(&::glXGetConfig) getConfig;
  decltype(&::glXCreateContext) createContext;
  decltype(&::glXMakeCurrent) makeCurrent;
  decltype(&::glXIsDirect) isDirect;
  decltype(&::glXSwapBuffers) swapBuffers;
  decltype(&::glGetString) getString;
  decltype(&::glFinish) finish;
};

// No value, and the reason, where GL is not there.
std::optional<GL> loadGL(const char*& reason) {
  void* const library = dlopen("libGL.so.1", RTLD_NOW | RTLD_GLOBAL);
  if (!library) {
    reason = dlerror();
    return std::nullopt;
  }
  const auto find = [&](auto& function, const char* name) {
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
    return function != nullptr;
  };
  GL gl;
  const bool isWhole =
      find(gl.getClientString, "glXGetClientString") &&
      find(gl.queryServerString, "glXQueryServerString") && find(gl.getConfig, "glXGetConfig") &&
      find(gl.createContext, "glXCreateContext") && find(gl.makeCurrent, "glXMakeCurrent") &&
      find(gl.isDirect, "glXIsDirect") && find(gl.swapBuffers, "glXSwapBuffers") &&
      find(gl.getString, "glGetString") && find(gl.finish, "glFinish");
  if (isWhole) return gl;
  reason = "libGL.so.1 lacks functions of GLX 1.2";
  return std::nullopt;
}

template <typename T>
struct XFreed {
  void operator()(T* memory) const { XFree(memory); }
};
using Visuals = std::unique_ptr<XVisualInfo[], XFreed<XVisualInfo>>;

void write(const char* key, const void* text) {
  printf("%s %s\n", key, text ? static_cast<const char*>(text) : "");
  fflush(stdout); // whatever happens next, this is known
}

void writeVendorLibraries() {
  std::ifstream maps("/proc/self/maps");
  std::set<std::string> seen;
  for (std::string line; std::getline(maps, line);) {
    const size_t path = line.find('/');
    if (path == std::string::npos) continue;
    std::string file = line.substr(path);
    if (file.find("/libGLX_") == std::string::npos || !seen.insert(file).second) continue;
    write("library", file.c_str());
  }
}

char firstXError[256];

int keepError(Display* display, XErrorEvent* event) {
  if (!*firstXError) {
    XGetErrorText(display, event->error_code, firstXError, sizeof firstXError);
  }
  return 0;
}

const char* className(int visualClass) {
  constexpr const char* kNames[] = {"StaticGray",  "GrayScale", "StaticColor",
                                    "PseudoColor", "TrueColor", "DirectColor"};
  return visualClass >= 0 && visualClass < 6 ? kNames[visualClass] : "unknown";
}

// One line a visual; true when programs can use GL with it.
bool writeVisual(const GL& gl, Display* display, XVisualInfo& visual) {
  const auto ask = [&](int attribute) {
    int value = 0;
    gl.getConfig(display, &visual, attribute, &value);
    return value;
  };
  const bool usesGL = ask(GLX_USE_GL) != 0;
  printf("visual %lu %d %s %d", visual.visualid, visual.depth, className(visual.c_class), usesGL);
  for (int attribute :
       {GLX_RGBA, GLX_DOUBLEBUFFER, GLX_ALPHA_SIZE, GLX_DEPTH_SIZE, GLX_STENCIL_SIZE, GLX_SAMPLES})
    printf(" %d", usesGL ? ask(attribute) : 0);
  printf("\n");
  return usesGL;
}

// How well a visual suits an ordinary program.
int rank(const GL& gl, Display* display, XVisualInfo& visual) {
  int doubleBuffered = 0;
  int depthSize = 0;
  gl.getConfig(display, &visual, GLX_DOUBLEBUFFER, &doubleBuffered);
  gl.getConfig(display, &visual, GLX_DEPTH_SIZE, &depthSize);
  return (doubleBuffered ? 4 : 0) + (depthSize ? 2 : 0) + (visual.depth == 24 ? 1 : 0);
}

XVisualInfo* writeVisuals(const GL& gl, Display* display, XVisualInfo* visuals, int count) {
  XVisualInfo* best = nullptr;
  int bestRank = -1;
  for (int i = 0; i < count; ++i) {
    if (!writeVisual(gl, display, visuals[i])) continue;
    const int itsRank = rank(gl, display, visuals[i]);
    if (itsRank <= bestRank) continue;
    bestRank = itsRank;
    best = &visuals[i];
  }
  fflush(stdout);
  return best;
}

Window makeWindow(Display* display, const XVisualInfo& visual) {
  const Window root = RootWindow(display, visual.screen);
  XSetWindowAttributes attributes{};
  attributes.colormap = XCreateColormap(display, root, visual.visual, AllocNone);
  return XCreateWindow(display, root, 0, 0, 16, 16, 0, visual.depth, InputOutput, visual.visual,
                       CWBorderPixel | CWColormap, &attributes);
}

// Null for success, else what went wrong. Errors of the local display end up with ours.
const char* writeRenderer(const GL& gl, Display* display, XVisualInfo& visual) {
  const Window window = makeWindow(display, visual);
  const GLXContext context = gl.createContext(display, &visual, nullptr, True);
  XSync(display, False);
  if (!context) return "no context can be made";
  if (!gl.makeCurrent(display, window, context)) return "the context cannot be made current";
  write("direct", gl.isDirect(display, context) ? "1" : "0");
  write("renderer", gl.getString(GL_RENDERER));
  write("vendor", gl.getString(GL_VENDOR));
  write("version", gl.getString(GL_VERSION));
  gl.swapBuffers(display, window);
  gl.finish();
  gl.makeCurrent(display, None, nullptr);
  return *firstXError ? "a frame cannot be drawn" : nullptr;
}

const char* ask(const GL& gl, Display* display) {
  const int screen = DefaultScreen(display);
  write("client-vendor", gl.getClientString(display, GLX_VENDOR));
  write("client-version", gl.getClientString(display, GLX_VERSION));
  write("server-vendor", gl.queryServerString(display, screen, GLX_VENDOR));
  write("server-version", gl.queryServerString(display, screen, GLX_VERSION));
  writeVendorLibraries(); // once now, in case that the rest fails

  XVisualInfo wanted{};
  wanted.screen = screen;
  int count = 0;
  const Visuals visuals(XGetVisualInfo(display, VisualScreenMask, &wanted, &count));
  XVisualInfo* const best = writeVisuals(gl, display, visuals.get(), count);
  if (!best) return "no visual can be used with GL";
  return writeRenderer(gl, display, *best);
}

} // namespace

int runGLProbe() {
  const char* absence = nullptr;
  const std::optional<GL> gl = loadGL(absence);
  if (!gl) {
    write("error", absence);
    return 1;
  }
  Display* const display = XOpenDisplay(nullptr);
  if (!display) {
    write("error", "the display cannot be opened");
    return 1;
  }
  XSetErrorHandler(keepError);
  if (const char* reason = ask(*gl, display)) {
    const std::string error = reason + (*firstXError ? ": " + std::string(firstXError) : "");
    write("error", error.c_str());
  }
  write("end", "");
  return 0;
}

} // namespace zol::tools
