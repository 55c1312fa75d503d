#pragma once

#include "softgpu/gl_headers.h"

#include <array>

namespace zol::softgpu {

// The colour buffers of a default framebuffer that a context draws to, as glDrawBuffer or
// glDrawBuffers chose them.
class DrawBuffers {
public:
  static constexpr GLsizei capacity = 8;
  enum class Target { back, front, both };

  DrawBuffers() = default; // GL_BACK
  static DrawBuffers one(GLenum name);
  static DrawBuffers list(GLsizei count, const GLenum* names);
  // The current context's, as the driver has them. The default framebuffer must be bound.
  static DrawBuffers ofDriver();

  // Whether a double-buffered framebuffer without stereo takes it; what it does not take must be
  // handed to the driver, which knows the error to raise.
  static bool accepts(GLenum name);
  static bool accepts(GLsizei count, const GLenum* names);

  bool operator==(const DrawBuffers& other) const = default;
  GLenum operator[](GLsizei index) const { return index < count_ ? names_[index] : GL_NONE; }
  Target target() const;

  // The same for a framebuffer whose back buffer stands for the front buffer.
  DrawBuffers frontAsBack() const;
  // The same without the front buffer.
  DrawBuffers backOnly() const;
  // Makes the driver use them. The default framebuffer must be bound.
  void apply() const;

private:
  std::array<GLenum, capacity> names_{GL_BACK};
  GLsizei count_ = 1;
  bool isList_ = false;
};

bool isFrontForReading(GLenum name);
bool acceptsForReading(GLenum name);

} // namespace zol::softgpu
