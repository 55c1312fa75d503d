#pragma once

#include "scene.h"
#include "size.h"
#include "x_connection.h"

#include <GL/glx.h>

#include <cstddef>
#include <memory>

namespace zol::bench {

// The way of one frame with the driver's own functions and nothing of the library: a pbuffer that a
// program's context draws into, and a read context that brings the finished frame into memory. One
// function for each step, in the order of the calls.
class FramePath {
public:
  // Throws std::runtime_error that says what the display lacks.
  FramePath(XConnection& local, Size size);
  ~FramePath();
  FramePath(const FramePath&) = delete;
  FramePath& operator=(const FramePath&) = delete;

  void draw();          // the program's own work
  void swap();          // of the pbuffer
  void noteProgram();   // ask for the current context and its render mode
  void toReadContext(); // make current
  void renew();         // the pixel buffer's store
  void flip();          // upside-down blit into a texture
  void transfer();      // into the pixel buffer
  void map();           // the pixel buffer, until it is renewed
  const void* pixels() const { return pixels_; }
  void toProgramContext(); // make current

  static void finish(); // waits until the current context's work is done

private:
  GLXFBConfig chooseConfig(XConnection& local) const;
  void makeContexts(XConnection& local);
  void makeReadObjects();

  Display* const display_;
  const Size size_;
  const std::ptrdiff_t bytes_; // of a frame
  GLXPbuffer pbuffer_ = None;
  GLXContext program_ = nullptr;
  GLXContext read_ = nullptr;
  unsigned int framebuffer_ = 0;
  const void* pixels_ = nullptr;
  std::unique_ptr<Scene> scene_;
};

} // namespace zol::bench
