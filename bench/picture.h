#pragma once

#include "size.h"

#include <X11/Xlib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zol::bench {

// What a window shows: rows of red, green and blue bytes, top row first, without gaps.
class Picture {
public:
  // The part of the window that lies on the screen. Nothing when it is not to be had: the window is
  // gone, not viewable or off the screen.
  static std::optional<Picture> ofWindow(Display* display, Window window);

  Size size() const { return size_; }
  // Whether all pixels are the same.
  bool isBlank() const;
  // Throws std::runtime_error that names the file.
  void writePng(const std::string& path) const;

private:
  Size size_;
  std::vector<uint8_t> pixels_;
};

} // namespace zol::bench
