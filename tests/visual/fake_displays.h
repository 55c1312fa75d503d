#pragma once

#include "vendor/glx_api.h"

#include <X11/Xutil.h>

#include <functional>
#include <map>
#include <vector>

// Two displays without servers: visuals, FBConfigs and what the driver answers about them are data
// of the test.
namespace fake {

struct Visual {
  VisualID id;
  int depth;
  std::map<int, int> attributes; // of glXGetConfig
};

struct Config {
  int id;
  int samples;
  VisualID visual;               // 0: none
  std::map<int, int> attributes; // others; what is missing is refused
};

extern Display* const app;
extern Display* const local;
extern Display* const otherApp; // a second one of the application, with the same visuals

struct World {
  bool hasTSD = true;
  bool pairs = true;
  bool hasLocalDisplay = true;
  bool idsUnderLocalMutex = true; // else FBConfigs are asked for their ids under the map's alone
  VisualID onlyVisual = 0;        // not 0: what XGetVisualInfo finds, whatever it looks for
  const char* appExtensions = "";
  const char* localExtensions = "";
  std::vector<Visual> appVisuals;
  std::vector<Visual> localVisuals;
  std::vector<Config> configs;
  // The indexes into `configs` that glXChooseFBConfig finds for a request list.
  std::function<std::vector<int>(const int*)> choose;
};

// Sets up the driver's functions and forgets what was recorded.
World& reset();

GLXFBConfig config(int index);

// A visual of eight bits each of red, green and blue, as Xlib knows it.
XVisualInfo info(VisualID id, int depth, int visualClass);

// The GLX properties of an RGBA visual.
std::map<int, int> rgba(bool doubleBuffer, int alphaSize = 0, int samples = 0);

} // namespace fake
