#pragma once

// The public GL and GLX interfaces with their prototypes. Nothing here is ever linked against: the
// prototypes give the types of the driver's functions and of the interposers.

#define GL_GLEXT_PROTOTYPES 1
#define GLX_GLXEXT_PROTOTYPES 1

#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glx.h>
#include <GL/glxext.h>

// Offered by some drivers, declared by no public header.
extern "C" int glXGetRefreshRateSGI(unsigned int* rate);
