#include "endtoend/picture/drawing.h"
#include "endtoend/picture/gl_function.h"
#include "endtoend/picture/words.h"
#include "endtoend/scene.h"

#include <array>
#include <vector>

namespace zol::endtoend {
namespace {

const std::map<std::string, GLenum> kNames = {
    {"none", GL_NONE},
    {"front", GL_FRONT},
    {"back", GL_BACK},
    {"left", GL_LEFT},
    {"right", GL_RIGHT},
    {"front-left", GL_FRONT_LEFT},
    {"front-right", GL_FRONT_RIGHT},
    {"back-left", GL_BACK_LEFT},
    {"front-and-back", GL_FRONT_AND_BACK},
    {"render", GL_RENDER},
    {"select", GL_SELECT},
    {"feedback", GL_FEEDBACK},
    {"samples", GL_SAMPLES_PASSED},
    {"any", GL_ANY_SAMPLES_PASSED},
    {"any-conservative", GL_ANY_SAMPLES_PASSED_CONSERVATIVE},
    {"primitives", GL_PRIMITIVES_GENERATED},
    {"time", GL_TIME_ELAPSED},
};

GLenum nextName(std::istringstream& words) {
  const auto name = next<std::string>(words);
  const auto found = kNames.find(name);
  if (found == kNames.end()) throw std::runtime_error("no such name: " + name);
  return found->second;
}

std::uint32_t nextColour(std::istringstream& words) {
  return static_cast<std::uint32_t>(std::stoul(next<std::string>(words), nullptr, 16));
}

std::string drawBuffer(Stage&, std::istringstream& words) {
  glDrawBuffer(nextName(words));
  return ok();
}

std::string readBuffer(Stage&, std::istringstream& words) {
  glReadBuffer(nextName(words));
  return ok();
}

std::string flush(Stage&, std::istringstream&) {
  glFlush();
  return ok();
}

std::string finish(Stage&, std::istringstream&) {
  glFinish();
  return ok();
}

std::string clear(Stage&, std::istringstream& words) {
  const std::uint32_t colour = nextColour(words);
  const auto part = [=](int shift) { return static_cast<float>(colour >> shift & 0xff) / 255.0f; };
  glClearColor(part(16), part(8), part(0), part(24));
  glClear(GL_COLOR_BUFFER_BIT);
  return ok();
}

// The way of programs with new contexts.
void clearBuffer(std::istringstream& words) {
  const std::uint32_t colour = nextColour(words);
  const auto part = [=](int shift) { return static_cast<float>(colour >> shift & 0xff) / 255.0f; };
  const std::array<GLfloat, 4> value = {part(16), part(8), part(0), part(24)};
  static const auto clear = glFunction<PFNGLCLEARBUFFERFVPROC>("glClearBufferfv");
  clear(GL_COLOR, 0, value.data());
}

std::string clearColourBuffer(Stage&, std::istringstream& words) {
  clearBuffer(words);
  return ok();
}

// Fills a framebuffer object with a colour and copies a part of it to the window.
std::string blit(Stage&, std::istringstream& words) {
  static const auto genFramebuffers = glFunction<PFNGLGENFRAMEBUFFERSPROC>("glGenFramebuffers");
  static const auto bindFramebuffer = glFunction<PFNGLBINDFRAMEBUFFERPROC>("glBindFramebuffer");
  static const auto genRenderbuffers = glFunction<PFNGLGENRENDERBUFFERSPROC>("glGenRenderbuffers");
  static const auto bindRenderbuffer = glFunction<PFNGLBINDRENDERBUFFERPROC>("glBindRenderbuffer");
  static const auto storage = glFunction<PFNGLRENDERBUFFERSTORAGEPROC>("glRenderbufferStorage");
  static const auto attach =
      glFunction<PFNGLFRAMEBUFFERRENDERBUFFERPROC>("glFramebufferRenderbuffer");
  static const auto blitFramebuffer = glFunction<PFNGLBLITFRAMEBUFFERPROC>("glBlitFramebuffer");
  const int x = next<int>(words), y = next<int>(words);
  const int width = next<int>(words), height = next<int>(words);
  GLuint framebuffer = 0, renderbuffer = 0;
  genFramebuffers(1, &framebuffer);
  genRenderbuffers(1, &renderbuffer);
  bindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
  storage(GL_RENDERBUFFER, GL_RGBA8, width, height);
  bindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  attach(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
  clearBuffer(words);
  bindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  blitFramebuffer(0, 0, width, height, x, y, x + width, y + height, GL_COLOR_BUFFER_BIT,
                  GL_NEAREST);
  bindFramebuffer(GL_FRAMEBUFFER, 0);
  return ok();
}

std::string rect(Stage& stage, std::istringstream& words) {
  const int x = next<int>(words), y = next<int>(words);
  const int width = next<int>(words), height = next<int>(words);
  const StageDrawable& target = stage.current();
  drawRect({x, y, width, height, nextColour(words)}, target.width, target.height);
  return ok();
}

// The picture as one image, the bottom row first.
std::string drawPixels(Stage& stage, std::istringstream& words) {
  const auto picture = next<std::string>(words);
  const int width = stage.current().width, height = stage.current().height;
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width * height));
  for (const Rect& part : scene(picture, next<int>(words), width, height)) {
    for (int y = std::max(part.y, 0); y < std::min(part.y + part.height, height); ++y) {
      for (int x = std::max(part.x, 0); x < std::min(part.x + part.width, width); ++x)
        pixels[static_cast<std::size_t>((height - 1 - y) * width + x)] = part.colour;
    }
  }
  static const auto windowPosition = glFunction<PFNGLWINDOWPOS2IPROC>("glWindowPos2i");
  windowPosition(0, 0);
  glDrawPixels(width, height, GL_BGRA, GL_UNSIGNED_BYTE, pixels.data());
  return ok();
}

std::string copyPixels(Stage&, std::istringstream& words) {
  const int x = next<int>(words), y = next<int>(words);
  const int width = next<int>(words), height = next<int>(words);
  static const auto windowPosition = glFunction<PFNGLWINDOWPOS2IPROC>("glWindowPos2i");
  const int toX = next<int>(words);
  windowPosition(toX, next<int>(words));
  glCopyPixels(x, y, width, height, GL_COLOR);
  return ok();
}

std::string bitmap(Stage&, std::istringstream& words) {
  static constexpr std::array<GLubyte, 8> kArrow = {0x10, 0x30, 0x7f, 0xff, 0x7f, 0x30, 0x10, 0x01};
  const int x = next<int>(words), y = next<int>(words);
  const std::uint32_t colour = nextColour(words);
  glColor4ub(static_cast<GLubyte>(colour >> 16), static_cast<GLubyte>(colour >> 8),
             static_cast<GLubyte>(colour), static_cast<GLubyte>(colour >> 24));
  static const auto windowPosition = glFunction<PFNGLWINDOWPOS2IPROC>("glWindowPos2i");
  windowPosition(x, y);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  for (int i = 0; i < 3; ++i)
    glBitmap(8, 8, 0, 0, 10, 1, kArrow.data());
  return ok();
}

// Three rectangles, one of them outside; the names of those that were hit.
std::string select(Stage& stage, std::istringstream&) {
  const StageDrawable& target = stage.current();
  std::array<GLuint, 64> hits{};
  glSelectBuffer(static_cast<GLsizei>(hits.size()), hits.data());
  glRenderMode(GL_SELECT);
  glInitNames();
  glPushName(0);
  for (GLuint name : {11u, 22u, 33u}) {
    glLoadName(name);
    const int x = name == 22 ? target.width * 2 : static_cast<int>(name);
    drawRect({x, 5, 20, 20, 0xffffffff}, target.width, target.height);
  }
  glFlush();
  glFinish();
  const GLint count = glRenderMode(GL_RENDER);
  std::string result = std::to_string(count) + " hits:";
  std::size_t at = 0;
  for (GLint i = 0; i < count; ++i) {
    const GLuint names = hits[at];
    at += 3;
    for (GLuint j = 0; j < names; ++j)
      result += " " + std::to_string(hits[at++]);
  }
  return ok(result);
}

std::string feedback(Stage& stage, std::istringstream&) {
  const StageDrawable& target = stage.current();
  std::array<GLfloat, 64> values{};
  glFeedbackBuffer(static_cast<GLsizei>(values.size()), GL_2D, values.data());
  glRenderMode(GL_FEEDBACK);
  drawRect({4, 4, 20, 10, 0xffffffff}, target.width, target.height);
  glFlush();
  glFinish();
  const GLint count = glRenderMode(GL_RENDER);
  std::string result = std::to_string(count) + " values:";
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i)
    result += " " + std::to_string(static_cast<int>(values[i]));
  return ok(result);
}

// The mode for the steps that follow; what leaving the mode before it gave.
std::string renderMode(Stage&, std::istringstream& words) {
  static std::array<GLuint, 64> hits;
  static std::array<GLfloat, 64> values;
  const GLenum mode = nextName(words);
  if (mode == GL_SELECT) glSelectBuffer(static_cast<GLsizei>(hits.size()), hits.data());
  if (mode == GL_FEEDBACK)
    glFeedbackBuffer(static_cast<GLsizei>(values.size()), GL_2D, values.data());
  return ok(std::to_string(glRenderMode(mode)));
}

std::map<std::string, GLuint>& queries() {
  static std::map<std::string, GLuint> all;
  return all;
}

std::string makeQuery(Stage&, std::istringstream& words) {
  static const auto genQueries = glFunction<PFNGLGENQUERIESPROC>("glGenQueries");
  genQueries(1, &queries()[next<std::string>(words)]);
  return ok();
}

std::string makeQueryArb(Stage&, std::istringstream& words) {
  static const auto genQueries = glFunction<PFNGLGENQUERIESARBPROC>("glGenQueriesARB");
  genQueries(1, &queries()[next<std::string>(words)]);
  return ok();
}

std::string beginQuery(Stage&, std::istringstream& words) {
  static const auto begin = glFunction<PFNGLBEGINQUERYPROC>("glBeginQuery");
  const GLuint query = queries()[next<std::string>(words)];
  begin(nextName(words), query);
  return ok();
}

std::string endQuery(Stage&, std::istringstream& words) {
  static const auto end = glFunction<PFNGLENDQUERYPROC>("glEndQuery");
  end(nextName(words));
  return ok();
}

std::string queryResult(Stage&, std::istringstream& words) {
  static const auto result = glFunction<PFNGLGETQUERYOBJECTUIVPROC>("glGetQueryObjectuiv");
  GLuint value = 0;
  result(queries()[next<std::string>(words)], GL_QUERY_RESULT, &value);
  return ok(std::to_string(value));
}

std::string pushAttributes(Stage&, std::istringstream&) {
  glPushAttrib(GL_ALL_ATTRIB_BITS);
  return ok();
}

std::string popAttributes(Stage&, std::istringstream&) {
  glPopAttrib();
  return ok();
}

std::string glError(Stage&, std::istringstream&) {
  return ok(hex(glGetError()));
}

std::string getInteger(Stage&, std::istringstream& words) {
  GLint value = -1;
  glGetIntegerv(static_cast<GLenum>(std::stoul(next<std::string>(words), nullptr, 0)), &value);
  return ok(std::to_string(value));
}

} // namespace

const Commands& oldGlCommands() {
  static const Commands commands = {
      {"draw-buffer", drawBuffer},         // BUFFER
      {"read-buffer", readBuffer},         // BUFFER
      {"flush", flush},                    //
      {"finish", finish},                  //
      {"clear", clear},                    // COLOUR
      {"clear-buffer", clearColourBuffer}, // COLOUR
      {"blit", blit},                      // X Y WIDTH HEIGHT COLOUR, y from the bottom
      {"rect", rect},                      // X Y WIDTH HEIGHT COLOUR
      {"draw-pixels", drawPixels},         // PICTURE FRAME
      {"copy-pixels", copyPixels},         // X Y WIDTH HEIGHT TO-X TO-Y, y from the bottom
      {"bitmap", bitmap},                  // X Y COLOUR, y from the bottom
      {"select", select},                  // its hits
      {"feedback", feedback},              // its values
      {"render-mode", renderMode},         // render|select|feedback: what the mode before gave
      {"make-query", makeQuery},           // QUERY
      {"make-query-arb", makeQueryArb},    // QUERY
      {"begin-query", beginQuery},         // QUERY TARGET
      {"end-query", endQuery},             // TARGET
      {"query-result", queryResult},       // QUERY
      {"push-attributes", pushAttributes},
      {"pop-attributes", popAttributes},
      {"gl-error", glError},       // the oldest one
      {"get-integer", getInteger}, // NUMBER
  };
  return commands;
}

} // namespace zol::endtoend
