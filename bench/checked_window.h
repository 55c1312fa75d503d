#pragma once

#include "size.h"

#include <X11/Xlib.h>

#include <memory>
#include <string>

namespace zol::bench {

// A mapped window whose state is asked for as after each frame.
class CheckedWindow {
public:
  // Throws std::runtime_error that names the display.
  CheckedWindow(const std::string& displayName, Size size);
  // Throws std::runtime_error when the server gives no answer.
  void check();

private:
  struct CloseDisplay {
    void operator()(Display* display) const { XCloseDisplay(display); }
  };
  std::unique_ptr<Display, CloseDisplay> display_;
  XExtCodes* extension_ = nullptr;
  Window window_ = None;
};

} // namespace zol::bench
