#include "frame_counter.h"

#include <algorithm>

namespace zol::bench {

namespace {

bool overlap(const XRectangle& a, const XRectangle& b) {
  return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
}

} // namespace

bool FrameCounter::paint(const XRectangle& area) {
  const bool isNext = painted_.empty() ||
                      std::any_of(painted_.begin(), painted_.end(),
                                  [&](const XRectangle& other) { return overlap(area, other); });
  if (isNext) {
    painted_.clear();
    ++frames_;
  }
  painted_.push_back(area);
  return isNext;
}

} // namespace zol::bench
