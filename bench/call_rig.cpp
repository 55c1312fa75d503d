#include "call_rig.h"

#include <stdexcept>

namespace zol::bench {

namespace {

constexpr char kNullDriver[] = "libGLX_zolnull.so.0";
constexpr unsigned kWindowSize = 300;

// Leaves the connection with so many visuals, of each depth its share.
void keepVisuals(Display* display, int wanted) {
  Screen* const screen = DefaultScreenOfDisplay(display);
  int all = 0;
  for (int i = 0; i < screen->ndepths; ++i)
    all += screen->depths[i].nvisuals;
  if (wanted > all) {
    throw std::runtime_error("the application display has " + std::to_string(all) + " visuals");
  }
  for (int i = 0; i < screen->ndepths; ++i)
    screen->depths[i].nvisuals = screen->depths[i].nvisuals * wanted / all;
}

} // namespace

CallRig::CallRig(int visuals) : drivers_(kNullDriver) {
  keepVisuals(display(), visuals);
  if (!ours_.enter()) throw std::runtime_error("the library does not serve this display");
  drivers_.enter();
  if (ours_.find("glBlitFramebuffer") != drivers_.find("glBlitFramebuffer")) {
    throw std::runtime_error("the library has another driver than the null driver");
  }
}

XVisualInfo CallRig::visual() const {
  int request[] = {GLX_RGBA, GLX_DOUBLEBUFFER, None};
  XVisualInfo* const chosen =
      GL_OF(ours_, glXChooseVisual)(display(), DefaultScreen(display()), request);
  if (chosen == nullptr) throw std::runtime_error("no double-buffered visual is to be had");
  const XVisualInfo copy = *chosen;
  XFree(chosen);
  return copy;
}

Window CallRig::createWindow() const {
  const XVisualInfo chosen = visual();
  const Window root = RootWindow(display(), chosen.screen);
  XSetWindowAttributes attributes{};
  attributes.colormap = XCreateColormap(display(), root, chosen.visual, AllocNone);
  attributes.override_redirect = True;
  const Window window =
      XCreateWindow(display(), root, 0, 0, kWindowSize, kWindowSize, 0, chosen.depth, InputOutput,
                    chosen.visual, CWBorderPixel | CWColormap | CWOverrideRedirect, &attributes);
  XMapWindow(display(), window);
  XSync(display(), False);
  return window;
}

GLXContext CallRig::createContext() const {
  XVisualInfo chosen = visual();
  GLXContext const context = GL_OF(ours_, glXCreateContext)(display(), &chosen, nullptr, True);
  if (context == nullptr) throw std::runtime_error("no context is to be had");
  return context;
}

void CallRig::makeCurrent(Window window, GLXContext context) const {
  if (!GL_OF(ours_, glXMakeCurrent)(display(), window, context)) {
    throw std::runtime_error("the context cannot be made current on the window");
  }
}

} // namespace zol::bench
