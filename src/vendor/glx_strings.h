#pragma once

#include "vendor/glx_api.h"

// Versions, extensions and vendors: the local display's answers, filtered to what the library can
// carry to the program's display, under the library's own vendor name.
Bool zol_glXQueryVersion(Display* dpy, int* major, int* minor);
Bool zol_glXQueryExtension(Display* dpy, int* errorBase, int* eventBase);
const char* zol_glXQueryServerString(Display* dpy, int screen, int name);
const char* zol_glXQueryExtensionsString(Display* dpy, int screen);
const char* zol_glXGetClientString(Display* dpy, int name);
const GLubyte* zol_glGetStringi(GLenum name, GLuint index);

// The supported ones among the driver's extensions, less those that the settings exclude, and the
// library's own last. A new string, the caller's; null without memory.
char* buildExtensionsString(const char* systemExtensions);
