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

FramePath::FramePath(XConnection& local, Size size) : display_(local.get()), size_(size) {
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

// Eight bits each of red, green, blue and alpha, which is what a window's frames have.
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
                        None};
  int count = 0;
  const std::unique_ptr<GLXFBConfig, FreeMemory> configs(
      glXChooseFBConfig(display_, DefaultScreen(display_), wanted, &count));
  for (int i = 0; i < count; ++i) {
    int red = 0;
    glXGetFBConfigAttrib(display_, configs.get()[i], GLX_RED_SIZE, &red);
    if (red == 8) return configs.get()[i];
  }
  throw std::runtime_error("the display '" + local.name() +
                           "' has no double-buffered RGBA FBConfig of 8 bits for pbuffers");
}

void FramePath::makeContexts(XConnection& local) {
  GLXFBConfig const config = chooseConfig(local);
  const int attributes[] = {GLX_PBUFFER_WIDTH, size_.width, GLX_PBUFFER_HEIGHT, size_.height, None};
  pbuffer_ = glXCreatePbuffer(display_, config, attributes);
  program_ = glXCreateNewContext(display_, config, GLX_RGBA_TYPE, nullptr, True);
  read_ = glXCreateNewContext(display_, config, GLX_RGBA_TYPE, nullptr, True);
  if (!program_ || !read_) {
    throw std::runtime_error("no GL context is to be had on the display '" + local.name() + "'");
  }
}

void FramePath::makeReadObjects() {
  glReadBuffer(GL_FRONT);
  GLuint buffer = 0;
  glGenBuffers(1, &buffer);
  glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
  GLuint texture = 0;
  glGenTextures(1, &texture);
  glBindTexture(GL_TEXTURE_RECTANGLE, texture);
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

void FramePath::draw() {
  scene_->draw();
  glFinish();
}

void FramePath::swap() {
  glXSwapBuffers(display_, pbuffer_);
}

void FramePath::toReadContext() {
  glXMakeCurrent(display_, pbuffer_, read_);
}

void FramePath::flip() {
  const GLsizeiptr bytes = GLsizeiptr{4} * size_.width * size_.height;
  if (pixels_) glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
  glBufferData(GL_PIXEL_PACK_BUFFER, bytes, nullptr, GL_STREAM_READ);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer_);
  glBlitFramebuffer(0, size_.height, size_.width, 0, 0, 0, size_.width, size_.height,
                    GL_COLOR_BUFFER_BIT, GL_NEAREST);
  glFinish();
}

void FramePath::transfer() {
  const GLsizeiptr bytes = GLsizeiptr{4} * size_.width * size_.height;
  glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer_);
  glReadPixels(0, 0, size_.width, size_.height, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  pixels_ = glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, bytes, GL_MAP_READ_BIT);
  if (!pixels_) throw std::runtime_error("the driver cannot map the pixel buffer");
}

void FramePath::toProgramContext() {
  glXMakeCurrent(display_, pbuffer_, program_);
}

} // namespace zol::bench
