#pragma once

#include "vendor/glx_api.h"

// GLX pixmaps and pbuffers live on the local display and keep its ids; a GLX window is the
// program's X window itself.
GLXPixmap zol_glXCreatePixmap(Display* dpy, GLXFBConfig config, Pixmap pixmap, const int* attribs);
GLXPixmap zol_glXCreateGLXPixmap(Display* dpy, XVisualInfo* visual, Pixmap pixmap);
GLXPixmap zol_glXCreateGLXPixmapWithConfigSGIX(Display* dpy, GLXFBConfigSGIX config, Pixmap pixmap);
void zol_glXDestroyPixmap(Display* dpy, GLXPixmap pixmap);
void zol_glXDestroyGLXPixmap(Display* dpy, GLXPixmap pixmap);
GLXPbuffer zol_glXCreatePbuffer(Display* dpy, GLXFBConfig config, const int* attribs);
GLXPbufferSGIX zol_glXCreateGLXPbufferSGIX(Display* dpy, GLXFBConfigSGIX config, unsigned int width,
                                           unsigned int height, int* attribs);
void zol_glXDestroyPbuffer(Display* dpy, GLXPbuffer pbuffer);
void zol_glXDestroyGLXPbufferSGIX(Display* dpy, GLXPbufferSGIX pbuffer);
GLXWindow zol_glXCreateWindow(Display* dpy, GLXFBConfig config, Window window, const int* attribs);
void zol_glXDestroyWindow(Display* dpy, GLXWindow window);
void zol_glXQueryDrawable(Display* dpy, GLXDrawable drawable, int attribute, unsigned int* value);
int zol_glXQueryGLXPbufferSGIX(Display* dpy, GLXPbufferSGIX pbuffer, int attribute,
                               unsigned int* value);
