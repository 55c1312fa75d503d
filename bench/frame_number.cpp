#include "frame_number.h"

#include <GL/gl.h>
#include <X11/Xutil.h>

namespace zol::bench {

namespace {

constexpr int kSquare = 4; // pixels

float channel(int number, int shift) {
  return static_cast<float>(number >> shift & 0xff) / 255;
}

std::optional<int> pixelAt(Display* display, Window window, int x, int y) {
  XImage* const image = XGetImage(display, window, x, y, 1, 1, AllPlanes, ZPixmap);
  if (!image) return std::nullopt;
  const auto pixel = static_cast<int>(XGetPixel(image, 0, 0) & 0xffffff);
  XDestroyImage(image);
  return pixel;
}

} // namespace

void drawFrameNumber(int number, Size window) {
  glEnable(GL_SCISSOR_TEST);
  glClearColor(channel(number, 16), channel(number, 8), channel(number, 0), 1);
  for (const int y : {0, window.height - kSquare}) {
    glScissor(0, y, kSquare, kSquare);
    glClear(GL_COLOR_BUFFER_BIT);
  }
  glClearColor(0, 0, 0, 0);
  glDisable(GL_SCISSOR_TEST);
}

std::optional<int> shownFrameNumber(Display* display, Window window, Size size) {
  const auto first = pixelAt(display, window, 0, 0);
  return first && first == pixelAt(display, window, 0, size.height - 1) ? first : std::nullopt;
}

} // namespace zol::bench
