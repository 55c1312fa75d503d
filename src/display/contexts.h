#pragma once

#include "vendor/glx_api.h"

// Creation and destruction of contexts. A program's GLXContext is the local display's own. Contexts
// are always direct.
GLXContext zol_glXCreateContext(Display* dpy, XVisualInfo* vis, GLXContext share, Bool direct);
GLXContext zol_glXCreateNewContext(Display* dpy, GLXFBConfig config, int renderType,
                                   GLXContext share, Bool direct);
GLXContext zol_glXCreateContextWithConfigSGIX(Display* dpy, GLXFBConfigSGIX config, int renderType,
                                              GLXContext share, Bool direct);
GLXContext zol_glXCreateContextAttribsARB(Display* dpy, GLXFBConfig config, GLXContext share,
                                          Bool direct, const int* attribs);
void zol_glXDestroyContext(Display* dpy, GLXContext context);

// Writes the driver's debug messages to the log.
void debugCallback(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length,
                   const GLchar* message, const void* userParam);
