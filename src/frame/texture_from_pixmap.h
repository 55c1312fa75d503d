#pragma once

#include "vendor/glx_api.h"

// A GLX pixmap as a texture: every bind copies the program's pixmap to the local one first.
void zol_glXBindTexImageEXT(Display* dpy, GLXDrawable drawable, int buffer, const int* attribs);
void zol_glXReleaseTexImageEXT(Display* dpy, GLXDrawable drawable, int buffer);
