// The lists of attributes that programs hand to GLX calls: any ints, ended as the calls want them.
// The driver is this file's own and reads the lists as drivers do.

#include "display/contexts.h"
#include "display/tsd.h"
#include "drawable/glx_drawables.h"
#include "foundation/conf_settings.h"
#include "fuzz/fuzz.h"
#include "fuzz/x_server.h"
#include "vendor/system_functions.h"
#include "visual/fbconfig_queries.h"
#include "visual/visual_queries.h"

#include <X11/Xutil.h>

#include <cstdio>
#include <memory>

using zol::fuzz::XServer;

// What is logged is written nowhere.
extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  return __real_fopen(std::strstr(path, ".log") != nullptr ? "/dev/null" : path, mode);
}
}

namespace {

// --- the driver ----------------------------------------------------------------------------------

int kinds[1]; // one configuration
GLXFBConfig const config = reinterpret_cast<GLXFBConfig>(kinds);

void readPairs(const int* list) {
  volatile int sum = 0;
  for (; list != nullptr && *list != 0; list += 2)
    sum = sum ^ list[0] ^ list[1];
}

GLXFBConfig* oneConfig(int* count) {
  if (count != nullptr) *count = 1;
  auto* const configs = static_cast<GLXFBConfig*>(std::malloc(sizeof config));
  *configs = config;
  return configs;
}

int answerAttribute(int attribute, int* value) {
  switch (attribute) {
  case GLX_USE_GL:
  case GLX_RGBA:
  case GLX_DOUBLEBUFFER:
    *value = 1;
    return 0;
  case GLX_DEPTH_SIZE:
    *value = 24;
    return 0;
  default:
    *value = 8;
    return 0;
  }
}

Display* localDisplay;

XVisualInfo* onlyVisual() {
  XVisualInfo wanted{};
  int count = 0;
  return XGetVisualInfo(localDisplay, VisualNoMask, &wanted, &count);
}

void installDriver() {
  system_glXQueryExtensionsString = [](Display*, int) { return ""; };
  system_glXGetConfig = [](Display*, XVisualInfo*, int attribute, int* value) {
    return answerAttribute(attribute, value);
  };
  system_glXGetFBConfigAttrib = [](Display*, GLXFBConfig, int attribute, int* value) {
    return answerAttribute(attribute, value);
  };
  system_glXGetFBConfigs = [](Display*, int, int* count) { return oneConfig(count); };
  system_glXChooseFBConfig = [](Display*, int, const int* list, int* count) {
    readPairs(list);
    return oneConfig(count);
  };
  system_glXGetVisualFromFBConfig = [](Display*, GLXFBConfig) { return onlyVisual(); };
  system_glXCreateContextAttribsARB = [](Display*, GLXFBConfig, GLXContext, Bool, const int* list) {
    readPairs(list);
    return reinterpret_cast<GLXContext>(std::malloc(1));
  };
  system_glXDestroyContext = [](Display*, GLXContext context) { std::free(context); };
  system_glXCreatePbuffer = [](Display*, GLXFBConfig, const int* list) -> GLXPbuffer {
    readPairs(list);
    return 0x300001;
  };
  system_glXGetCurrentContext = []() -> GLXContext { return nullptr; };
  system_glXGetCurrentDrawable = []() -> GLXDrawable { return None; };
  system_glXDestroyPbuffer = [](Display*, GLXPbuffer) {};
}

// --- the program ---------------------------------------------------------------------------------

// Servers and connections stay to the end of the process, as the library's own do.
Display* start() {
  static auto& application = *new XServer(true);
  static auto& local = *new XServer(true);
  setenv("ZOL_GL_DISPLAY", local.name().c_str(), 1);
  setenv("ZOL_GL_LOG_LEVEL", "debug", 1);
  setenv("ZOL_GL_LOG_DIR", "/", 1);
  setenv("ZOL_GL_ADD_GL_DEBUG_CALLBACK", "true", 1);
  setenv("ZOL_GL_USER_CONFDIR", "/", 1);
  FUZZ_CHECK(zol::initRuntimeSymbols());
  zol::conf::Settings::init();
  tsdKey = zol::createTLSKey(cleanupTSD);
  localDisplay = XOpenDisplay(local.name().c_str());
  FUZZ_CHECK(localDisplay != nullptr);
  installDriver();
  Display* const display = XOpenDisplay(application.name().c_str());
  FUZZ_CHECK(display != nullptr);
  // Each of the calls below must get as far as its list.
  XVisualInfo* const visual = onlyVisual();
  FUZZ_CHECK(visual != nullptr);
  XFree(visual);
  return display;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Display* const display = start();

  zol::fuzz::Input input(data, size);
  const std::uint8_t call = input.byte();
  // Two zeros end a list for readers of pairs and of single ints alike.
  const std::size_t count = input.left() / sizeof(int);
  const auto list = std::make_unique<int[]>(count + 2);
  for (std::size_t i = 0; i < count; ++i)
    list[i] = static_cast<int>(input.word());

  int found = 0;
  switch (call % 4) {
  case 0:
    if (XVisualInfo* const visual = zol_glXChooseVisual(display, 0, list.get())) XFree(visual);
    break;
  case 1: {
    GLXFBConfig* const configs = zol_glXChooseFBConfig(display, 0, list.get(), &found);
    FUZZ_CHECK(configs != nullptr && found == 1 && configs[0] == config);
    XFree(configs);
    break;
  }
  case 2: {
    GLXContext const context =
        zol_glXCreateContextAttribsARB(display, config, nullptr, True, list.get());
    FUZZ_CHECK(context != nullptr);
    zol_glXDestroyContext(display, context);
    break;
  }
  default:
    FUZZ_CHECK(zol_glXCreatePbuffer(display, config, list.get()) == 0x300001);
    zol_glXDestroyPbuffer(display, 0x300001);
    break;
  }
  return 0;
}
