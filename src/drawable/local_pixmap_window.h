#pragma once

#include <X11/Xlib.h>

// The hidden window of the local display on which local pixmaps are made: one per process, created
// at its first use, never destroyed. Hold the local display mutex.
Window getLocalPixmapWindow(Display* local);
