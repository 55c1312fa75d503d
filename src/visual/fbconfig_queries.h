#pragma once

#include "vendor/glx_api.h"

// The FBConfig queries. Programs get the local display's FBConfigs, those that serve one of their
// own display's visuals; wherever a visual is named it is the program's display's.

// An array of local FBConfigs, the caller's to XFree, or null. With nothing suitable among the
// driver's answers the array is non-null and *nelements 0.
GLXFBConfig* zol_glXChooseFBConfig(Display* dpy, int screen, const int* attribList, int* nelements);
GLXFBConfigSGIX* zol_glXChooseFBConfigSGIX(Display* dpy, int screen, int* attribList,
                                           int* nelements);
GLXFBConfig* zol_glXGetFBConfigs(Display* dpy, int screen, int* nelements);

// The driver's return code; 0, and *value untouched, without a local display.
int zol_glXGetFBConfigAttrib(Display* dpy, GLXFBConfig config, int attribute, int* value);
int zol_glXGetFBConfigAttribSGIX(Display* dpy, GLXFBConfigSGIX config, int attribute, int* value);

// A visual of the program's display, the caller's to XFree, or null.
XVisualInfo* zol_glXGetVisualFromFBConfig(Display* dpy, GLXFBConfig config);
XVisualInfo* zol_glXGetVisualFromFBConfigSGIX(Display* dpy, GLXFBConfigSGIX config);

GLXFBConfigSGIX zol_glXGetFBConfigFromVisualSGIX(Display* dpy, XVisualInfo* vis); // always null
