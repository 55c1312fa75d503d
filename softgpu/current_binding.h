#pragma once

#include "softgpu/gl_headers.h"

namespace zol::softgpu {

// What the driver has current in the calling thread. The constructor sees to it that everything
// drawn so far is in the buffers; the destructor makes the same current again.
class CurrentBinding {
public:
  CurrentBinding();
  ~CurrentBinding();
  CurrentBinding(const CurrentBinding&) = delete;
  CurrentBinding& operator=(const CurrentBinding&) = delete;

  // Makes another context current in its place. False when the driver refuses.
  bool replace(Display* display, GLXDrawable draw, GLXDrawable read, GLXContext context);

private:
  Display* display_;
  GLXDrawable draw_;
  GLXDrawable read_;
  GLXContext context_;
  Display* replacedBy_ = nullptr; // display of the last context put in its place
};

} // namespace zol::softgpu
