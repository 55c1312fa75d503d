#include "softgpu/fixture.h"

#include <fstream>
#include <utility>

// What Mesa leaves behind of a closed connection is not looked for, and its rasterizer threads,
// which no sanitizer sees into, are not judged.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options() {
  return "detect_leaks=0";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
  return "race:swrast_dri.so";
}

namespace zol::softgpu::test {
namespace {

std::unique_ptr<tools::DisplayServer> theServer;
std::vector<std::string> errors;

int recordError(Display* display, XErrorEvent* event) {
  char text[256];
  XGetErrorText(display, event->error_code, text, sizeof text);
  errors.push_back(std::string(text) + ", request " + std::to_string(event->request_code) + "." +
                   std::to_string(event->minor_code));
  return 0;
}

Color at(const std::vector<uint8_t>& pixels, int x, int y, int w) {
  const uint8_t* pixel = &pixels[(static_cast<size_t>(y) * w + x) * 4];
  return {pixel[0], pixel[1], pixel[2]};
}

std::vector<uint8_t> readPixels(int w, int h) {
  std::vector<uint8_t> pixels(static_cast<size_t>(w) * h * 4);
  gl.glPixelStorei(GL_PACK_ALIGNMENT, 1);
  gl.glReadPixels(0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  return pixels;
}

} // namespace

std::ostream& operator<<(std::ostream& out, const Color& color) {
  return out << '(' << +color.r << ' ' << +color.g << ' ' << +color.b << ')';
}

tools::DisplayServer& server() {
  return *theServer;
}

std::vector<std::string> loadedFiles() {
  std::vector<std::string> lines;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    lines.push_back(line);
  return lines;
}

PbufferTest::PbufferTest() {
  errors.clear();
  XSetErrorHandler(recordError);
  display = XOpenDisplay(server().name().c_str());
  if (!display) throw std::runtime_error("no connection to " + server().name());
  config = chooseConfig(true);
  if (!config) throw std::runtime_error("no double-buffered FBConfig for pbuffers");
}

PbufferTest::~PbufferTest() {
  if (display) {
    close();
  }
  for (const std::string& error : errors)
    ADD_FAILURE() << "X error: " << error;
}

GLXFBConfig PbufferTest::chooseConfig(bool doubleBuffered, int more, int value) {
  const int attributes[] = {GLX_DOUBLEBUFFER,
                            doubleBuffered,
                            GLX_RED_SIZE,
                            8,
                            GLX_GREEN_SIZE,
                            8,
                            GLX_BLUE_SIZE,
                            8,
                            GLX_DEPTH_SIZE,
                            24,
                            GLX_DRAWABLE_TYPE,
                            GLX_PBUFFER_BIT | GLX_WINDOW_BIT,
                            more,
                            value,
                            None};
  int count = 0;
  GLXFBConfig* const found =
      gl.glXChooseFBConfig(display, DefaultScreen(display), attributes, &count);
  GLXFBConfig first = count > 0 ? found[0] : nullptr;
  XFree(found);
  return first;
}

GLXPbuffer PbufferTest::makePbuffer(GLXFBConfig of, int w, int h) {
  const int attributes[] = {
      GLX_PBUFFER_WIDTH, w, GLX_PBUFFER_HEIGHT, h, GLX_PRESERVED_CONTENTS, True, None};
  return gl.glXCreatePbuffer(display, of, attributes);
}

GLXPbuffer PbufferTest::currentPbuffer(GLXContext context) {
  const GLXPbuffer pbuffer = makePbuffer();
  makeCurrent(pbuffer, context);
  return pbuffer;
}

GLXContext PbufferTest::makeContext(GLXContext share) {
  contexts_.push_back(gl.glXCreateNewContext(display, config, GLX_RGBA_TYPE, share, True));
  return contexts_.back();
}

GLXContext PbufferTest::makeContext(int major, int minor, int profile) {
  const int attributes[] = {GLX_CONTEXT_MAJOR_VERSION_ARB,
                            major,
                            GLX_CONTEXT_MINOR_VERSION_ARB,
                            minor,
                            GLX_CONTEXT_PROFILE_MASK_ARB,
                            profile,
                            None};
  contexts_.push_back(gl.glXCreateContextAttribsARB(display, config, nullptr, True, attributes));
  return contexts_.back();
}

GLuint PbufferTest::bindTextureFramebuffer() {
  GLuint texture = 0;
  GLuint framebuffer = 0;
  gl.glGenTextures(1, &texture);
  gl.glGenFramebuffers(1, &framebuffer);
  gl.glBindTexture(GL_TEXTURE_2D, texture);
  gl.glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  gl.glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  gl.glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  return framebuffer;
}

void PbufferTest::destroy(GLXContext context) {
  std::erase(contexts_, context);
  gl.glXDestroyContext(display, context);
}

void PbufferTest::makeCurrent(GLXDrawable drawable, GLXContext context) {
  ASSERT_TRUE(gl.glXMakeCurrent(display, drawable, context));
}

void PbufferTest::makeCurrent(GLXDrawable draw, GLXDrawable read, GLXContext context) {
  ASSERT_TRUE(gl.glXMakeContextCurrent(display, draw, read, context));
}

void PbufferTest::close() {
  release();
  for (GLXContext context : std::exchange(contexts_, {}))
    if (context) gl.glXDestroyContext(display, context);
  XSync(display, False);
  XCloseDisplay(display);
  display = nullptr;
}

void PbufferTest::release() {
  // Mesa 22.3 may wait forever in XCloseDisplay for what it was drawing then.
  if (gl.glXGetCurrentContext()) gl.glFinish();
  gl.glXMakeCurrent(display, None, nullptr);
}

void fill(Color color) {
  gl.glClearColor(color.r / 255.F, color.g / 255.F, color.b / 255.F, 1);
  gl.glClear(GL_COLOR_BUFFER_BIT);
}

void fill(Color color, int x, int y, int w, int h) {
  gl.glEnable(GL_SCISSOR_TEST);
  gl.glScissor(x, y, w, h);
  fill(color);
  gl.glDisable(GL_SCISSOR_TEST);
}

void fill(const Quadrants& colors, int w, int h) {
  for (int i = 0; i < 4; ++i)
    fill(colors[i], i % 2 ? w / 2 : 0, i / 2 ? h / 2 : 0, i % 2 ? w - w / 2 : w / 2,
         i / 2 ? h - h / 2 : h / 2);
}

Color wholeOfReadBuffer(int w, int h) {
  const auto pixels = readPixels(w, h);
  const Color first = at(pixels, 0, 0, w);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      if (at(pixels, x, y, w) != first) {
        ADD_FAILURE() << at(pixels, x, y, w) << " at " << x << ", " << y << " among " << first;
        return first;
      }
  return first;
}

Color whole(GLenum name, int w, int h) {
  const GLint before = integer(GL_READ_BUFFER);
  gl.glReadBuffer(name);
  const Color color = wholeOfReadBuffer(w, h);
  gl.glReadBuffer(before);
  return color;
}

void expectQuadrants(GLenum name, const Quadrants& colors, int w, int h) {
  const GLint before = integer(GL_READ_BUFFER);
  gl.glReadBuffer(name);
  const auto pixels = readPixels(w, h);
  gl.glReadBuffer(before);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      ASSERT_EQ(at(pixels, x, y, w), colors[(y >= h / 2) * 2 + (x >= w / 2)])
          << "at " << x << ", " << y;
}

GLint integer(GLenum name) {
  GLint value = -1;
  gl.glGetIntegerv(name, &value);
  return value;
}

} // namespace zol::softgpu::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  XInitThreads();
  std::string reason;
  zol::softgpu::test::theServer = zol::tools::DisplayServer::start(
      {"Xvfb", "-screen", "0", "1280x1024x24", "-nolisten", "tcp", "-noreset", "+extension", "GLX"},
      &reason);
  if (zol::softgpu::test::theServer)
    setenv("DISPLAY", zol::softgpu::test::theServer->name().c_str(), 1);
  if (!zol::softgpu::test::theServer || !zol::softgpu::test::loadVendor(&reason)) {
    fprintf(stderr, "cannot test: %s\n", reason.c_str());
    return 1;
  }
  const int status = RUN_ALL_TESTS();
  zol::softgpu::test::theServer.reset();
  return status;
}
