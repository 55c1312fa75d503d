#pragma once

#include "frame/readback_context.h"

namespace zol::gl {

// The variant for programs with threads: the thread that reads back only starts the transfer; the
// thread that delivers waits for it, in a context of its own that shares the pixel buffer.
class ReadbackContextMultiThread : public ReadbackContext {
public:
  ReadbackContextMultiThread() = default;
  ~ReadbackContextMultiThread() override;

  bool setSharedContext(Display* display, GLXFBConfig config, GLXContext shareContext,
                        GLXDrawable sharedDrawable) override;
  void copyToAppDisplay(Display* appDisplay, XImagePainter* painter, VisualID visualId) override;
  void mapPixelBufferObject() override;
  void unmapPixelBufferObject() override;

private:
  void deliver(const char* origin, Display* appDisplay, XImagePainter* painter) ZOL_REQUIRES(mutex);

  // Constant after setSharedContext().
  GLXContext copybackContext = nullptr;
  GLXDrawable copybackDrawable = 0;
  Display* copybackDisplay = nullptr;
};

} // namespace zol::gl
