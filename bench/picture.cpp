#include "picture.h"

#include "x_connection.h"

#include <X11/Xutil.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <memory>
#include <png.h>
#include <stdexcept>

namespace zol::bench {

namespace {

constexpr size_t kBytesPerPixel = 3;

struct DestroyImage {
  void operator()(XImage* image) const { XDestroyImage(image); }
};
using Image = std::unique_ptr<XImage, DestroyImage>;

// The channel that `mask` selects, as a byte.
uint8_t channel(unsigned long pixel, unsigned long mask) {
  if (mask == 0) return 0;
  const unsigned long highest = mask >> std::countr_zero(mask);
  return static_cast<uint8_t>(((pixel & mask) >> std::countr_zero(mask)) * 255 / highest);
}

struct Rows {
  int first;
  int count;
};

// The part of `length` pixels from `start` on that a screen of `limit` pixels shows.
Rows visiblePart(int start, int length, int limit) {
  const int first = std::max(0, -start);
  return {first, std::min(length, limit - start) - first};
}

Image imageOf(Display* display, Window window, const XWindowAttributes& attributes) {
  int x = 0;
  int y = 0;
  Window child = None;
  XTranslateCoordinates(display, window, attributes.root, 0, 0, &x, &y, &child);
  const Rows columns = visiblePart(x, attributes.width, WidthOfScreen(attributes.screen));
  const Rows rows = visiblePart(y, attributes.height, HeightOfScreen(attributes.screen));
  if (columns.count <= 0 || rows.count <= 0) return nullptr;
  return Image(XGetImage(display, window, columns.first, rows.first,
                         static_cast<unsigned>(columns.count), static_cast<unsigned>(rows.count),
                         AllPlanes, ZPixmap));
}

} // namespace

std::optional<Picture> Picture::ofWindow(Display* display, Window window) {
  const ServerGrab grab(display);
  XWindowAttributes attributes;
  if (!XGetWindowAttributes(display, window, &attributes)) return std::nullopt;
  const Visual& visual = *attributes.visual;
  if (visual.c_class != TrueColor && visual.c_class != DirectColor) {
    throw std::runtime_error("the window's visual has no channels for red, green and blue");
  }
  const Image image = imageOf(display, window, attributes);
  if (!image) return std::nullopt;

  Picture picture;
  picture.size_ = {image->width, image->height};
  picture.pixels_.reserve(kBytesPerPixel * static_cast<size_t>(image->width) *
                          static_cast<size_t>(image->height));
  for (int y = 0; y < image->height; ++y) {
    for (int x = 0; x < image->width; ++x) {
      const unsigned long pixel = XGetPixel(image.get(), x, y);
      for (const unsigned long mask : {visual.red_mask, visual.green_mask, visual.blue_mask})
        picture.pixels_.push_back(channel(pixel, mask));
    }
  }
  return picture;
}

bool Picture::isBlank() const {
  // Each pixel equals the one before it.
  return std::equal(pixels_.begin() + kBytesPerPixel, pixels_.end(), pixels_.begin());
}

void Picture::writePng(const std::string& path) const {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(size_.width);
  image.height = static_cast<png_uint_32>(size_.height);
  image.format = PNG_FORMAT_RGB;
  if (!png_image_write_to_file(&image, path.c_str(), 0, pixels_.data(), 0, nullptr)) {
    throw std::runtime_error("cannot write the picture '" + path + "': " + image.message);
  }
}

} // namespace zol::bench
