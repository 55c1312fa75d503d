#include "softgpu/pbuffer.h"

#include "softgpu/current_binding.h"
#include "softgpu/driver.h"
#include "softgpu/error_trap.h"

#include <new>
#include <utility>

namespace zol::softgpu {
namespace {

int attribute(Display* display, GLXFBConfig config, int name) {
  int value = 0;
  driver.glXGetFBConfigAttrib(display, config, name, &value);
  return value;
}

std::pair<int, int> sizeOf(Display* display, GLXDrawable drawable) {
  unsigned int width = 0;
  unsigned int height = 0;
  driver.glXQueryDrawable(display, drawable, GLX_WIDTH, &width);
  driver.glXQueryDrawable(display, drawable, GLX_HEIGHT, &height);
  return {static_cast<int>(width), static_cast<int>(height)};
}

} // namespace

Pbuffer::Pbuffer(Display* display, GLXPbuffer id, GLXFBConfig config,
                 std::shared_ptr<CopyContexts> copies)
    : display_(display), id_(id), config_(config), copies_(std::move(copies)) {}

Pbuffer::~Pbuffer() {
  if (displayClosed_) return;
  if (frontStore_ != None) driver.glXDestroyPbuffer(display_, frontStore_);
  driver.glXDestroyPbuffer(display_, id_);
}

GLXPbuffer Pbuffer::frontStore() {
  const std::lock_guard lock(mutex_);
  return frontStoreLocked();
}

GLXPbuffer Pbuffer::frontStoreLocked() {
  if (state_ == State::untried) {
    state_ = createFrontStore() ? State::ready : State::unavailable;
    if (state_ == State::ready) copies_->prepareToFinishLater();
  }
  return frontStore_;
}

bool Pbuffer::createFrontStore() try {
  const auto size = sizeOf(display_, id_);
  const int attributes[] = {GLX_PBUFFER_WIDTH,
                            size.first,
                            GLX_PBUFFER_HEIGHT,
                            size.second,
                            GLX_PRESERVED_CONTENTS,
                            True,
                            None};
  ErrorTrap trap(display_);
  const GLXPbuffer store = driver.glXCreatePbuffer(display_, config_, attributes);
  if (store == None) return false;
  if (trap.caught() || sizeOf(display_, store) != size || !CopyContexts::Loan(*copies_).context()) {
    driver.glXDestroyPbuffer(display_, store);
    return false;
  }
  frontStore_ = store;
  width_ = size.first;
  height_ = size.second;
  if (attribute(display_, config_, GLX_DEPTH_SIZE) > 0) depthBuffers_ |= GL_DEPTH_BUFFER_BIT;
  if (attribute(display_, config_, GLX_STENCIL_SIZE) > 0) depthBuffers_ |= GL_STENCIL_BUFFER_BIT;
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool Pbuffer::copy(GLXPbuffer to, GLXPbuffer from, const Area& area, GLbitfield buffers) {
  const CopyContexts::Loan loan(*copies_);
  CurrentBinding binding;
  if (!loan.context() || !binding.replace(display_, to, from, loan.context())) return false;
  const int right = area.x + area.width;
  const int top = area.y + area.height;
  driver.glBlitFramebuffer(area.x, area.y, right, top, area.x, area.y, right, top, buffers,
                           GL_NEAREST);
  driver.glFinish();
  return true;
}

bool Pbuffer::showLocked(const Area& area) {
  return copy(frontStore_, id_, area, GL_COLOR_BUFFER_BIT);
}

bool Pbuffer::swap() {
  const std::lock_guard lock(mutex_);
  return frontStoreLocked() != None && showLocked(whole());
}

bool Pbuffer::swap(const Area& area) {
  const std::lock_guard lock(mutex_);
  return frontStoreLocked() != None && showLocked(area);
}

void Pbuffer::refresh() {
  if (!stale_.load(std::memory_order_acquire)) return;
  const std::lock_guard lock(mutex_);
  if (frontStoreLocked() != None && stale_.exchange(false)) showLocked(whole());
}

GLXPbuffer Pbuffer::depthHolder() {
  const std::lock_guard lock(mutex_);
  return depthInFrontStore_ ? frontStore_ : id_;
}

void Pbuffer::moveDepth(bool toFrontStore) {
  const std::lock_guard lock(mutex_);
  if (frontStore_ == None || depthInFrontStore_ == toFrontStore || depthBuffers_ == 0) return;
  const auto [to, from] = toFrontStore ? std::pair(frontStore_, id_) : std::pair(id_, frontStore_);
  if (copy(to, from, whole(), depthBuffers_)) depthInFrontStore_ = toFrontStore;
}

bool Pbuffer::finishesLater() {
  const std::lock_guard lock(mutex_);
  return state_ == State::untried && copies_->canFinishLater();
}

void Pbuffer::displayCloses(bool inUse) {
  const std::lock_guard lock(mutex_);
  if (frontStore_ != None && !inUse) driver.glXDestroyPbuffer(display_, frontStore_);
  frontStore_ = None;
  state_ = State::unavailable;
  displayClosed_ = true;
}

} // namespace zol::softgpu
