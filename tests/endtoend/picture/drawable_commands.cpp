#include "endtoend/picture/drawing.h"
#include "endtoend/picture/gl_function.h"
#include "endtoend/picture/words.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace zol::endtoend {
namespace {

struct FreeWithX {
  void operator()(void* memory) const { XFree(memory); }
};

Pixmap createPixmap(Display* display, int width, int height, int depth) {
  return XCreatePixmap(display, DefaultRootWindow(display), static_cast<unsigned>(width),
                       static_cast<unsigned>(height), static_cast<unsigned>(depth));
}

std::string makePixmap(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  const int width = next<int>(words), height = next<int>(words), depth = next<int>(words);
  const bool doubleBuffered = next<std::string>(words) == "double";
  Display* const display = stage.display();
  XVisualInfo visual = searchVisual(display, depth, doubleBuffered);
  const Pixmap id = createPixmap(display, width, height, depth);
  const GLXPixmap drawable = glXCreateGLXPixmap(display, &visual, id);
  if (drawable == None) throw std::runtime_error("no GLX pixmap");
  stage.add(name, StageDrawable{display, id, drawable, doubleBuffered, width, height, depth,
                                visual.visualid});
  return ok();
}

// With "texture": one that can be bound as a texture.
std::string makeConfigPixmap(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  GLXFBConfig const config = stage.config(next<std::string>(words));
  const int width = next<int>(words), height = next<int>(words), depth = next<int>(words);
  const int attributes[] = {GLX_TEXTURE_TARGET_EXT, GLX_TEXTURE_2D_EXT, GLX_TEXTURE_FORMAT_EXT,
                            depth == 32 ? GLX_TEXTURE_FORMAT_RGBA_EXT : GLX_TEXTURE_FORMAT_RGB_EXT,
                            None};
  Display* const display = stage.display();
  const Pixmap id = createPixmap(display, width, height, depth);
  const GLXPixmap drawable =
      glXCreatePixmap(display, config, id, nextOr(words, "") == "texture" ? attributes : nullptr);
  if (drawable == None) throw std::runtime_error("no GLX pixmap");
  int doubleBuffered = 0;
  glXGetFBConfigAttrib(display, config, GLX_DOUBLEBUFFER, &doubleBuffered);
  stage.add(name, StageDrawable{display, id, drawable, doubleBuffered != 0, width, height, depth});
  return ok();
}

std::string destroyPixmap(Stage& stage, std::istringstream& words) {
  const StageDrawable& gone = stage.drawable(next<std::string>(words));
  if (gone.visual != None) {
    glXDestroyGLXPixmap(gone.display, gone.drawable);
  } else {
    glXDestroyPixmap(gone.display, gone.drawable);
  }
  XFreePixmap(gone.display, gone.id);
  XSync(gone.display, False);
  return ok();
}

std::string makePbuffer(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  GLXFBConfig const config = stage.config(next<std::string>(words));
  const int width = next<int>(words), height = next<int>(words);
  const int attributes[] = {
      GLX_PBUFFER_WIDTH, width, GLX_PBUFFER_HEIGHT, height, GLX_PRESERVED_CONTENTS, True, None};
  Display* const display = stage.display();
  const GLXPbuffer drawable = glXCreatePbuffer(display, config, attributes);
  if (drawable == None) throw std::runtime_error("no pbuffer");
  int doubleBuffered = 0;
  glXGetFBConfigAttrib(display, config, GLX_DOUBLEBUFFER, &doubleBuffered);
  stage.add(name, StageDrawable{display, None, drawable, doubleBuffered != 0, width, height, 32});
  return ok();
}

std::string destroyPbuffer(Stage& stage, std::istringstream& words) {
  const StageDrawable& gone = stage.drawable(next<std::string>(words));
  glXDestroyPbuffer(gone.display, gone.drawable);
  return ok();
}

std::string makeBothCurrent(Stage& stage, std::istringstream& words) {
  const auto draw = next<std::string>(words), read = next<std::string>(words);
  stage.makeCurrent(draw, read, next<std::string>(words));
  return ok();
}

std::string nameOf(Stage& stage, GLXDrawable id, std::istringstream& names) {
  for (std::string name; names >> name;) {
    if (stage.drawable(name).drawable == id) return name;
  }
  return id == None ? "none" : "another";
}

std::string currentDraw(Stage& stage, std::istringstream& words) {
  return ok(nameOf(stage, glXGetCurrentDrawable(), words));
}

std::string currentRead(Stage& stage, std::istringstream& words) {
  return ok(nameOf(stage, glXGetCurrentReadDrawable(), words));
}

std::string query(Stage& stage, std::istringstream& words) {
  const StageDrawable& asked = stage.drawable(next<std::string>(words));
  unsigned int value = 0;
  glXQueryDrawable(asked.display, asked.drawable, std::stoi(next<std::string>(words), nullptr, 0),
                   &value);
  return ok(std::to_string(value));
}

// The picture, drawn by the X server.
std::string drawWithX(Stage& stage, std::istringstream& words) {
  const StageDrawable& target = stage.drawable(next<std::string>(words));
  const auto picture = next<std::string>(words);
  GC const gc = XCreateGC(target.display, target.id, 0, nullptr);
  for (const Rect& rect : scene(picture, next<int>(words), target.width, target.height)) {
    XSetForeground(target.display, gc, rect.colour);
    XFillRectangle(target.display, target.id, gc, rect.x, rect.y, static_cast<unsigned>(rect.width),
                   static_cast<unsigned>(rect.height));
  }
  XFreeGC(target.display, gc);
  return ok();
}

std::string copyWithX(Stage& stage, std::istringstream& words) {
  const StageDrawable& from = stage.drawable(next<std::string>(words));
  const StageDrawable& to = stage.drawable(next<std::string>(words));
  GC const gc = XCreateGC(to.display, to.id, 0, nullptr);
  XCopyArea(to.display, from.id, to.id, gc, 0, 0, static_cast<unsigned>(from.width),
            static_cast<unsigned>(from.height), 0, 0);
  XFreeGC(to.display, gc);
  XSync(to.display, False);
  return ok();
}

// "WIDTH HEIGHT" and the pixels, row by row from the top.
std::string describe(int width, int height, const std::vector<std::uint32_t>& pixels) {
  std::string result = std::to_string(width) + " " + std::to_string(height) + " ";
  char digits[9];
  for (const std::uint32_t pixel : pixels) {
    std::snprintf(digits, sizeof digits, "%08x", pixel);
    result += digits;
  }
  return ok(result);
}

std::string readWithX(Stage& stage, std::istringstream& words) {
  const StageDrawable& from = stage.drawable(next<std::string>(words));
  XImage* const image = XGetImage(from.display, from.id, 0, 0, static_cast<unsigned>(from.width),
                                  static_cast<unsigned>(from.height), AllPlanes, ZPixmap);
  if (image == nullptr) throw std::runtime_error("no image");
  const std::uint32_t meaning = from.depth == 32 ? ~0u : 0xffffffu;
  std::vector<std::uint32_t> pixels;
  for (int y = 0; y < from.height; ++y) {
    for (int x = 0; x < from.width; ++x)
      pixels.push_back(static_cast<std::uint32_t>(XGetPixel(image, x, y)) & meaning);
  }
  XDestroyImage(image);
  return describe(from.width, from.height, pixels);
}

std::string readWithGl(Stage&, std::istringstream& words) {
  const int width = next<int>(words), height = next<int>(words);
  std::vector<std::uint32_t> found(static_cast<std::size_t>(width * height)), pixels;
  glReadPixels(0, 0, width, height, GL_BGRA, GL_UNSIGNED_BYTE, found.data());
  for (int y = height - 1; y >= 0; --y)
    pixels.insert(pixels.end(), found.begin() + y * width, found.begin() + (y + 1) * width);
  return describe(width, height, pixels);
}

std::string waitGl(Stage&, std::istringstream&) {
  glXWaitGL();
  return ok();
}

std::string waitX(Stage&, std::istringstream&) {
  glXWaitX();
  return ok();
}

std::string synchronize(Stage& stage, std::istringstream&) {
  XSync(stage.display(), False);
  return ok();
}

GLuint boundTexture = 0;

std::string bindTexture(Stage& stage, std::istringstream& words) {
  const StageDrawable& from = stage.drawable(next<std::string>(words));
  static const auto bind = glFunction<PFNGLXBINDTEXIMAGEEXTPROC>("glXBindTexImageEXT");
  if (boundTexture == 0) glGenTextures(1, &boundTexture);
  glBindTexture(GL_TEXTURE_2D, boundTexture);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  bind(from.display, from.drawable, GLX_FRONT_LEFT_EXT, nullptr);
  return ok();
}

std::string drawTexture(Stage& stage, std::istringstream&) {
  glBindTexture(GL_TEXTURE_2D, boundTexture);
  drawBoundTexture(stage.current().width, stage.current().height);
  return ok();
}

std::string releaseTexture(Stage& stage, std::istringstream& words) {
  const StageDrawable& from = stage.drawable(next<std::string>(words));
  static const auto release = glFunction<PFNGLXRELEASETEXIMAGEEXTPROC>("glXReleaseTexImageEXT");
  release(from.display, from.drawable, GLX_FRONT_LEFT_EXT);
  return ok();
}

} // namespace

const Commands& drawableCommands() {
  static const Commands commands = {
      {"pixmap", makePixmap},              // NAME WIDTH HEIGHT DEPTH double|single
      {"config-pixmap", makeConfigPixmap}, // NAME CONFIG WIDTH HEIGHT DEPTH [texture]
      {"destroy-pixmap", destroyPixmap},   // NAME
      {"pbuffer", makePbuffer},            // NAME CONFIG WIDTH HEIGHT
      {"destroy-pbuffer", destroyPbuffer}, // NAME
      {"current-both", makeBothCurrent},   // DRAW READ CONTEXT
      {"current-draw", currentDraw},       // NAMES...: which it is
      {"current-read", currentRead},       // NAMES...: which it is
      {"query", query},                    // NAME NUMBER
      {"x-draw", drawWithX},               // NAME PICTURE FRAME
      {"x-copy", copyWithX},               // FROM TO
      {"x-read", readWithX},               // NAME: its pixels
      {"gl-read", readWithGl},             // WIDTH HEIGHT: the pixels of the read buffer
      {"wait-gl", waitGl},                 //
      {"wait-x", waitX},                   //
      {"sync", synchronize},               //
      {"bind-texture", bindTexture},       // PIXMAP
      {"draw-texture", drawTexture},       //
      {"release-texture", releaseTexture}, // PIXMAP
  };
  return commands;
}

} // namespace zol::endtoend
