#include "visual/local_fbconfig.h"

#include "foundation/map.h"
#include "vendor/system_functions.h"
#include "visual/x_memory.h"

#include <atomic>

namespace {

using HandlesById = zol::Map<int, GLXFBConfig>;

std::atomic<Display*> home{nullptr};

int idOf(Display* local, GLXFBConfig config) {
  int id = 0;
  const bool known = system_glXGetFBConfigAttrib(local, config, GLX_FBCONFIG_ID, &id) == Success;
  return known ? id : 0;
}

// Guarded by the local display mutex; kept for the life of the process, as local displays are.
HandlesById& handlesOf(Display* local) {
  static auto& byDisplay = *new zol::Map<Display*, HandlesById*>;
  HandlesById*& handles = byDisplay[local];
  if (handles != nullptr) return *handles;
  handles = new HandlesById;
  int count = 0;
  const XMemory<GLXFBConfig> configs(system_glXGetFBConfigs(local, DefaultScreen(local), &count));
  for (int i = 0; configs != nullptr && i < count; ++i) {
    (*handles)[idOf(local, configs.get()[i])] = configs.get()[i];
  }
  return *handles;
}

} // namespace

void setHomeOfFBConfigs(Display* local) {
  home = local;
}

GLXFBConfig fbconfigOn(Display* local, GLXFBConfig config) {
  Display* const homeDisplay = home;
  if (local == homeDisplay || homeDisplay == nullptr || config == nullptr) return config;
  const int id = idOf(homeDisplay, config);
  if (id == 0) return config; // not one of the map's: it came from `local`
  GLXFBConfig* const counterpart = handlesOf(local).find(id);
  return counterpart != nullptr ? *counterpart : config;
}
