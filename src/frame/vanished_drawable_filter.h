#pragma once

#include <X11/Xlib.h>

#include <memory>

namespace zol::gl {

// Takes the X errors that a drawable raises on one connection because it is gone, so that they do
// not reach the program's error handler, which may end the program. Every other error goes its
// usual way. The filter must outlive the connection: Xlib knows it until then.
class VanishedDrawableFilter {
public:
  explicit VanishedDrawableFilter(Display* display);
  ~VanishedDrawableFilter();
  VanishedDrawableFilter(const VanishedDrawableFilter&) = delete;
  VanishedDrawableFilter& operator=(const VanishedDrawableFilter&) = delete;

private:
  struct Handler; // Xlib's record, kept out of this header with the macros that it brings
  const std::unique_ptr<Handler> handler_;
};

} // namespace zol::gl
