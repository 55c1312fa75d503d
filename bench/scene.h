#pragma once

#include "size.h"

namespace zol::bench {

// Three lit, turning cog-like solids: two thousand triangles in display lists, none of them large,
// most of the window left to the clear. Everything is drawn with the current context's OpenGL 1.1.
class Scene {
public:
  Scene();
  void resize(Size size) const;
  // Draws the next frame. Each turns the solids by the same angle, however fast frames follow.
  void draw();

private:
  static constexpr int kSolids = 3;
  unsigned int lists_[kSolids];
  float angle_ = 0;
};

} // namespace zol::bench
