#include "bench/null_driver/display_model.h"

#include <cstdlib>
#include <vector>

namespace zol::null_driver {

namespace {

constexpr int kFirstConfigId = 0x100;
constexpr int kFirstVisualId = 0x10000;
constexpr int kDefaultCount = 800;

bool hasBackBuffer(unsigned long id) {
  return (id & 2) != 0;
}

const std::vector<FBConfig>& configs() {
  static const std::vector<FBConfig> all = [] {
    const char* const wanted = std::getenv("ZOL_NULL_FBCONFIGS");
    const int count = wanted != nullptr ? std::atoi(wanted) : kDefaultCount;
    std::vector<FBConfig> made;
    for (int i = 0; i < count; ++i)
      made.push_back({kFirstConfigId + i, kFirstVisualId + i, i % 2 == 0 ? 24 : 32});
    return made;
  }();
  return all;
}

template <class Wanted>
GLXFBConfig* configsThat(Wanted wanted, int* count) {
  auto* const array =
      static_cast<GLXFBConfig*>(std::malloc(configs().size() * sizeof(GLXFBConfig)));
  int found = 0;
  for (const FBConfig& config : configs()) {
    if (wanted(config)) {
      array[found++] = reinterpret_cast<GLXFBConfig>(const_cast<FBConfig*>(&config));
    }
  }
  *count = found;
  return array;
}

int attribute(unsigned long visualId, int depth, int attribute, int* value) {
  const int alpha = depth == 32 ? 8 : 0;
  switch (attribute) {
  case GLX_USE_GL:
  case GLX_RGBA:
    *value = 1;
    break;
  case GLX_BUFFER_SIZE:
    *value = depth;
    break;
  case GLX_DOUBLEBUFFER:
    *value = hasBackBuffer(visualId);
    break;
  case GLX_RED_SIZE:
  case GLX_GREEN_SIZE:
  case GLX_BLUE_SIZE:
    *value = 8;
    break;
  case GLX_ALPHA_SIZE:
    *value = alpha;
    break;
  case GLX_DEPTH_SIZE:
    *value = 24;
    break;
  case GLX_STENCIL_SIZE:
    *value = 8;
    break;
  case GLX_CONFIG_CAVEAT:
  case GLX_TRANSPARENT_TYPE:
    *value = GLX_NONE;
    break;
  case GLX_RENDER_TYPE:
    *value = GLX_RGBA_BIT;
    break;
  default:
    *value = 0;
  }
  return Success;
}

} // namespace

GLXFBConfig* allFBConfigs(int* count) {
  return configsThat([](const FBConfig&) { return true; }, count);
}

GLXFBConfig* chooseFBConfigs(const int* request, int* count) {
  for (; request != nullptr && *request != None; request += 2) {
    if (request[0] != GLX_DOUBLEBUFFER) continue;
    const bool doubled = request[1] != 0;
    return configsThat(
        [=](const FBConfig& config) {
          return hasBackBuffer(static_cast<unsigned>(config.visualId)) == doubled;
        },
        count);
  }
  return allFBConfigs(count);
}

int attributeOfFBConfig(const FBConfig& config, int wanted, int* value) {
  switch (wanted) {
  case GLX_FBCONFIG_ID:
    *value = config.id;
    return Success;
  case GLX_VISUAL_ID:
    *value = config.visualId;
    return Success;
  case GLX_RGBA: // belongs to visuals
    return GLX_BAD_ATTRIBUTE;
  default:
    return attribute(static_cast<unsigned>(config.visualId), config.depth, wanted, value);
  }
}

int attributeOfVisual(const XVisualInfo& visual, int wanted, int* value) {
  return attribute(visual.visualid, visual.depth, wanted, value);
}

XVisualInfo* visualOf(Display* display, const FBConfig& config) {
  auto* const visual = static_cast<XVisualInfo*>(std::calloc(1, sizeof(XVisualInfo)));
  visual->visual = DefaultVisual(display, DefaultScreen(display));
  visual->visualid = static_cast<VisualID>(config.visualId);
  visual->screen = DefaultScreen(display);
  visual->depth = config.depth;
  visual->c_class = TrueColor;
  return visual;
}

} // namespace zol::null_driver
