#pragma once

#include "vendor/glx_api.h"

// The visual queries of GLX 1.2, answered from the visual map: the program is told what it will get
// on the local display, in terms of its own display's visuals.

// The first visual whose local counterpart satisfies `attribList`, or null. The caller frees it
// with XFree.
XVisualInfo* zol_glXChooseVisual(Display* dpy, int screen, int* attribList);

// Success, GLX_BAD_ATTRIBUTE or GLX_BAD_VISUAL; *value is 0 in both failures.
int zol_glXGetConfig(Display* dpy, XVisualInfo* vis, int attrib, int* value);
