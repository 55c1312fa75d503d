#include "endtoend/picture/core_drawing.h"

#include "endtoend/picture/gl_function.h"
#include "endtoend/scene.h"

#include <GL/glcorearb.h>

#include <vector>

namespace zol::endtoend {
namespace {

constexpr const char* kVertexShader = R"(#version 330 core
layout(location = 0) in vec2 place;
layout(location = 1) in vec4 colour;
flat out vec4 shade;
void main() {
  gl_Position = vec4(place, 0.0, 1.0);
  shade = colour;
}
)";

constexpr const char* kFragmentShader = R"(#version 330 core
flat in vec4 shade;
out vec4 pixel;
void main() { pixel = shade; }
)";

struct Vertex {
  float x, y;
  GLubyte colour[4];
};

GLuint compile(GLenum kind, const char* text) {
  static const auto createShader = glFunction<PFNGLCREATESHADERPROC>("glCreateShader");
  static const auto shaderSource = glFunction<PFNGLSHADERSOURCEPROC>("glShaderSource");
  static const auto compileShader = glFunction<PFNGLCOMPILESHADERPROC>("glCompileShader");
  const GLuint shader = createShader(kind);
  shaderSource(shader, 1, &text, nullptr);
  compileShader(shader);
  return shader;
}

GLuint makeProgram() {
  static const auto createProgram = glFunction<PFNGLCREATEPROGRAMPROC>("glCreateProgram");
  static const auto attachShader = glFunction<PFNGLATTACHSHADERPROC>("glAttachShader");
  static const auto linkProgram = glFunction<PFNGLLINKPROGRAMPROC>("glLinkProgram");
  static const auto getProgram = glFunction<PFNGLGETPROGRAMIVPROC>("glGetProgramiv");
  const GLuint program = createProgram();
  attachShader(program, compile(GL_VERTEX_SHADER, kVertexShader));
  attachShader(program, compile(GL_FRAGMENT_SHADER, kFragmentShader));
  linkProgram(program);
  GLint linked = GL_FALSE;
  getProgram(program, GL_LINK_STATUS, &linked);
  if (linked != GL_TRUE) throw std::runtime_error("the shaders do not link");
  return program;
}

std::vector<Vertex> trianglesOf(const std::vector<Rect>& rects, int width, int height) {
  std::vector<Vertex> result;
  for (const Rect& rect : rects) {
    const auto add = [&](int x, int y) {
      const std::uint32_t c = rect.colour;
      result.push_back({2.0f * static_cast<float>(x) / static_cast<float>(width) - 1,
                        1 - 2.0f * static_cast<float>(y) / static_cast<float>(height),
                        {static_cast<GLubyte>(c >> 16), static_cast<GLubyte>(c >> 8),
                         static_cast<GLubyte>(c), static_cast<GLubyte>(c >> 24)}});
    };
    const int right = rect.x + rect.width, bottom = rect.y + rect.height;
    add(rect.x, rect.y);
    add(right, rect.y);
    add(rect.x, bottom);
    add(right, rect.y);
    add(right, bottom);
    add(rect.x, bottom);
  }
  return result;
}

} // namespace

void drawWithShaders(const std::string& name, int frame, int width, int height) {
  static const auto genVertexArrays = glFunction<PFNGLGENVERTEXARRAYSPROC>("glGenVertexArrays");
  static const auto bindVertexArray = glFunction<PFNGLBINDVERTEXARRAYPROC>("glBindVertexArray");
  static const auto deleteVertexArrays =
      glFunction<PFNGLDELETEVERTEXARRAYSPROC>("glDeleteVertexArrays");
  static const auto genBuffers = glFunction<PFNGLGENBUFFERSPROC>("glGenBuffers");
  static const auto bindBuffer = glFunction<PFNGLBINDBUFFERPROC>("glBindBuffer");
  static const auto bufferData = glFunction<PFNGLBUFFERDATAPROC>("glBufferData");
  static const auto deleteBuffers = glFunction<PFNGLDELETEBUFFERSPROC>("glDeleteBuffers");
  static const auto attribute = glFunction<PFNGLVERTEXATTRIBPOINTERPROC>("glVertexAttribPointer");
  static const auto enable =
      glFunction<PFNGLENABLEVERTEXATTRIBARRAYPROC>("glEnableVertexAttribArray");
  static const auto useProgram = glFunction<PFNGLUSEPROGRAMPROC>("glUseProgram");
  static const auto deleteProgram = glFunction<PFNGLDELETEPROGRAMPROC>("glDeleteProgram");

  const std::vector<Vertex> vertices =
      trianglesOf(scene(name, frame, width, height), width, height);
  glViewport(0, 0, width, height);
  const GLuint program = makeProgram();
  useProgram(program);
  GLuint array = 0, buffer = 0;
  genVertexArrays(1, &array);
  bindVertexArray(array);
  genBuffers(1, &buffer);
  bindBuffer(GL_ARRAY_BUFFER, buffer);
  bufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(vertices.size() * sizeof(Vertex)),
             vertices.data(), GL_STREAM_DRAW);
  attribute(0, 2, GL_FLOAT, GL_FALSE, sizeof(Vertex), nullptr);
  attribute(1, 4, GL_UNSIGNED_BYTE, GL_TRUE, sizeof(Vertex),
            reinterpret_cast<const void*>(offsetof(Vertex, colour)));
  enable(0);
  enable(1);
  glDrawArrays(GL_TRIANGLES, 0, static_cast<GLsizei>(vertices.size()));
  deleteBuffers(1, &buffer);
  deleteVertexArrays(1, &array);
  useProgram(0);
  deleteProgram(program);
}

} // namespace zol::endtoend
