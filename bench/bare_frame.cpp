#include "bare_frame.h"

namespace zol::bench {

namespace {

constexpr int kSize = 300;
constexpr GLsizeiptr kBytes = GLsizeiptr{kSize} * kSize * 4;

} // namespace

#define ZOL_FOUND(function) function##_(GL_OF(rig.drivers(), function)),
BareFrame::BareFrame(const CallRig& rig, Window window, bool mapsPixels)
    : ZOL_FRAME_FUNCTIONS(ZOL_FOUND) window_(window), mapsPixels_(mapsPixels),
      second_(XOpenDisplay(nullptr)), codes_(XInitExtension(second_, ZOL_EXT_NAME)),
      program_(GL_OF(rig.drivers(), glXGetCurrentContext)()),
      read_(GL_OF(rig.drivers(), glXCreateNewContext)(second_, nullptr, GLX_RGBA_TYPE, nullptr,
                                                      True)) {}
#undef ZOL_FOUND

void BareFrame::run() {
  glXSwapBuffers_(second_, pbuffer_);
  GLXContext const current = glXGetCurrentContext_();
  GLint renderMode = 0;
  glGetIntegerv_(GL_RENDER_MODE, &renderMode);
  glXMakeCurrent_(second_, pbuffer_, read_);
  bringBack();
  glXMakeCurrent_(second_, pbuffer_, current);
  askForWindow();
}

void BareFrame::bringBack() {
  if (mapsPixels_) glUnmapBuffer_(GL_PIXEL_PACK_BUFFER);
  glBufferData_(GL_PIXEL_PACK_BUFFER, kBytes, nullptr, GL_STREAM_READ);
  glBindFramebuffer_(GL_DRAW_FRAMEBUFFER, 1);
  glBlitFramebuffer_(0, kSize, kSize, 0, 0, 0, kSize, kSize, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  glBindFramebuffer_(GL_READ_FRAMEBUFFER, 1);
  glReadPixels_(0, 0, kSize, kSize, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
  glBindFramebuffer_(GL_FRAMEBUFFER, 0);
  if (mapsPixels_) glMapBufferRange_(GL_PIXEL_PACK_BUFFER, 0, kBytes, GL_MAP_READ_BIT);
}

void BareFrame::askForWindow() {
  Bool visible = False;
  VisualID visual = 0;
  int rect[4];
  XZolExtGetWindowInfo(second_, codes_, window_, &visible, &visual, rect);
}

} // namespace zol::bench
