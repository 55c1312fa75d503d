#pragma once

#include "foundation/mutex.h"
#include "vendor/glx_api.h"

namespace zol::gl {

class XImagePainter;

// Moves one finished frame of a drawable from the GPU into host memory, upright, and hands it to
// the drawable's painter. This variant maps the pixels in the thread that reads back, so that the
// thread that delivers makes no GL call.
//
// A frame is height rows of width pixels, top row first, rows without gaps, bytes B, G, R, A. Only
// the newest frame is kept.
//
// Thread safety: performGPUReadback and copyToAppDisplay exclude each other through `mutex`. Lock
// order: `mutex`, then the local display mutex.
class ReadbackContext {
public:
  ReadbackContext();
  // Deletes no GL object: the right context may not be current. See releaseOGLResources().
  virtual ~ReadbackContext();
  ReadbackContext(const ReadbackContext&) = delete;
  ReadbackContext& operator=(const ReadbackContext&) = delete;

  // Called once, before anything else. `shareContext` is the read context, `sharedDrawable` a
  // drawable that nothing else is current on. False: nothing will ever be delivered.
  virtual bool setSharedContext(Display* display, GLXFBConfig config, GLXContext shareContext,
                                GLXDrawable sharedDrawable);

  // Paints the pending frame, if there is one, and then has none pending; where that is not
  // possible the frame stays pending.
  virtual void copyToAppDisplay(Display* appDisplay, XImagePainter* painter, VisualID visualId);

  virtual void mapPixelBufferObject() ZOL_REQUIRES(mutex);
  virtual void unmapPixelBufferObject() ZOL_REQUIRES(mutex);

  // Reads the frame of the current read framebuffer. The read context must be current on the local
  // pbuffer, and no caller holds the local display mutex. False when the framebuffer object is not
  // complete; no frame is pending then that was not before.
  bool performGPUReadback(int frameWidth, int frameHeight);

  // Deletes the GL objects. The read context must be current and no other thread uses this object.
  void releaseOGLResources();

protected:
  int width ZOL_GUARDED_BY(mutex) = 0; // of the texture and the buffer
  int height ZOL_GUARDED_BY(mutex) = 0;
  bool frameReady ZOL_GUARDED_BY(mutex) = false;
  zol::Mutex mutex;
  GLuint texture ZOL_GUARDED_BY(mutex) = 0;
  GLuint framebuffer ZOL_GUARDED_BY(mutex) = 0; // draws into and reads from `texture`
  GLuint pixelBuffer ZOL_GUARDED_BY(mutex) = 0;
  void* mappedPixels ZOL_GUARDED_BY(mutex) = nullptr; // of `pixelBuffer`

private:
  void resizeBuffer(int frameWidth, int frameHeight) ZOL_REQUIRES(mutex);
  void transferFrame(int frameWidth, int frameHeight) ZOL_REQUIRES(mutex);
};

} // namespace zol::gl
