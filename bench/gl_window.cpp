#include "gl_window.h"

#include <X11/Xutil.h>

#include <fstream>
#include <memory>
#include <set>
#include <stdexcept>

namespace zol::bench {

namespace {

struct FreeMemory {
  void operator()(void* memory) const { XFree(memory); }
};

} // namespace

GlWindow::GlWindow(XConnection& connection, Size size, const char* title, XPoint position)
    : display_(connection.get()) {
  int wanted[] = {GLX_RGBA, GLX_RED_SIZE,   8,  GLX_GREEN_SIZE,   8,   GLX_BLUE_SIZE,
                  8,        GLX_DEPTH_SIZE, 24, GLX_DOUBLEBUFFER, None};
  const std::unique_ptr<XVisualInfo, FreeMemory> visual(
      glXChooseVisual(display_, DefaultScreen(display_), wanted));
  if (!visual) {
    throw std::runtime_error("the display '" + connection.name() +
                             "' has no double-buffered visual with a depth buffer");
  }
  context_ = glXCreateContext(display_, visual.get(), nullptr, True);
  if (!context_) {
    throw std::runtime_error("no GL context is to be had on the display '" + connection.name() +
                             "'");
  }
  const Window root = RootWindow(display_, visual->screen);
  colormap_ = XCreateColormap(display_, root, visual->visual, AllocNone);
  XSetWindowAttributes attributes{};
  attributes.colormap = colormap_;
  attributes.event_mask = StructureNotifyMask;
  window_ = XCreateWindow(display_, root, position.x, position.y, static_cast<unsigned>(size.width),
                          static_cast<unsigned>(size.height), 0, visual->depth, InputOutput,
                          visual->visual, CWBorderPixel | CWColormap | CWEventMask, &attributes);
  XStoreName(display_, window_, title);
  XMapWindow(display_, window_);
  XEvent event;
  XWindowEvent(display_, window_, StructureNotifyMask, &event);
  while (event.type != MapNotify)
    XWindowEvent(display_, window_, StructureNotifyMask, &event);
  makeCurrent();
}

GlWindow::~GlWindow() {
  glXMakeCurrent(display_, None, nullptr);
  glXDestroyContext(display_, context_);
  XDestroyWindow(display_, window_);
  XFreeColormap(display_, colormap_);
}

void GlWindow::makeCurrent() const {
  if (!glXMakeCurrent(display_, window_, context_)) {
    throw std::runtime_error("the GL context cannot be made current on the window");
  }
}

bool GlWindow::takeResize(Size* size) const {
  const Size before = *size;
  XEvent event;
  while (XCheckWindowEvent(display_, window_, StructureNotifyMask, &event)) {
    if (event.type == ConfigureNotify) *size = {event.xconfigure.width, event.xconfigure.height};
  }
  return *size != before;
}

std::string loadedVendors() {
  std::set<std::string> names;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    // libGLX.so itself and links resolved to files with longer version numbers are left aside.
    const size_t slash = line.rfind('/');
    if (slash == std::string::npos) continue;
    const std::string file = line.substr(slash + 1);
    if (file.starts_with("libGLX_")) names.insert(file.substr(0, file.find(".so")) + ".so.0");
  }
  std::string list;
  for (const std::string& name : names)
    list += (list.empty() ? "" : " ") + name;
  return list;
}

} // namespace zol::bench
