#include "softgpu/early_start.h"

#include "softgpu/copy_contexts.h"
#include "softgpu/current_binding.h"
#include "softgpu/driver.h"

#include <atomic>

namespace zol::softgpu {
namespace {

constexpr int size = 8; // pixels each way

// What is done to a frame that is read: turned upside down into a texture in the pbuffer's own
// order of bytes, then transferred. A frame whose bytes cannot just be moved is shaded instead, and
// so is a point here: the smallest thing that has a shader compiled.
void readFrame() {
  GLuint texture = 0, framebuffer = 0, buffer = 0;
  driver.glGenTextures(1, &texture);
  driver.glBindTexture(GL_TEXTURE_RECTANGLE, texture);
  driver.glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA, size, size, 0, GL_BGRA, GL_UNSIGNED_BYTE,
                      nullptr);
  driver.glGenFramebuffers(1, &framebuffer);
  driver.glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
  driver.glFramebufferTexture2D(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_RECTANGLE,
                                texture, 0);
  driver.glBlitFramebuffer(0, 0, size, size, 0, size, size, 0, GL_COLOR_BUFFER_BIT, GL_NEAREST);

  driver.glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
  driver.glGenBuffers(1, &buffer);
  driver.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
  driver.glBufferData(GL_PIXEL_PACK_BUFFER, size * size * 4, nullptr, GL_STREAM_READ);
  driver.glReadPixels(0, 0, size, size, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);

  driver.glBegin(GL_POINTS);
  driver.glVertex2f(0, 0);
  driver.glEnd();
  driver.glFinish();
}

} // namespace

void startRendererEarly(Display* display, GLXFBConfig config, GLXPbuffer pbuffer) {
  static std::atomic<bool> started = false;
  if (started.exchange(true)) return;
  CopyContexts contexts(display, config);
  const CopyContexts::Loan loan(contexts); // its objects go with it
  if (!loan.context()) return;
  CurrentBinding binding;
  if (binding.replace(display, pbuffer, pbuffer, loan.context())) readFrame();
}

} // namespace zol::softgpu
