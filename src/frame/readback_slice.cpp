#include "frame/readback_slice.h"

#include "foundation/log.h"
#include "vendor/system_functions.h"

namespace zol::gl {

const char* const ReadbackSlice::fragmentShaderSource = R"(#version 330 core
precision highp float;
precision highp int;
uniform sampler2DRect u_tex_input;
uniform float u_texHeight_minus_one;
out vec4 color;
void main(void) {
    color = texture( u_tex_input, vec2(gl_FragCoord.x - 0.5, u_texHeight_minus_one - gl_FragCoord.y - 0.5) );
}
)";

// One triangle that covers the viewport, made from gl_VertexID alone.
const char* const ReadbackSlice::vertexShaderSource = R"(#version 330 core
precision highp float;
precision highp int;
void main(void) {
   float x = -1.0 + float((gl_VertexID & 1) << 2);
   float y = -1.0 + float((gl_VertexID & 2) << 1);
   gl_Position = vec4(x, y, 0.0, 1.0);
}
)";

namespace {

GLuint makeTexture() {
  GLuint name = 0;
  system_glGenTextures(1, &name);
  system_glBindTexture(GL_TEXTURE_RECTANGLE, name);
  system_glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  system_glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  return name;
}

void allocateTexture(GLuint name, int width, int height) {
  system_glBindTexture(GL_TEXTURE_RECTANGLE, name);
  system_glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA8, width, height, 0, GL_RGBA,
                      GL_UNSIGNED_BYTE, nullptr);
}

// The status is not asked: a shader that does not compile draws nothing.
GLuint compileShader(GLenum type, const char* source) {
  const GLuint shader = system_glCreateShader(type);
  system_glShaderSource(shader, 1, &source, nullptr);
  system_glCompileShader(shader);
  return shader;
}

// The GL state that the pass changes.
struct SavedState {
  SavedState() {
    system_glGetIntegerv(GL_TEXTURE_BINDING_RECTANGLE, &texture);
    system_glGetIntegerv(GL_VIEWPORT, viewport);
    system_glGetIntegerv(GL_ACTIVE_TEXTURE, &activeTexture);
    system_glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer);
    system_glGetIntegerv(GL_CURRENT_PROGRAM, &program);
  }
  void restore() const {
    system_glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    system_glUseProgram(program);
    system_glBindTexture(GL_TEXTURE_RECTANGLE, texture);
    system_glViewport(viewport[0], viewport[1], viewport[2], viewport[3]);
    system_glActiveTexture(activeTexture);
  }

  GLint texture = 0;
  GLint viewport[4] = {};
  GLint activeTexture = 0;
  GLint framebuffer = 0;
  GLint program = 0;
};

} // namespace

ReadbackSlice::~ReadbackSlice() {
  if (flippedTexture) system_glDeleteTextures(1, &flippedTexture);
  flippedTexture = 0;
  if (sharedFramebuffer) system_glDeleteFramebuffers(1, &sharedFramebuffer);
  sharedFramebuffer = 0;
  if (flipFramebuffer) system_glDeleteFramebuffers(1, &flipFramebuffer);
  flipFramebuffer = 0;
  if (flipProgram) system_glDeleteProgram(flipProgram);
  flipProgram = 0;
  if (sourceTexture) system_glDeleteTextures(1, &sourceTexture);
  sourceTexture = 0;
}

// The shader objects are left to the context.
void ReadbackSlice::makeProgram() {
  flipProgram = system_glCreateProgram();
  const GLuint fragmentShader = compileShader(GL_FRAGMENT_SHADER, fragmentShaderSource);
  const GLuint vertexShader = compileShader(GL_VERTEX_SHADER, vertexShaderSource);
  system_glAttachShader(flipProgram, vertexShader);
  system_glAttachShader(flipProgram, fragmentShader);
  system_glLinkProgram(flipProgram);
}

void ReadbackSlice::drawUpright(int width, int height) {
  system_glViewport(0, 0, width, height);
  system_glActiveTexture(GL_TEXTURE0);
  system_glBindTexture(GL_TEXTURE_RECTANGLE, sourceTexture);
  // The region's y counts downwards, so its negative is the origin of the copy.
  system_glCopyTexSubImage2D(GL_TEXTURE_RECTANGLE, 0, 0, 0, drawRect.x, -drawRect.y, width, height);

  system_glBindFramebuffer(GL_FRAMEBUFFER, flipFramebuffer);
  system_glUseProgram(flipProgram);
  system_glUniform1f(system_glGetUniformLocation(flipProgram, "u_texHeight_minus_one"),
                     static_cast<GLfloat>(height - 1));
  system_glBindTexture(GL_TEXTURE_RECTANGLE, sourceTexture);
  system_glUniform1i(system_glGetUniformLocation(flipProgram, "u_tex_input"), 0);
  system_glDrawArrays(GL_TRIANGLES, 0, 3);
}

bool ReadbackSlice::performGPUReadback(int width, int height) {
  const SavedState saved;

  if (!flippedTexture && !sourceTexture) {
    ZOLGL_DEBUG("Initializing GPU readback textures");
    flippedTexture = makeTexture();
    sourceTexture = makeTexture();
  } else {
    system_glBindTexture(GL_TEXTURE_RECTANGLE, sourceTexture);
  }
  if (width != textureWidth || height != textureHeight) {
    ZOLGL_DEBUG("Resizing GPU readback textures to new size %d x %d", width, height);
    allocateTexture(flippedTexture, width, height);
    allocateTexture(sourceTexture, width, height);
    textureWidth = width;
    textureHeight = height;
  }
  if (!flipFramebuffer) {
    ZOLGL_DEBUG("Initializing GPU readback programs");
    system_glGenFramebuffers(1, &flipFramebuffer);
    system_glBindFramebuffer(GL_FRAMEBUFFER, flipFramebuffer);
    system_glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, flippedTexture, 0);
    const GLenum status = system_glCheckFramebufferStatus(GL_FRAMEBUFFER);
    if (status != GL_FRAMEBUFFER_COMPLETE) {
      ZOLGL_ERROR("Invalid framebuffer: 0x%X", status);
      return false;
    }
    makeProgram();
    system_glBindFramebuffer(GL_FRAMEBUFFER, saved.framebuffer);
  }

  drawUpright(width, height);
  system_glReadPixels(0, 0, width, height, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
  ZOLGL_DEBUG("Draw rect value %d %d - %dx%d", drawRect.x, drawRect.y, drawRect.width,
              drawRect.height);
  saved.restore();
  return true;
}

GLuint ReadbackSlice::initSharedFBO() {
  if (sharedFramebuffer) {
    system_glBindFramebuffer(GL_FRAMEBUFFER, sharedFramebuffer);
    return sharedFramebuffer;
  }
  system_glGenFramebuffers(1, &sharedFramebuffer);
  system_glBindFramebuffer(GL_FRAMEBUFFER, sharedFramebuffer);
  system_glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, flippedTexture, 0);
  return sharedFramebuffer;
}

} // namespace zol::gl
