#include "checked_window.h"

#include "display/zol_ext.h"

#include <stdexcept>

namespace zol::bench {

CheckedWindow::CheckedWindow(const std::string& displayName, Size size)
    : display_(XOpenDisplay(displayName.c_str())) {
  Display* const display = display_.get();
  if (!display) throw std::runtime_error("cannot open the display '" + displayName + "'");
  extension_ = XInitExtension(display, ZOL_EXT_NAME);
  if (!extension_) throw std::runtime_error("'" + displayName + "' is no application display");
  window_ = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0,
                                static_cast<unsigned>(size.width),
                                static_cast<unsigned>(size.height), 0, 0, 0);
  XMapWindow(display, window_);
  XSync(display, False);
}

void CheckedWindow::check() {
  Bool visible = False;
  VisualID visual = 0;
  int rect[4];
  if (!XZolExtGetWindowInfo(display_.get(), extension_, window_, &visible, &visual, rect))
    throw std::runtime_error("the application display does not answer");
}

} // namespace zol::bench
