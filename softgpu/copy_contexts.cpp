#include "softgpu/copy_contexts.h"

#include "softgpu/current_binding.h"
#include "softgpu/driver.h"
#include "softgpu/error_trap.h"

#include <new>
#include <utility>

namespace zol::softgpu {

CopyContexts::~CopyContexts() {
  const std::lock_guard lock(mutex_);
  if (closed_) return;
  finish();
  destroyIdle();
}

CopyContexts::Loan::~Loan() {
  if (!context_) return;
  const std::lock_guard lock(from_.mutex_);
  if (!from_.closed_) from_.idle_.push_back(context_); // never grows: take() has reserved the place
}

void CopyContexts::prepareToFinishLater() try {
  const std::lock_guard lock(mutex_);
  if (!closed_ && !std::exchange(placeTried_, true)) place_ = createPlace();
} catch (const std::bad_alloc&) {
  // Contexts are waited for when they are let go of.
}

bool CopyContexts::canFinishLater() {
  const std::lock_guard lock(mutex_);
  return !closed_ && place_ != None;
}

GLXPbuffer CopyContexts::createPlace() const {
  const int attributes[] = {GLX_PBUFFER_WIDTH, 1, GLX_PBUFFER_HEIGHT, 1, None};
  ErrorTrap trap(display_);
  const GLXPbuffer place = driver.glXCreatePbuffer(display_, config_, attributes);
  if (place == None || !trap.caught()) return place;
  driver.glXDestroyPbuffer(display_, place);
  return None;
}

// Mesa's rasterizer draws what it is given in order, for all contexts of a display's screen: when
// one has finished, all those let go of before have.
void CopyContexts::finish() {
  if (place_ == None) return;
  if (!idle_.empty()) {
    CurrentBinding binding;
    if (binding.replace(display_, place_, place_, idle_.front())) driver.glFinish();
  }
  driver.glXDestroyPbuffer(display_, place_);
  place_ = None;
}

void CopyContexts::displayCloses() {
  const std::lock_guard lock(mutex_);
  finish();
  destroyIdle();
  closed_ = true;
}

GLXContext CopyContexts::take() {
  const std::lock_guard lock(mutex_);
  if (closed_) return nullptr;
  if (!idle_.empty()) {
    GLXContext context = idle_.back();
    idle_.pop_back();
    return context;
  }
  try {
    idle_.reserve(created_ + 1);
    GLXContext context = create();
    created_ += context ? 1 : 0;
    return context;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

GLXContext CopyContexts::create() const {
  int renderTypes = 0;
  driver.glXGetFBConfigAttrib(display_, config_, GLX_RENDER_TYPE, &renderTypes);
  const int type = renderTypes & GLX_RGBA_BIT ? GLX_RGBA_TYPE : GLX_RGBA_FLOAT_TYPE_ARB;
  ErrorTrap trap(display_);
  GLXContext context = driver.glXCreateNewContext(display_, config_, type, nullptr, True);
  if (!context || (!trap.caught() && driver.glXIsDirect(display_, context))) return context;
  driver.glXDestroyContext(display_, context);
  return nullptr;
}

void CopyContexts::destroyIdle() {
  for (GLXContext context : idle_)
    driver.glXDestroyContext(display_, context);
  idle_.clear();
}

} // namespace zol::softgpu
