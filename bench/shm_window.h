#pragma once

#include "size.h"

#include <X11/Xlib.h>
#include <X11/extensions/XShm.h>

#include <memory>
#include <string>

namespace zol::bench {

// A mapped window that is painted from shared memory, as a finished frame is.
class ShmWindow {
public:
  // Throws std::runtime_error that says what the display lacks.
  ShmWindow(const std::string& displayName, Size size);
  ~ShmWindow();
  ShmWindow(const ShmWindow&) = delete;
  ShmWindow& operator=(const ShmWindow&) = delete;

  void ask();                    // one request and its reply
  void copy(const void* pixels); // rows of 4 bytes a pixel without gaps
  void paint();                  // and waits until it is done

private:
  void share(const std::string& displayName);

  struct CloseDisplay {
    void operator()(Display* display) const { XCloseDisplay(display); }
  };
  std::unique_ptr<Display, CloseDisplay> display_;
  const Size size_;
  Window window_ = None;
  XImage* image_ = nullptr;
  XShmSegmentInfo segment_{};
};

} // namespace zol::bench
