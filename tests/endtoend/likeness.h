#pragma once

#include "endtoend/foreign_program.h"

#include <array>
#include <cstddef>

namespace zol::endtoend {

// How many pixels of one picture or several have which colour, coarsely: four shades of red, green
// and blue.
class Colours {
public:
  void add(const Picture& picture);
  // The part of the pixels that have the same colour in both, without those of the colour that is
  // the most common here: 1 when all shares are equal, 0 when no colour is in both.
  double likeness(const Colours& other) const;

private:
  static constexpr std::size_t kShades = 4;
  std::array<double, kShades * kShades * kShades> counts_{};
  double pixels_ = 0;
};

// Whether it is empty or of one colour.
bool isBlank(const Picture& picture);

// What a program showed straight and through the library, both running.
struct Comparison {
  Picture straight;
  Picture through;
  bool isEqual = false; // and stayed so for a while
  double likeness = 0;  // of the colours of several frames
};

// A part of a picture; all of it when its width is 0.
struct Area {
  int width = 0, height = 0, x = 0, y = 0;
};

// Empty when the area does not lie in the picture.
Picture cut(const Picture& picture, const Area& area);

// Waits until both show the same picture there and keep it; gives up after half of kPatience.
Comparison compareStill(const ForeignProgram& straight, const ForeignProgram& through,
                        const Area& area = {});

// From this likeness on, moving pictures are taken for alike. The frames looked at are not the same
// ones: what turns a little with each frame is seen from other sides.
constexpr double kAlike = 0.8;

// Looks at many frames of each, in turn.
Comparison compareMoving(const ForeignProgram& straight, const ForeignProgram& through,
                         int frames = 60);

} // namespace zol::endtoend
