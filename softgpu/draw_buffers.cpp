#include "softgpu/draw_buffers.h"

#include "softgpu/driver.h"

#include <algorithm>

namespace zol::softgpu {
namespace {

constexpr bool isFront(GLenum name) {
  return name == GL_FRONT || name == GL_FRONT_LEFT;
}
constexpr bool isBack(GLenum name) {
  return name == GL_BACK || name == GL_BACK_LEFT;
}
constexpr bool isBoth(GLenum name) {
  return name == GL_FRONT_AND_BACK || name == GL_LEFT;
}

} // namespace

bool isFrontForReading(GLenum name) {
  return isFront(name) || name == GL_LEFT;
}

bool acceptsForReading(GLenum name) {
  return isFrontForReading(name) || isBack(name) || name == GL_NONE;
}

DrawBuffers DrawBuffers::one(GLenum name) {
  DrawBuffers buffers;
  buffers.names_[0] = name;
  return buffers;
}

DrawBuffers DrawBuffers::list(GLsizei count, const GLenum* names) {
  DrawBuffers buffers;
  buffers.names_ = {};
  buffers.count_ = std::min(count, capacity);
  buffers.isList_ = true;
  std::copy_n(names, buffers.count_, buffers.names_.begin());
  return buffers;
}

DrawBuffers DrawBuffers::ofDriver() {
  std::array<GLenum, capacity> names{};
  GLsizei count = 0;
  for (GLsizei i = 0; i < capacity; ++i) {
    GLint name = GL_NONE;
    driver.glGetIntegerv(GL_DRAW_BUFFER0 + i, &name);
    names[i] = name;
    if (name != GL_NONE) count = i + 1;
  }
  return count <= 1 ? one(names[0]) : list(count, names.data());
}

bool DrawBuffers::accepts(GLenum name) {
  return isFront(name) || isBack(name) || isBoth(name) || name == GL_NONE;
}

bool DrawBuffers::accepts(GLsizei count, const GLenum* names) {
  if (count < 0 || count > capacity) return false;
  if (count == 1 && names[0] == GL_BACK) return true;
  bool front = false;
  bool back = false;
  for (GLsizei i = 0; i < count; ++i) {
    bool* const seen = names[i] == GL_FRONT_LEFT  ? &front
                       : names[i] == GL_BACK_LEFT ? &back
                                                  : nullptr;
    if (seen ? *seen : names[i] != GL_NONE) return false;
    if (seen) *seen = true;
  }
  return true;
}

DrawBuffers::Target DrawBuffers::target() const {
  bool front = false;
  bool back = false;
  for (GLsizei i = 0; i < count_; ++i) {
    front = front || isFront(names_[i]) || isBoth(names_[i]);
    back = back || isBack(names_[i]) || isBoth(names_[i]);
  }
  return !front ? Target::back : back ? Target::both : Target::front;
}

DrawBuffers DrawBuffers::frontAsBack() const {
  DrawBuffers buffers = *this;
  std::replace_if(buffers.names_.begin(), buffers.names_.end(), isFront, GL_BACK_LEFT);
  return buffers;
}

DrawBuffers DrawBuffers::backOnly() const {
  DrawBuffers buffers = *this;
  std::replace_if(buffers.names_.begin(), buffers.names_.end(), isBoth, GL_BACK_LEFT);
  std::replace_if(buffers.names_.begin(), buffers.names_.end(), isFront, GL_NONE);
  return buffers;
}

void DrawBuffers::apply() const {
  if (isList_)
    driver.glDrawBuffers(count_, names_.data());
  else
    driver.glDrawBuffer(names_[0]);
}

} // namespace zol::softgpu
