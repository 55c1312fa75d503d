#pragma once

#include <X11/Xlib.h>

namespace zol::softgpu {

// Mesa presents a single-buffered pbuffer as it does a window: at every flush it sends the picture
// to the X server, which refuses it where the pbuffer's pixmap has another depth. Nobody looks at
// that pixmap, the pbuffer's own pixels are right, and the program must not hear of the error. The
// error does not name the drawable, so every refused picture of the connection counts as one of
// these from the first such pbuffer on; errors of other kinds and other connections are not
// touched. Thread safety: both functions.
void takePresentationErrors(Display* display);
void presentingDisplayCloses(Display* display);

} // namespace zol::softgpu
