#include "frame/readback_context.h"

#include "foundation/log.h"
#include "frame/frame_copy.h"
#include "frame/frame_size.h"
#include "frame/image_painter.h"
#include "vendor/system_functions.h"

namespace zol::gl {

ReadbackContext::ReadbackContext() : mutex(false) {}

ReadbackContext::~ReadbackContext() {
  texture = framebuffer = pixelBuffer = 0;
  mappedPixels = nullptr;
  ZOLGL_DEBUG("Destroyed ReadbackContext");
}

bool ReadbackContext::setSharedContext(Display*, GLXFBConfig, GLXContext, GLXDrawable) {
  return true;
}

void ReadbackContext::mapPixelBufferObject() {
  mappedPixels = system_glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0,
                                         GLsizeiptr(frameBytes(width, height)), GL_MAP_READ_BIT);
}

void ReadbackContext::unmapPixelBufferObject() {
  system_glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
  mappedPixels = nullptr;
}

// Gives the pixel buffer a fresh store of the frame's size. The buffer is bound only when it is
// created: the binding stays in the read context.
void ReadbackContext::resizeBuffer(int frameWidth, int frameHeight) {
  if (!pixelBuffer) {
    system_glGenBuffers(1, &pixelBuffer);
    system_glBindBuffer(GL_PIXEL_PACK_BUFFER, pixelBuffer);
  }
  unmapPixelBufferObject();
  system_glBufferData(GL_PIXEL_PACK_BUFFER, GLsizeiptr(frameBytes(frameWidth, frameHeight)),
                      nullptr, GL_STREAM_READ);
}

// Turns the frame upside down into the texture on its way to the pixel buffer: GL's bottom row
// comes last there.
void ReadbackContext::transferFrame(int frameWidth, int frameHeight) {
  system_glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
  system_glBlitFramebuffer(0, frameHeight, frameWidth, 0, 0, 0, frameWidth, frameHeight,
                           GL_COLOR_BUFFER_BIT, GL_NEAREST);
  system_glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
  system_glReadPixels(0, 0, frameWidth, frameHeight, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
  system_glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

bool ReadbackContext::performGPUReadback(int frameWidth, int frameHeight) {
  ZOLGL_DEBUG("Readback context size %dx%d", frameWidth, frameHeight);
  MutexLock lock(mutex);
  resizeBuffer(frameWidth, frameHeight);

  if (!texture) {
    ZOLGL_DEBUG("Initializing GPU readback textures");
    system_glGenTextures(1, &texture);
    system_glBindTexture(GL_TEXTURE_RECTANGLE, texture);
    system_glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    system_glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  }
  if (frameWidth != width || frameHeight != height) {
    ZOLGL_DEBUG("Resizing GPU readback textures to new size %d x %d", frameWidth, frameHeight);
    system_glBindTexture(GL_TEXTURE_RECTANGLE, texture);
    system_glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA8, frameWidth, frameHeight, 0, GL_RGBA,
                        GL_UNSIGNED_BYTE, nullptr);
    system_glViewport(0, 0, frameWidth, frameHeight);
    width = frameWidth;
    height = frameHeight;
  }
  if (!framebuffer) {
    // No program is made here any more, but this is how log readers know the step.
    ZOLGL_DEBUG("Initializing GPU readback programs");
    system_glGenFramebuffers(1, &framebuffer);
    system_glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    system_glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, texture, 0);
    if (system_glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
      ZOLGL_ERROR("Invalid framebuffer: 0x%X", system_glCheckFramebufferStatus(GL_FRAMEBUFFER));
      return false;
    }
    system_glBindFramebuffer(GL_FRAMEBUFFER, 0);
  }

  transferFrame(frameWidth, frameHeight);
  mapPixelBufferObject();
  frameReady = true;
  return true;
}

void ReadbackContext::copyToAppDisplay(Display* appDisplay, XImagePainter* painter,
                                       VisualID visualId) {
  MutexLock lock(mutex);
  if (!frameReady) return;
  if (!pixelBuffer) {
    lock.unlock();
    ZOLGL_WARNING("Readback pbo has not been created yet");
    return;
  }
  if (!mappedPixels) {
    lock.unlock();
    ZOLGL_WARNING("Buffer is NULL, skipping copyback");
    return;
  }
  if (!painter->setup(appDisplay, visualId, width, height) || !painter->getBuffer()) return;

  copyFrame(painter->getBuffer(), mappedPixels, frameBytes(width, height));
  painter->draw(appDisplay, width, height);
  frameReady = false;
}

void ReadbackContext::releaseOGLResources() ZOL_NO_THREAD_SAFETY_ANALYSIS {
  if (pixelBuffer) {
    system_glDeleteBuffers(1, &pixelBuffer);
    mappedPixels = nullptr;
    pixelBuffer = 0;
  }
  if (texture) {
    system_glDeleteTextures(1, &texture);
    texture = 0;
  }
  if (framebuffer) {
    system_glDeleteFramebuffers(1, &framebuffer);
    framebuffer = 0;
  }
  ZOLGL_DEBUG("Released OpenGL resources for ReadbackContext");
}

} // namespace zol::gl
