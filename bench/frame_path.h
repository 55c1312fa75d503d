#pragma once

#include "scene.h"
#include "size.h"
#include "x_connection.h"

#include <GL/glx.h>

#include <memory>

namespace zol::bench {

// The way of one frame with the driver's own functions and nothing of the library: a pbuffer that a
// program's context draws into, and a read context that brings the finished frame into memory. One
// function for each step, in the order of the calls; each returns when its work is done, so that it
// can be timed alone.
class FramePath {
public:
  // Throws std::runtime_error that says what the display lacks.
  FramePath(XConnection& local, Size size);
  ~FramePath();
  FramePath(const FramePath&) = delete;
  FramePath& operator=(const FramePath&) = delete;

  void draw();          // the program's own work
  void swap();          // of the pbuffer
  void toReadContext(); // make current
  void flip();          // upside-down blit into a texture
  void transfer();      // into the pixel buffer, and map it
  const void* pixels() const { return pixels_; }
  void toProgramContext(); // make current

private:
  GLXFBConfig chooseConfig(XConnection& local) const;
  void makeContexts(XConnection& local);
  void makeReadObjects();

  Display* const display_;
  const Size size_;
  GLXPbuffer pbuffer_ = None;
  GLXContext program_ = nullptr;
  GLXContext read_ = nullptr;
  unsigned int framebuffer_ = 0;
  const void* pixels_ = nullptr;
  std::unique_ptr<Scene> scene_;
};

} // namespace zol::bench
