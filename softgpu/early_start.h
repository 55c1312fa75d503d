#pragma once

#include "softgpu/gl_headers.h"

namespace zol::softgpu {

// Draws and reads back a little on a pbuffer, the first time it is called, without changing it.
// llvmpipe and LLVM make some of their static objects when something is first drawn or read, and an
// exiting process destroys them before it calls the exit handlers that the program registered
// earlier. A program that lets go of its context there still has its last frame read, and a GPU
// driver does not mind. So these objects are made as early as they can be.
void startRendererEarly(Display* display, GLXFBConfig config, GLXPbuffer pbuffer);

} // namespace zol::softgpu
