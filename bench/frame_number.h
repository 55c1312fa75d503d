#pragma once

#include "size.h"

#include <X11/Xlib.h>

#include <optional>

namespace zol::bench {

// A frame's number in its picture: the colour of two small squares, in the first and in the last
// rows of the window, so that a frame that has arrived in part is not taken for a whole one.
// Numbers are of 24 bits; what no frame has been drawn into shows 0 or no number.

// Draws it with the current context.
void drawFrameNumber(int number, Size window);

// The number that the window shows; nothing when the squares differ or the window is not viewable.
std::optional<int> shownFrameNumber(Display* display, Window window, Size size);

} // namespace zol::bench
