#include "frame/readback_context_multi_thread.h"

#include "display/pairing.h"
#include "foundation/log.h"
#include "frame/frame_copy.h"
#include "frame/frame_size.h"
#include "frame/image_painter.h"
#include "vendor/system_functions.h"

namespace zol::gl {

ReadbackContextMultiThread::~ReadbackContextMultiThread() {
  if (copybackContext) system_glXDestroyContext(copybackDisplay, copybackContext);
}

bool ReadbackContextMultiThread::setSharedContext(Display* display, GLXFBConfig config,
                                                  GLXContext shareContext,
                                                  GLXDrawable sharedDrawable) {
  copybackDrawable = sharedDrawable;
  copybackDisplay = display;
  copybackContext = system_glXCreateNewContext(display, config, GLX_RGBA_TYPE, shareContext, True);
  return copybackContext != nullptr;
}

// The buffer is mapped only where it is delivered.
void ReadbackContextMultiThread::mapPixelBufferObject() {}
void ReadbackContextMultiThread::unmapPixelBufferObject() {}

void ReadbackContextMultiThread::copyToAppDisplay(Display* appDisplay, XImagePainter* painter,
                                                  VisualID visualId) {
  if (!copybackContext) {
    ZOLGL_WARNING("Copyback context is not set, skipping");
    return;
  }
  MutexLock lock(mutex);
  if (!frameReady) return;
  if (!pixelBuffer) {
    lock.unlock();
    ZOLGL_WARNING("Readback pbo has not been created yet");
    return;
  }
  if (!painter->setup(appDisplay, visualId, width, height) || !painter->getBuffer()) return;

  MutexLock bindLock(getLocalDisplayMutex());
  const bool bound = system_glXMakeCurrent(copybackDisplay, copybackDrawable, copybackContext);
  bindLock.unlock();
  if (!bound) {
    lock.unlock();
    ZOLGL_WARNING("Failed to make copyback context current");
    return;
  }
  deliver(__PRETTY_FUNCTION__, appDisplay, painter);
  MutexLock releaseLock(getLocalDisplayMutex());
  system_glXMakeCurrent(copybackDisplay, None, nullptr);
}

// Paints the pixel buffer; the copyback context is current.
void ReadbackContextMultiThread::deliver(const char* origin, Display* appDisplay,
                                         XImagePainter* painter) {
  const size_t size = frameBytes(width, height);
  system_glBindBuffer(GL_PIXEL_PACK_BUFFER, pixelBuffer);
  const void* const pixels =
      system_glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, GLsizeiptr(size), GL_MAP_READ_BIT);
  if (!pixels) {
    ZOLGL_LOG_AS(origin, WARNING, "Failed to map buffer for copyback");
    return;
  }
  copyFrame(painter->getBuffer(), pixels, size);
  painter->draw(appDisplay, width, height);
  frameReady = false;
  system_glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
}

} // namespace zol::gl
