#pragma once

#include "size.h"
#include "x_connection.h"

#include <GL/glx.h>

#include <string>

namespace zol::bench {

// A mapped window with a double-buffered visual and a current context, made with GLX 1.2 alone.
class GlWindow {
public:
  // Throws std::runtime_error that says what the display lacks.
  GlWindow(XConnection& connection, Size size, const char* title, XPoint position = {});
  ~GlWindow();
  GlWindow(const GlWindow&) = delete;
  GlWindow& operator=(const GlWindow&) = delete;

  Window id() const { return window_; }
  void makeCurrent() const;
  void swapBuffers() const { glXSwapBuffers(display_, window_); }
  // True once for each change of the window's size, which is then in *size.
  bool takeResize(Size* size) const;

private:
  Display* const display_;
  Colormap colormap_ = None;
  Window window_ = None;
  GLXContext context_ = nullptr;
};

// The vendor libraries that GLVND has loaded into this process, in the order of their names:
// "libGLX_mesa.so.0", say.
std::string loadedVendors();

} // namespace zol::bench
