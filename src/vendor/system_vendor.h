#pragma once

#include <X11/Xlib.h>

// Finds the GLVND vendor library of the local display, loads it and runs its __glx_Main with our
// copy of GLVND's imports (vendorState). Returns the file name that was loaded (the caller frees
// it) or null.
char* findSystemGLXVendor();

// The GLX server string `name` of `screen`: a new string (the caller frees it) or null.
char* queryXServerString(Display* dpy, int screen, int name);
