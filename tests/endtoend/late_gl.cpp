// late_gl [TIMES]: shows a frame with a libGL that it loads at run time and lets go of again, as
// programs with a plug-in for their graphics do. Says "shown 0xWINDOW" and "closed", and goes on
// after each line that it is sent.

#include <GL/glx.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <iostream>
#include <string>

namespace {

void* library = nullptr;

template <class Function>
Function* load(const char* name) {
  auto* const function = reinterpret_cast<Function*>(dlsym(library, name));
  if (function == nullptr) {
    std::cerr << name << " is missing\n";
    std::exit(1);
  }
  return function;
}

#define LOAD(name) load<decltype(name)>(#name)

Window showFrame(Display* display) {
  int wanted[] = {GLX_RGBA, GLX_DOUBLEBUFFER, GLX_RED_SIZE, 8, None};
  XVisualInfo* const visual = LOAD(glXChooseVisual)(display, DefaultScreen(display), wanted);
  if (visual == nullptr) return None;
  const Window root = DefaultRootWindow(display);
  XSetWindowAttributes attributes{};
  attributes.colormap = XCreateColormap(display, root, visual->visual, AllocNone);
  attributes.override_redirect = True;
  const Window window =
      XCreateWindow(display, root, 0, 0, 64, 64, 0, visual->depth, InputOutput, visual->visual,
                    CWBorderPixel | CWColormap | CWOverrideRedirect, &attributes);
  XMapWindow(display, window);
  const GLXContext context = LOAD(glXCreateContext)(display, visual, nullptr, True);
  XFree(visual);
  if (context == nullptr || !LOAD(glXMakeCurrent)(display, window, context)) return None;
  LOAD(glClearColor)(1, 0, 1, 1);
  LOAD(glClear)(GL_COLOR_BUFFER_BIT);
  LOAD(glXSwapBuffers)(display, window);
  XSync(display, False);
  return window;
}

} // namespace

int main(int argc, char** argv) {
  std::string line;
  Display* const display = XOpenDisplay(nullptr);
  for (int times = argc > 1 ? std::atoi(argv[1]) : 1; times > 0; --times) {
    library = dlopen("libGL.so.1", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr || display == nullptr) return 1;
    const Window window = showFrame(display);
    if (window == None) return 1;
    std::printf("shown 0x%lx\n", window);
    std::fflush(stdout);
    std::getline(std::cin, line);
    LOAD(glXSwapBuffers)(display, window);
    LOAD(glXMakeCurrent)(display, None, nullptr);
    dlclose(library);
    std::puts("closed");
    std::fflush(stdout);
    std::getline(std::cin, line);
  }
  XCloseDisplay(display);
  return 0;
}
