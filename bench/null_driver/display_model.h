#pragma once

#include "vendor/glx_api.h"

namespace zol::null_driver {

// The visuals and FBConfigs that the null driver speaks of. All are RGBA with 8 bits a channel; the
// second bit of the id says whether there is a back buffer. Every FBConfig has a visual of its own,
// of depth 24 and 32 in turns. How many there are is read from ZOL_NULL_FBCONFIGS, 800 without it.

// An FBConfig; what a GLXFBConfig of this driver points to.
struct FBConfig {
  int id;
  int visualId;
  int depth;
};

GLXFBConfig* allFBConfigs(int* count);
// Those with or without a back buffer, as the request asks; all without one. The caller XFrees it.
GLXFBConfig* chooseFBConfigs(const int* request, int* count);

int attributeOfFBConfig(const FBConfig& config, int attribute, int* value);
int attributeOfVisual(const XVisualInfo& visual, int attribute, int* value);
// The caller XFrees it.
XVisualInfo* visualOf(Display* display, const FBConfig& config);

} // namespace zol::null_driver
