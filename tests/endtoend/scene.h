#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zol::endtoend {

// A filled rectangle; y counts from the top. The colour is 0xAARRGGBB.
struct Rect {
  int x;
  int y;
  int width;
  int height;
  std::uint32_t colour;
};

// The rectangles of a known picture, to be drawn in this order: "quadrants" (four colours, each
// corner marked) or "bar" (a bar that moves with the frame, and the frame's number). Every frame
// differs from the one before. Anything else is an std::invalid_argument.
std::vector<Rect> scene(const std::string& name, int frame, int width, int height);

} // namespace zol::endtoend
