#include "rig/window_rig.h"

namespace zol::rig {

void WindowRig::open(unsigned width, unsigned height) {
  openFor(&Visuals::doubled, width, height);
}

void WindowRig::openFor(XVisualInfo Visuals::*visual, unsigned width, unsigned height) {
  start();
  outside::holdDeliveries();
  display_ = openDisplay();
  context_ = createContext(display_, visuals_.*visual);
  window_ = createWindow(display_, visuals_.*visual, width, height);
  forget();
}

void WindowRig::bind(GLXDrawable drawable, GLXContext context) {
  ASSERT_EQ(makeCurrent(display_, drawable, context), True);
  forget();
}

void WindowRig::pastFrame(Window window) {
  swap(display_, window);
  forget();
}

void WindowRig::resizeWindow(Window window, unsigned width, unsigned height) {
  XResizeWindow(display_, window, width, height);
  XSync(display_, False);
}

void WindowRig::moveWindow(Window window, int x, int y) {
  XMoveWindow(display_, window, x, y);
  XSync(display_, False);
}

void WindowRig::mapWindow(Window window) {
  XMapWindow(display_, window);
  XSync(display_, False);
}

void WindowRig::unmapWindow(Window window) {
  XUnmapWindow(display_, window);
  XSync(display_, False);
}

void WindowRig::destroyWindow(Window window) {
  XDestroyWindow(display_, window);
  XSync(display_, False);
}

} // namespace zol::rig
