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
  std::vector<unsigned char> pixels; // of the next frame
  std::vector<unsigned char> buffer; // pixels of the frame that was read last
};

Driver& resetDriver();

} // namespace fake
