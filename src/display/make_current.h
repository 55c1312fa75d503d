#pragma once

#include "vendor/glx_api.h"

// Binding contexts to drawables, and what is bound. Programs see their own ids throughout.
Bool zol_glXMakeCurrent(Display* dpy, GLXDrawable drawable, GLXContext context);
Bool zol_glXMakeContextCurrent(Display* dpy, GLXDrawable draw, GLXDrawable read,
                               GLXContext context);
GLXContext zol_glXGetCurrentContext();
GLXDrawable zol_glXGetCurrentDrawable();
GLXDrawable zol_glXGetCurrentReadDrawable();
Display* zol_glXGetCurrentDisplay();
Bool zol_glXIsDirect(Display* dpy, GLXContext context);
int zol_glXQueryContext(Display* dpy, GLXContext context, int attribute, int* value);
void zol_glXCopyContext(Display* dpy, GLXContext src, GLXContext dst, unsigned long mask);
