#pragma once

#include <X11/Xlib.h>

#include <vector>

namespace zol::bench {

// Tells frames apart by what is painted: a frame may arrive in several paints side by side (a large
// image is sent in bands), and a paint over something that the frame has painted already begins the
// next one.
class FrameCounter {
public:
  // True when the paint begins a new frame.
  bool paint(const XRectangle& area);
  int frames() const { return frames_; }

private:
  std::vector<XRectangle> painted_; // by the current frame
  int frames_ = 0;
};

} // namespace zol::bench
