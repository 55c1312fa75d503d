#pragma once

#include "vendor/glx_api.h"

#include <vector>

// A driver that records its calls. Names count up from 1 for each kind of object.
namespace fake {

struct Driver {
  GLenum framebufferStatus = GL_FRAMEBUFFER_COMPLETE;
  bool mapsBuffers = true;
  bool makesContexts = true;
  bool makesCurrent = true;
  std::vector<unsigned char> pixels; // what a mapped buffer holds
};

Driver& resetDriver();

} // namespace fake
