#pragma once

#include <X11/Xlib.h>

#include <memory>
#include <string>

namespace zol::bench {

// A connection to the X server of DISPLAY.
class XConnection {
public:
  // Throws std::runtime_error that names the display.
  XConnection();
  Display* get() const { return display_.get(); }
  // The display's name, for messages.
  std::string name() const { return DisplayString(get()); }

private:
  struct Close {
    void operator()(Display* display) const { XCloseDisplay(display); }
  };
  std::unique_ptr<Display, Close> display_;
};

// While it lives, the server listens to this connection alone.
class ServerGrab {
public:
  explicit ServerGrab(Display* display) : display_(display) { XGrabServer(display_); }
  ~ServerGrab() {
    XUngrabServer(display_);
    XSync(display_, False);
  }
  ServerGrab(const ServerGrab&) = delete;
  ServerGrab& operator=(const ServerGrab&) = delete;

private:
  Display* display_;
};

// X errors are counted instead of ending the process: other programs' windows may go at any time.
void countXErrors();
int xErrorCount();

} // namespace zol::bench
