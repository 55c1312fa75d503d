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

// The handle on `to` of what `config` is on `from`; `config` itself where `from` does not know it.
GLXFBConfig exchange(Display* from, Display* to, GLXFBConfig config) {
  const int id = idOf(from, config);
  if (id == 0) return config;
  const GLXFBConfig* const counterpart = handlesOf(to).find(id);
  return counterpart != nullptr ? *counterpart : config;
}

} // namespace

void setHomeOfFBConfigs(Display* local) {
  home = local;
}

Display* homeOfFBConfigs(Display* otherwise) {
  Display* const known = home;
  return known != nullptr ? known : otherwise;
}

GLXFBConfig fbconfigOn(Display* local, GLXFBConfig config) {
  Display* const known = homeOfFBConfigs(local);
  return local == known || config == nullptr ? config : exchange(known, local, config);
}

GLXFBConfig fbconfigAtHome(Display* local, GLXFBConfig config) {
  Display* const known = homeOfFBConfigs(local);
  return local == known || config == nullptr ? config : exchange(local, known, config);
}
