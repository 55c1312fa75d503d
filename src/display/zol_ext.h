#pragma once

#include <X11/Xlib.h>

// Client side of the X extension that the application display carries. Every function serialises on
// the connection's own lock; the library calls them on connections of its own, never on the
// program's.

#define ZOL_EXT_NAME "ZOL-V1"

// Whether the server of `dpy` carries the extension; the answer also goes to *present.
Bool XZolExtQueryExtension(Display* dpy, Bool* present);

// Geometry (rect: x, y relative to the parent, width, height in pixels), visual and visibility of a
// window in one round trip. `visible` may be null. Returns the server's status: 0 when `window` is
// no live window, or on any failure; the outputs are then untouched.
int XZolExtGetWindowInfo(Display* dpy, XExtCodes* codes, Window window, Bool* visible,
                         VisualID* visual, int rect[4]);

// The name of the local display that the server wants its clients to render on. Returns the
// server's status, 0 on failure. *name is a malloc'ed string, the caller's; untouched when the
// server gives an empty name. errno is ENOMEM when there was no memory for the name: the rest of
// the answer is unread then, and Xlib aborts the program at the next request on the connection, be
// it the one that closes it.
int XZolExtGetGLDisplay(Display* dpy, XExtCodes* codes, char** name);
