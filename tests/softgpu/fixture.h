#pragma once

// clang-format off
#include <gtest/gtest.h> // before the macros of X11
// clang-format on

#include "softgpu/loading.h"
#include "tools/display_server.h"

#include <array>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace zol::softgpu::test {

struct Color {
  uint8_t r, g, b;
  bool operator==(const Color&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Color& color);

constexpr Color black{0, 0, 0}, white{255, 255, 255}, red{255, 0, 0}, green{0, 255, 0},
    blue{0, 0, 255}, yellow{255, 255, 0};

// The server that every test of a process shares.
tools::DisplayServer& server();

// Lines of /proc/self/maps.
std::vector<std::string> loadedFiles();

// A connection, a double-buffered FBConfig and things made with it, all let go of at the end. X
// errors fail the test.
class PbufferTest : public testing::Test {
protected:
  static constexpr int width = 64;
  static constexpr int height = 48;

  PbufferTest();
  ~PbufferTest() override;

  GLXFBConfig chooseConfig(bool doubleBuffered, int more = None, int value = 0);
  GLXPbuffer makePbuffer(int w = width, int h = height) { return makePbuffer(config, w, h); }
  GLXPbuffer makePbuffer(GLXFBConfig of, int w, int h);
  // A pbuffer that is current with this context, or with one of its own.
  GLXPbuffer currentPbuffer(GLXContext context);
  GLXPbuffer currentPbuffer() { return currentPbuffer(makeContext()); }
  GLXContext makeContext(GLXContext share = nullptr);
  GLXContext makeContext(int major, int minor, int profile);
  // A framebuffer object, bound, that draws into a texture of a pbuffer's size.
  static GLuint bindTextureFramebuffer();
  void destroy(GLXContext context);
  void makeCurrent(GLXDrawable drawable, GLXContext context);
  void makeCurrent(GLXDrawable draw, GLXDrawable read, GLXContext context);
  // Lets go of the contexts and the connection.
  void close();
  void forget() { contexts_.clear(); } // contexts that went with their connection
  void release();                      // once everything is drawn
  void swap(GLXDrawable drawable) { gl.glXSwapBuffers(display, drawable); }
  // Requests that the calls made by `work` send to the server.
  template <class Work>
  unsigned long requests(const Work& work) {
    XSync(display, False);
    const unsigned long before = NextRequest(display);
    work();
    XSync(display, False);
    return NextRequest(display) - before - 1; // the XSync
  }

  Display* display;
  GLXFBConfig config;

private:
  std::vector<GLXContext> contexts_;
};

// Fills the buffers that are drawn to with one colour, or an area of them.
void fill(Color color);
void fill(Color color, int x, int y, int w, int h);
// Four quadrants, from the bottom left, each in its colour.
using Quadrants = std::array<Color, 4>;
void fill(const Quadrants& colors, int w, int h);

// The colour of the whole buffer `name`; fails the test when it has more than one. The read buffer
// is left as it is then.
Color whole(GLenum name, int w = 64, int h = 48);
// The same of the read buffer in force.
Color wholeOfReadBuffer(int w = 64, int h = 48);
void expectQuadrants(GLenum name, const Quadrants& colors, int w, int h);

GLint integer(GLenum name);

} // namespace zol::softgpu::test
