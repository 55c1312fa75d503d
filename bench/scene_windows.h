#pragma once

#include "gl_window.h"
#include "scene.h"
#include "size.h"
#include "x_connection.h"

#include <deque>

namespace zol::bench {

// Windows of one thread, on a connection of its own, each with a context and a scene in it.
class SceneWindows {
public:
  // `first` is the place of the first window on the screen, where windows lie side by side. Throws
  // std::runtime_error that says what the display lacks.
  SceneWindows(Size size, int first, int count);

  // Makes a window's context current and draws its next frame, which swap() finishes.
  void draw(int index);
  void swap(int index) const { windows_[static_cast<size_t>(index)].window.swapBuffers(); }
  void frame(int index) {
    draw(index);
    swap(index);
  }

  int count() const { return static_cast<int>(windows_.size()); }
  const GlWindow& window(int index) const { return windows_[static_cast<size_t>(index)].window; }

private:
  struct SceneWindow {
    SceneWindow(XConnection& connection, Size size, int place);
    GlWindow window;
    Scene scene;
    Size size;
  };

  XConnection connection_;
  std::deque<SceneWindow> windows_;
  int current_ = -1;
};

} // namespace zol::bench
