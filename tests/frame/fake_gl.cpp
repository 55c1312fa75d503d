#include "frame/fake_gl.h"

#include "display/pairing.h"
#include "vendor/system_functions.h"
#include "visual/recording.h"

#include <cstring>
#include <gtest/gtest.h>

using recording::call;

namespace {

fake::Driver driver;
GLuint lastBuffer, lastTexture, lastFramebuffer, lastShader;

} // namespace

namespace fake {

Driver& resetDriver() {
  driver = Driver{};
  lastBuffer = lastTexture = lastFramebuffer = lastShader = 0;

  system_glGenBuffers = [](GLsizei n, GLuint* names) {
    call("glGenBuffers %d", n);
    *names = ++lastBuffer;
  };
  system_glBindBuffer = [](GLenum target, GLuint name) {
    call("glBindBuffer 0x%X %u", target, name);
  };
  system_glBufferData = [](GLenum target, GLsizeiptr size, const void* data, GLenum usage) {
    call("glBufferData 0x%X %ld %s 0x%X", target, static_cast<long>(size), data ? "data" : "NULL",
         usage);
  };
  system_glMapBufferRange = [](GLenum target, GLintptr offset, GLsizeiptr length,
                               GLbitfield access) -> void* {
    EXPECT_FALSE(recording::holds(getLocalDisplayMutex()));
    call("glMapBufferRange 0x%X %ld %ld %u", target, static_cast<long>(offset),
         static_cast<long>(length), access);
    return driver.mapsBuffers ? driver.buffer.data() : nullptr;
  };
  system_glUnmapBuffer = [](GLenum target) -> GLboolean {
    call("glUnmapBuffer 0x%X", target);
    return GL_TRUE;
  };
  system_glDeleteBuffers = [](GLsizei n, const GLuint* names) {
    call("glDeleteBuffers %d %u", n, *names);
  };
  system_glGenTextures = [](GLsizei n, GLuint* names) {
    call("glGenTextures %d", n);
    *names = ++lastTexture;
  };
  system_glBindTexture = [](GLenum target, GLuint name) {
    call("glBindTexture 0x%X %u", target, name);
  };
  system_glTexParameteri = [](GLenum target, GLenum name, GLint value) {
    call("glTexParameteri 0x%X 0x%X 0x%X", target, name, static_cast<unsigned>(value));
  };
  system_glTexImage2D = [](GLenum target, GLint level, GLint format, GLsizei width, GLsizei height,
                           GLint border, GLenum external, GLenum type, const void* pixels) {
    call("glTexImage2D 0x%X %d 0x%X %d %d %d 0x%X 0x%X %s", target, level,
         static_cast<unsigned>(format), width, height, border, external, type,
         pixels ? "pixels" : "NULL");
  };
  system_glDeleteTextures = [](GLsizei n, const GLuint* names) {
    call("glDeleteTextures %d %u", n, *names);
  };
  system_glViewport = [](GLint x, GLint y, GLsizei width, GLsizei height) {
    call("glViewport %d %d %d %d", x, y, width, height);
  };
  system_glGenFramebuffers = [](GLsizei n, GLuint* names) {
    call("glGenFramebuffers %d", n);
    *names = ++lastFramebuffer;
  };
  system_glBindFramebuffer = [](GLenum target, GLuint name) {
    call("glBindFramebuffer 0x%X %u", target, name);
  };
  system_glFramebufferTexture = [](GLenum target, GLenum attachment, GLuint name, GLint level) {
    call("glFramebufferTexture 0x%X 0x%X %u %d", target, attachment, name, level);
  };
  system_glCheckFramebufferStatus = [](GLenum target) -> GLenum {
    call("glCheckFramebufferStatus 0x%X", target);
    return driver.framebufferStatus;
  };
  system_glBlitFramebuffer = [](GLint x0, GLint y0, GLint x1, GLint y1, GLint dx0, GLint dy0,
                                GLint dx1, GLint dy1, GLbitfield mask, GLenum filter) {
    call("glBlitFramebuffer %d %d %d %d %d %d %d %d 0x%X 0x%X", x0, y0, x1, y1, dx0, dy0, dx1, dy1,
         mask, filter);
  };
  system_glReadPixels = [](GLint x, GLint y, GLsizei width, GLsizei height, GLenum format,
                           GLenum type, void* pixels) {
    call("glReadPixels %d %d %d %d 0x%X 0x%X %s", x, y, width, height, format, type,
         pixels ? "pixels" : "offset 0");
    driver.buffer = driver.pixels;
  };
  system_glDeleteFramebuffers = [](GLsizei n, const GLuint* names) {
    call("glDeleteFramebuffers %d %u", n, *names);
  };

  system_glGetIntegerv = [](GLenum name, GLint* values) {
    call("glGetIntegerv 0x%X", name);
    if (name == GL_VIEWPORT)
      for (int i = 0; i < 4; ++i)
        values[i] = 91 + i;
    else
      *values = name == GL_ACTIVE_TEXTURE ? GL_TEXTURE0 + 3 : static_cast<GLint>(name & 0xff);
  };
  system_glActiveTexture = [](GLenum unit) { call("glActiveTexture 0x%X", unit); };
  system_glCreateProgram = []() -> GLuint {
    call("glCreateProgram");
    return 41;
  };
  system_glCreateShader = [](GLenum type) -> GLuint {
    call("glCreateShader 0x%X", type);
    return ++lastShader;
  };
  system_glShaderSource = [](GLuint shader, GLsizei count, const GLchar* const* sources,
                             const GLint* lengths) {
    call("glShaderSource %u %d %s\n%s", shader, count, lengths ? "lengths" : "NULL", *sources);
  };
  system_glCompileShader = [](GLuint shader) { call("glCompileShader %u", shader); };
  system_glAttachShader = [](GLuint program, GLuint shader) {
    call("glAttachShader %u %u", program, shader);
  };
  system_glLinkProgram = [](GLuint program) { call("glLinkProgram %u", program); };
  system_glUseProgram = [](GLuint program) { call("glUseProgram %u", program); };
  system_glDeleteProgram = [](GLuint program) { call("glDeleteProgram %u", program); };
  system_glGetUniformLocation = [](GLuint, const GLchar* name) -> GLint {
    return strcmp(name, "u_texHeight_minus_one") == 0 ? 6
           : strcmp(name, "u_tex_input") == 0         ? 7
                                                      : -1;
  };
  system_glUniform1f = [](GLint location, GLfloat value) {
    call("glUniform1f %d %g", location, static_cast<double>(value));
  };
  system_glUniform1i = [](GLint location, GLint value) {
    call("glUniform1i %d %d", location, value);
  };
  system_glCopyTexSubImage2D = [](GLenum target, GLint level, GLint xOffset, GLint yOffset, GLint x,
                                  GLint y, GLsizei width, GLsizei height) {
    call("glCopyTexSubImage2D 0x%X %d %d %d %d %d %d %d", target, level, xOffset, yOffset, x, y,
         width, height);
  };
  system_glDrawArrays = [](GLenum mode, GLint first, GLsizei count) {
    call("glDrawArrays 0x%X %d %d", mode, first, count);
  };

  system_glXCreateNewContext = [](Display* display, GLXFBConfig config, int type, GLXContext share,
                                  Bool direct) -> GLXContext {
    call("glXCreateNewContext %p %p 0x%X %p %d", static_cast<void*>(display),
         static_cast<void*>(config), static_cast<unsigned>(type), static_cast<void*>(share),
         direct);
    return driver.makesContexts ? reinterpret_cast<GLXContext>(0xcc) : nullptr;
  };
  system_glXMakeCurrent = [](Display* display, GLXDrawable drawable, GLXContext context) -> Bool {
    EXPECT_TRUE(recording::holds(getLocalDisplayMutex()));
    call("glXMakeCurrent %p 0x%lx %p", static_cast<void*>(display), drawable,
         static_cast<void*>(context));
    return driver.makesCurrent;
  };
  system_glXDestroyContext = [](Display* display, GLXContext context) {
    call("glXDestroyContext %p %p", static_cast<void*>(display), static_cast<void*>(context));
  };
  recording::clear();
  return driver;
}

} // namespace fake
