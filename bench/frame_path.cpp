#define GL_GLEXT_PROTOTYPES 1
#include "frame_path.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <stdexcept>

namespace zol::bench {

namespace {

struct FreeMemory {
  void operator()(void* memory) const { XFree(memory); }
};

} // namespace

FramePath::FramePath(XConnection& local, Size size)
    : display_(local.get()), size_(size), bytes_(std::ptrdiff_t{4} * size.width * size.height) {
  makeContexts(local);
  toReadContext();
  makeReadObjects();
  toProgramContext();
  scene_ = std::make_unique<Scene>();
  scene_->resize(size);
}

FramePath::~FramePath() {
  glXMakeCurrent(display_, None, nullptr);
  glXDestroyContext(display_, read_);
  glXDestroyContext(display_, program_);
  glXDestroyPbuffer(display_, pbuffer_);
}

// What the library takes for a usual window: eight bits of each colour and of stencil, 24 of depth.
GLXFBConfig FramePath::chooseConfig(XConnection& local) const {
  const int wanted[] = {GLX_DRAWABLE_TYPE,
                        GLX_PBUFFER_BIT,
                        GLX_RENDER_TYPE,
                        GLX_RGBA_BIT,
                        GLX_DOUBLEBUFFER,
                        True,
                        GLX_RED_SIZE,
                        8,
                        GLX_ALPHA_SIZE,
                        8,
                        GLX_DEPTH_SIZE,
                        24,
                        GLX_STENCIL_SIZE,
                        8,
                        None};
  int count = 0;
  const std::unique_ptr<GLXFBConfig, FreeMemory> configs(
      glXChooseFBConfig(display_, DefaultScreen(display_), wanted, &count));
  const auto sizeOf = [&](GLXFBConfig config, int name) {
    int size = 0;
    glXGetFBConfigAttrib(display_, config, name, &size);
    return size;
  };
  for (int i = 0; i < count; ++i) {
    GLXFBConfig const config = configs.get()[i];
    if (sizeOf(config, GLX_RED_SIZE) == 8 && sizeOf(config, GLX_DEPTH_SIZE) == 24) return config;
  }
  throw std::runtime_error("the display '" + local.name() +
                           "' has no double-buffered RGBA FBConfig of 8 bits for pbuffers");
}

void FramePath::makeContexts(XConnection& local) {
  GLXFBConfig const config = chooseConfig(local);
  const int attributes[] = {GLX_PBUFFER_WIDTH,
                            size_.width,
                            GLX_PBUFFER_HEIGHT,
                            size_.height,
                            GLX_PRESERVED_CONTENTS,
                            True,
                            None};
  pbuffer_ = glXCreatePbuffer(display_, config, attributes);
  program_ = glXCreateNewContext(display_, config, GLX_RGBA_TYPE, nullptr, True);
  read_ = glXCreateNewContext(display_, config, GLX_RGBA_TYPE, nullptr, True);
  if (!program_ || !read_) {
    throw std::runtime_error("no GL context is to be had on the display '" + local.name() + "'");
  }
}

void FramePath::makeReadObjects() {
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glReadBuffer(GL_FRONT);
  GLuint buffer = 0;
  glGenBuffers(1, &buffer);
  glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
  GLuint texture = 0;
  glGenTextures(1, &texture);
  glBindTexture(GL_TEXTURE_RECTANGLE, texture);
  for (const GLenum filter : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER})
    glTexParameteri(GL_TEXTURE_RECTANGLE, filter, GL_NEAREST);
  glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA8, size_.width, size_.height, 0, GL_RGBA,
               GL_UNSIGNED_BYTE, nullptr);
  glGenFramebuffers(1, &framebuffer_);
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, texture, 0);
  if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
    throw std::runtime_error("the driver cannot draw into a rectangle texture");
  }
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void FramePath::finish() {
  glFinish();
}

void FramePath::draw() {
  scene_->draw();
}

void FramePath::swap() {
  glXSwapBuffers(display_, pbuffer_);
}

void FramePath::noteProgram() {
  GLint renderMode = 0;
  program_ = glXGetCurrentContext();
  glGetIntegerv(GL_RENDER_MODE, &renderMode);
}

void FramePath::toReadContext() {
  glXMakeCurrent(display_, pbuffer_, read_);
}

void FramePath::renew() {
  if (pixels_) glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
  pixels_ = nullptr;
  glBufferData(GL_PIXEL_PACK_BUFFER, bytes_, nullptr, GL_STREAM_READ);
}

void FramePath::flip() {
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer_);
  glBlitFramebuffer(0, size_.height, size_.width, 0, 0, 0, size_.width, size_.height,
                    GL_COLOR_BUFFER_BIT, GL_NEAREST);
}

void FramePath::transfer() {
  glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer_);
  glReadPixels(0, 0, size_.width, size_.height, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void FramePath::map() {
  pixels_ = glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, bytes_, GL_MAP_READ_BIT);
  if (!pixels_) throw std::runtime_error("the driver cannot map the pixel buffer");
}

void FramePath::toProgramContext() {
  glXMakeCurrent(display_, pbuffer_, program_);
}

} // namespace zol::bench
