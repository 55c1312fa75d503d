#include "softgpu/current_binding.h"

#include "softgpu/driver.h"

namespace zol::softgpu {

CurrentBinding::CurrentBinding()
    : display_(driver.glXGetCurrentDisplay()), draw_(driver.glXGetCurrentDrawable()),
      read_(driver.glXGetCurrentReadDrawable()), context_(driver.glXGetCurrentContext()) {
  if (context_) driver.glFinish();
}

CurrentBinding::~CurrentBinding() {
  if (context_)
    driver.glXMakeContextCurrent(display_, draw_, read_, context_);
  else if (replacedBy_)
    driver.glXMakeContextCurrent(replacedBy_, None, None, nullptr);
}

bool CurrentBinding::replace(Display* display, GLXDrawable draw, GLXDrawable read,
                             GLXContext context) {
  replacedBy_ = display;
  return driver.glXMakeContextCurrent(display, draw, read, context);
}

} // namespace zol::softgpu
