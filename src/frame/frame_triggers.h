#pragma once

#include "vendor/glx_api.h"

namespace zol::gl {
struct TSD;
}

// The calls at which a frame is complete: swaps, and finish and flush while drawing to the front
// buffer. Each reads the frame back on the calling thread; the copyback thread paints it.
void zol_glXSwapBuffers(Display* appDisplay, GLXDrawable drawable);
void zol_glFinish();
void zol_glFlush();

using PFVV = void (*)();

// Common body of finish and flush; `systemFunction` is the driver's glFinish or glFlush.
void finishOrFlush(PFVV systemFunction, zol::gl::TSD* tsd);
