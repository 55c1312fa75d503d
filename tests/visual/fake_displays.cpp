#include "visual/fake_displays.h"

#include "display/pairing.h"
#include "display/tsd.h"
#include "vendor/system_functions.h"
#include "visual/recording.h"
#include "visual/visual_map.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <type_traits>

namespace {

using DisplayRecord = std::remove_pointer_t<_XPrivDisplay>;
DisplayRecord appRecord = {};
DisplayRecord localRecord = {};
DisplayRecord otherAppRecord = {};
fake::World world;

const char* nameOf(Display* display) {
  if (display == fake::otherApp) return "other";
  return display == fake::app ? "app" : "local";
}

const std::vector<fake::Visual>& visualsOf(Display* display) {
  return display == fake::local ? world.localVisuals : world.appVisuals;
}

// Every call into the driver on the local display is made with its mutex held.
void checkLock(Display* display) {
  if (display == fake::local) {
    EXPECT_TRUE(recording::holds(getLocalDisplayMutex()));
  }
}

const fake::Config& record(GLXFBConfig config) {
  return world.configs[reinterpret_cast<uintptr_t>(config) - 1];
}

XVisualInfo* infos(const std::vector<fake::Visual>& visuals, VisualID onlyId, int* count) {
  auto* array = static_cast<XVisualInfo*>(std::calloc(visuals.size() + 1, sizeof(XVisualInfo)));
  *count = 0;
  for (const fake::Visual& visual : visuals) {
    if (onlyId && visual.id != onlyId) continue;
    array[(*count)++] = fake::info(visual.id, visual.depth, TrueColor);
  }
  if (*count) return array;
  std::free(array);
  return nullptr;
}

int getConfig(Display* display, XVisualInfo* info, int attribute, int* value) {
  checkLock(display);
  recording::call("glXGetConfig %s 0x%lx %d", nameOf(display), info->visualid, attribute);
  for (const fake::Visual& visual : visualsOf(display)) {
    if (visual.id != info->visualid) continue;
    const auto found = visual.attributes.find(attribute);
    if (found == visual.attributes.end()) return GLX_BAD_ATTRIBUTE;
    *value = found->second;
    return Success;
  }
  return GLX_BAD_VISUAL;
}

const char* queryExtensionsString(Display* display, int screen) {
  checkLock(display);
  recording::call("glXQueryExtensionsString %s %d", nameOf(display), screen);
  return display == fake::app ? world.appExtensions : world.localExtensions;
}

GLXFBConfig* chooseFBConfig(Display* display, int screen, const int* list, int* count) {
  checkLock(display);
  recording::call("glXChooseFBConfig %s %d", nameOf(display), screen);
  const std::vector<int> found = world.choose(list);
  *count = static_cast<int>(found.size());
  if (found.empty()) return nullptr;
  auto* array = static_cast<GLXFBConfig*>(std::calloc(found.size(), sizeof(GLXFBConfig)));
  for (size_t i = 0; i < found.size(); ++i)
    array[i] = fake::config(found[i]);
  return array;
}

int getFBConfigAttrib(Display* display, GLXFBConfig config, int attribute, int* value) {
  if (attribute != GLX_FBCONFIG_ID || world.idsUnderLocalMutex) {
    checkLock(display);
  } else {
    EXPECT_FALSE(recording::holds(getLocalDisplayMutex()));
    EXPECT_TRUE(recording::holds(getLVIMutex()));
  }
  const fake::Config& answers = record(config);
  recording::call("glXGetFBConfigAttrib %s 0x%x 0x%x", nameOf(display), answers.id, attribute);
  const auto found = answers.attributes.find(attribute);
  if (attribute == GLX_FBCONFIG_ID)
    *value = answers.id;
  else if (attribute == GLX_SAMPLES)
    *value = answers.samples;
  else if (found != answers.attributes.end())
    *value = found->second;
  else {
    *value = 77; // a refused attribute has no defined value
    return GLX_BAD_ATTRIBUTE;
  }
  return Success;
}

XVisualInfo* getVisualFromFBConfig(Display* display, GLXFBConfig config) {
  checkLock(display);
  recording::call("glXGetVisualFromFBConfig %s 0x%x", nameOf(display), record(config).id);
  int count = 0;
  const VisualID id = record(config).visual;
  return id ? infos(world.localVisuals, id, &count) : nullptr;
}

} // namespace

namespace fake {

Display* const app = reinterpret_cast<Display*>(&appRecord);
Display* const local = reinterpret_cast<Display*>(&localRecord);
Display* const otherApp = reinterpret_cast<Display*>(&otherAppRecord);

World& reset() {
  appRecord.default_screen = 1;
  localRecord.default_screen = 2;
  world = World{};
  world.choose = [](const int*) { return std::vector<int>{}; };
  system_glXGetConfig = getConfig;
  system_glXQueryExtensionsString = queryExtensionsString;
  system_glXChooseFBConfig = chooseFBConfig;
  system_glXGetFBConfigAttrib = getFBConfigAttrib;
  system_glXGetVisualFromFBConfig = getVisualFromFBConfig;
  recording::clear();
  return world;
}

XVisualInfo info(VisualID id, int depth, int visualClass) {
  XVisualInfo result{};
  result.visualid = id;
  result.depth = depth;
  result.c_class = visualClass;
  result.red_mask = 0xff0000;
  result.green_mask = 0xff00;
  result.blue_mask = 0xff;
  result.colormap_size = 256;
  result.bits_per_rgb = 8;
  return result;
}

GLXFBConfig config(int index) {
  return reinterpret_cast<GLXFBConfig>(static_cast<uintptr_t>(index) + 1);
}

std::map<int, int> rgba(bool doubleBuffer, int alphaSize, int samples) {
  return {{GLX_USE_GL, 1},
          {GLX_BUFFER_SIZE, 24 + alphaSize},
          {GLX_RGBA, 1},
          {GLX_DOUBLEBUFFER, doubleBuffer},
          {GLX_RED_SIZE, 8},
          {GLX_GREEN_SIZE, 8},
          {GLX_BLUE_SIZE, 8},
          {GLX_ALPHA_SIZE, alphaSize},
          {GLX_DEPTH_SIZE, 24},
          {GLX_STENCIL_SIZE, 8},
          {GLX_TRANSPARENT_TYPE, GLX_NONE},
          {GLX_SAMPLE_BUFFERS, samples > 0},
          {GLX_SAMPLES, samples},
          {GLX_VISUAL_CAVEAT_EXT, GLX_NONE}};
}

} // namespace fake

// Stand in for the pairing of the displays.
zol::gl::TSD* getTSD() {
  alignas(zol::gl::TSD) static char record[sizeof(zol::gl::TSD)];
  return world.hasTSD ? reinterpret_cast<zol::gl::TSD*>(record) : nullptr;
}
bool _setupAppDisplay(Display*, zol::gl::TSD*) {
  return world.pairs;
}
Display* _getLocalDisplay(zol::gl::TSD*) {
  return world.hasLocalDisplay ? fake::local : nullptr;
}
Display* openLocalDisplay(Display*) {
  return _getLocalDisplay(nullptr);
}
Display* pairedDisplayOf(const zol::gl::TSD*, Display* appDisplay) {
  return appDisplay;
}
Display* localDisplayFor(Display*, zol::gl::TSD* tsd) {
  return _getLocalDisplay(tsd);
}
Display* pairWithLocalDisplay(Display* dpy, zol::gl::TSD* tsd) {
  return _setupAppDisplay(dpy, tsd) ? _getLocalDisplay(tsd) : nullptr;
}
zol::Mutex* getLocalDisplayMutex() {
  static auto* const mutex = new zol::Mutex(false);
  return mutex;
}

// Stand in for Xlib.
extern "C" {
XVisualInfo* XGetVisualInfo(Display* display, long mask, XVisualInfo* wanted, int* count) {
  recording::call("XGetVisualInfo %s mask 0x%lx screen %d id 0x%lx%s", nameOf(display), mask,
                  wanted->screen, wanted->visualid,
                  recording::holds(getLVIMutex()) ? ", map locked" : "");
  const VisualID onlyId = mask == VisualIDMask ? wanted->visualid : 0;
  return infos(visualsOf(display), world.onlyVisual ? world.onlyVisual : onlyId, count);
}
int XFree(void* memory) {
  std::free(memory);
  return 1;
}
}
