#include "scene_windows.h"

#include <stdexcept>
#include <string>

namespace zol::bench {

namespace {

constexpr char kTitle[] = "zol-bench";

// Windows must not cover each other: what is covered is not painted.
XPoint position(XConnection& connection, Size size, int place) {
  const Screen* const screen = DefaultScreenOfDisplay(connection.get());
  const int columns = WidthOfScreen(screen) / size.width;
  const int rows = HeightOfScreen(screen) / size.height;
  if (place >= columns * rows) {
    throw std::runtime_error("the screen of '" + connection.name() + "' has no room for " +
                             std::to_string(place + 1) + " windows of that size");
  }
  return {static_cast<short>(place % columns * size.width),
          static_cast<short>(place / columns * size.height)};
}

} // namespace

SceneWindows::SceneWindow::SceneWindow(XConnection& connection, Size ofWindow, int place)
    : window(connection, ofWindow, kTitle, position(connection, ofWindow, place)), size(ofWindow) {
  scene.resize(size);
}

SceneWindows::SceneWindows(Size size, int first, int count) {
  for (int i = 0; i < count; ++i)
    windows_.emplace_back(connection_, size, first + i);
  current_ = count - 1;
}

void SceneWindows::draw(int index) {
  SceneWindow& drawn = windows_[static_cast<size_t>(index)];
  if (index != current_) {
    drawn.window.makeCurrent();
    current_ = index;
  }
  if (drawn.window.takeResize(&drawn.size)) drawn.scene.resize(drawn.size);
  drawn.scene.draw();
}

} // namespace zol::bench
