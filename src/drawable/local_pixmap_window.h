#pragma once

#include <X11/Xlib.h>

// The hidden window of the local display on which local pixmaps are made: one per process, created
// at its first use, never destroyed. Hold the local display mutex.
Window getLocalPixmapWindow(Display* local);

// A local display is about to be closed: the window ends with it if it was made there. Hold the
// local display mutex.
void forgetLocalPixmapWindow(Display* local);
