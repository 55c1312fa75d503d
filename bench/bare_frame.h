#pragma once

#include "call_rig.h"
#include "display/zol_ext.h"

#include <X11/Xlib.h>

namespace zol::bench {

// What every frame of a window costs whoever brings it back: the driver's calls that the library
// makes for one in the program's thread, in its order, and its one question to the application
// display. Belongs to one thread.
class BareFrame {
public:
  // With `mapsPixels` the thread that renders also maps the pixels, as it does for programs without
  // threads.
  BareFrame(const CallRig& rig, Window window, bool mapsPixels);
  ~BareFrame() { XCloseDisplay(second_); }
  BareFrame(const BareFrame&) = delete;
  BareFrame& operator=(const BareFrame&) = delete;

  void run();
  void askForWindow(); // the question alone

private:
  void bringBack();

// Every driver function that a frame needs.
#define ZOL_FRAME_FUNCTIONS(FUNCTION)                                                              \
  FUNCTION(glXSwapBuffers)                                                                         \
  FUNCTION(glXGetCurrentContext)                                                                   \
  FUNCTION(glGetIntegerv)                                                                          \
  FUNCTION(glXMakeCurrent)                                                                         \
  FUNCTION(glUnmapBuffer)                                                                          \
  FUNCTION(glBufferData)                                                                           \
  FUNCTION(glBindFramebuffer)                                                                      \
  FUNCTION(glBlitFramebuffer)                                                                      \
  FUNCTION(glReadPixels)                                                                           \
  FUNCTION(glMapBufferRange)
#define ZOL_MEMBER(function) decltype(&::function) const function##_;
  ZOL_FRAME_FUNCTIONS(ZOL_MEMBER)
#undef ZOL_MEMBER

  const Window window_;
  const bool mapsPixels_;
  Display* const second_;
  XExtCodes* const codes_;
  GLXContext const program_;
  GLXContext const read_;
  const GLXDrawable pbuffer_ = 1;
};

} // namespace zol::bench
