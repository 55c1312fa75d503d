#pragma once

#include "rig/fixture.h"

namespace zol::rig {

// A window of the application and a context for it; deliveries are held until the test lets them.
class WindowRig : public Rig {
protected:
  // Neither is current yet.
  void open(unsigned width = 64, unsigned height = 48);
  // The same for a window and a context of this visual.
  void openFor(XVisualInfo Visuals::*visual, unsigned width = 64, unsigned height = 48);
  // Makes them current, and forgets how.
  void bind(GLXDrawable drawable, GLXContext context);
  // One frame, of which nothing is looked at.
  void pastFrame() { pastFrame(window_); }
  void pastFrame(Window window);

  // What a program, or a person, does to a window; the server has done it when they return.
  void resizeWindow(Window window, unsigned width, unsigned height);
  void moveWindow(Window window, int x, int y);
  void mapWindow(Window window);
  void unmapWindow(Window window);
  void destroyWindow(Window window);

  Display* display_ = nullptr;
  GLXContext context_ = nullptr;
  Window window_ = 0;
};

} // namespace zol::rig
