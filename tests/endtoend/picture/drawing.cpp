#include "endtoend/picture/drawing.h"

#include <GL/gl.h>

#include <array>
#include <atomic>
#include <cmath>

namespace zol::endtoend {
namespace {

constexpr int kTextureSize = 64;
std::atomic<GLuint> sharedTexture{0};

void setColour(std::uint32_t colour) {
  glColor4ub(static_cast<GLubyte>(colour >> 16), static_cast<GLubyte>(colour >> 8),
             static_cast<GLubyte>(colour), static_cast<GLubyte>(colour >> 24));
}

// One unit is one pixel, with y from the top.
void setPixelCoordinates(int width, int height) {
  glViewport(0, 0, width, height);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0, width, height, 0, -1, 1);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
}

void drawGradient(int frame, int width, int height) {
  const auto shade = static_cast<GLubyte>(frame * 16);
  glBegin(GL_QUADS);
  glColor4ub(255, shade, 0, 255);
  glVertex2i(0, 0);
  glColor4ub(0, 255, shade, 160);
  glVertex2i(width, 0);
  glColor4ub(shade, 0, 255, 80);
  glVertex2i(width, height);
  glColor4ub(255, 255, 255, 0);
  glVertex2i(0, height);
  glEnd();
}

// Edges that lie between the pixels.
void drawStar(int frame, int width, int height) {
  const auto across = static_cast<float>(width), down = static_cast<float>(height);
  glBegin(GL_TRIANGLES);
  for (int corner = 0; corner < 7; ++corner) {
    setColour(0xff000000u | static_cast<std::uint32_t>(corner + frame) * 0x241c15u);
    const float angle = 0.9f * static_cast<float>(corner) + 0.1f * static_cast<float>(frame);
    glVertex2f(across / 2, down / 2);
    glVertex2f(across * (0.5f + 0.45f * std::cos(angle)), down * (0.5f + 0.45f * std::sin(angle)));
    glVertex2f(across * (0.5f + 0.4f * std::cos(angle + 0.3f)),
               down * (0.5f + 0.4f * std::sin(angle + 0.3f)));
  }
  glEnd();
}

void fill(const Rect& rect) {
  setColour(rect.colour);
  glRecti(rect.x, rect.y, rect.x + rect.width, rect.y + rect.height);
}

} // namespace

void drawRect(const Rect& rect, int width, int height) {
  setPixelCoordinates(width, height);
  fill(rect);
}

void drawBoundTexture(int width, int height) {
  setPixelCoordinates(width, height);
  glEnable(GL_TEXTURE_2D);
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
  glBegin(GL_QUADS);
  glTexCoord2i(0, 0);
  glVertex2i(0, 0);
  glTexCoord2i(1, 0);
  glVertex2i(width, 0);
  glTexCoord2i(1, 1);
  glVertex2i(width, height);
  glTexCoord2i(0, 1);
  glVertex2i(0, height);
  glEnd();
  glDisable(GL_TEXTURE_2D);
}

void draw(const std::string& name, int frame, int width, int height) {
  setPixelCoordinates(width, height);
  if (name == "gradient") return drawGradient(frame, width, height);
  if (name == "star") return drawStar(frame, width, height);
  if (name == "texture") {
    glBindTexture(GL_TEXTURE_2D, sharedTexture);
    return drawBoundTexture(width, height);
  }
  for (const Rect& rect : scene(name, frame, width, height))
    fill(rect);
}

void makeTexture(int frame) {
  std::array<std::array<std::uint32_t, kTextureSize>, kTextureSize> texels{};
  for (const Rect& rect : scene("quadrants", frame, kTextureSize, kTextureSize)) {
    for (int y = rect.y; y < rect.y + rect.height; ++y) {
      for (int x = rect.x; x < rect.x + rect.width; ++x)
        texels[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = rect.colour;
    }
  }
  GLuint texture = sharedTexture;
  if (texture == 0) glGenTextures(1, &texture);
  sharedTexture = texture;
  glBindTexture(GL_TEXTURE_2D, texture);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, kTextureSize, kTextureSize, 0, GL_BGRA, GL_UNSIGNED_BYTE,
               texels.data());
  // Another context uses it next, and must find it finished.
  glFinish();
}

} // namespace zol::endtoend
