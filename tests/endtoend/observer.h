#pragma once

#include "endtoend/x11.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace zol::endtoend {

// A picture as the server has it, row by row from the top. Pixels are 0xAARRGGBB; without an alpha
// channel the highest byte means nothing and is 0 here.
struct Picture {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;

  bool operator==(const Picture&) const = default;
};

// What scene() describes, painted here. `depth`: that of the window it is compared with.
Picture paintedScene(const std::string& name, int frame, int width, int height, int depth = 24);

// Success when they are equal to the last byte, otherwise which pixels differ.
testing::AssertionResult samePicture(const Picture& expected, const Picture& found);

// Looks at the windows of an X server from outside the program they belong to, on a connection of
// its own. X errors of that connection (a window that is not there) do nothing.
// Thread safety: one thread at a time per object.
class Observer {
public:
  explicit Observer(const std::string& display);
  ~Observer();
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;

  Display* display() const { return display_; }

  // The window's pixels; none when it is not on the screen.
  Picture picture(Window window) const;
  // Waits until the window shows this picture.
  testing::AssertionResult shows(Window window, const Picture& expected) const;
  // Waits until the condition holds, asked again whenever something was painted into the window.
  bool waitFor(Window window, const std::function<bool()>& condition) const;
  // Waits until something was painted into the window this many times.
  bool seesPaints(Window window, int count) const;

  // Windows on the screen, the top-level ones.
  std::vector<Window> windows() const;
  // Of all clients together: the objects they own in the server, by kind.
  std::map<std::string, unsigned> resourceCounts() const;
  // The same as text, "KIND COUNT".
  std::vector<std::string> resources() const;

private:
  Display* display_;
  int damageEvents_ = 0;
};

} // namespace zol::endtoend
