#include "visual/local_fbconfig.h"

#include "display/pairing.h"
#include "foundation/immortal.h"
#include "foundation/map.h"
#include "vendor/system_functions.h"
#include "visual/x_memory.h"

#include <atomic>
#include <memory>
#include <new>

namespace {

using HandlesById = zol::Map<int, GLXFBConfig>;
using IdsByHandle = zol::Map<GLXFBConfig, int>;

std::atomic<Display*> home{nullptr};
std::atomic<Display*> homeOf{nullptr}; // the application display
std::atomic<IdsByHandle*> idsOfClosedHome{nullptr};

int idOf(Display* local, GLXFBConfig config) {
  int id = 0;
  const bool known = system_glXGetFBConfigAttrib(local, config, GLX_FBCONFIG_ID, &id) == Success;
  return known ? id : 0;
}

template <class Visit>
void forEachFBConfig(Display* local, Visit visit) {
  int count = 0;
  const XMemory<GLXFBConfig> configs(system_glXGetFBConfigs(local, DefaultScreen(local), &count));
  for (int i = 0; configs != nullptr && i < count; ++i) {
    visit(configs.get()[i], idOf(local, configs.get()[i]));
  }
}

// Guarded by the local display mutex.
zol::Map<Display*, HandlesById*>& handlesByDisplay() {
  static zol::Immortal<zol::Map<Display*, HandlesById*>> byDisplay;
  return *byDisplay.get();
}

HandlesById& handlesOf(Display* local) {
  HandlesById*& handles = handlesByDisplay()[local];
  if (handles == nullptr) {
    auto asked = std::make_unique<HandlesById>();
    forEachFBConfig(local, [&](GLXFBConfig config, int id) { (*asked)[id] = config; });
    handles = asked.release();
  }
  return *handles;
}

GLXFBConfig closedHomeHandle(int id) {
  for (const auto& node : *idsOfClosedHome.load()) {
    if (node.value == id) return node.key;
  }
  return nullptr;
}

} // namespace

void setHomeOfFBConfigs(Display* appDisplay, Display* local) {
  homeOf = appDisplay;
  home = local;
}

void leaveHomeOfFBConfigs(Display* local) {
  if (local != home) return;
  // A display is closed where nothing may throw, at the end of a thread for instance.
  auto* const ids = new (std::nothrow) IdsByHandle;
  if (ids != nullptr) {
    forEachFBConfig(local, [&](GLXFBConfig config, int id) {
      if (int* const known = ids->obtain(config)) *known = id;
    });
  }
  idsOfClosedHome = ids;
  home = nullptr;
}

void forgetFBConfigsOf(Display* local) {
  if (HandlesById** const handles = handlesByDisplay().find(local)) {
    delete *handles;
    handlesByDisplay().erase(local);
  }
}

void holdHomeOfFBConfigs() {
  if (LocalDisplayCall::displaysAreClosed && home != nullptr) openLocalDisplay(homeOf);
}

int idOfMappedFBConfig(GLXFBConfig mapped) {
  if (Display* const open = home) return idOf(open, mapped);
  const IdsByHandle* const ids = idsOfClosedHome;
  const int* const id = ids != nullptr ? ids->find(mapped) : nullptr;
  return id != nullptr ? *id : 0;
}

GLXFBConfig fbconfigOn(Display* local, GLXFBConfig config) {
  if (local == home || config == nullptr) return config;
  const int id = idOfMappedFBConfig(config);
  if (id == 0) return config; // not one of the map's: it came from `local`
  GLXFBConfig* const counterpart = handlesOf(local).find(id);
  return counterpart != nullptr ? *counterpart : config;
}

GLXFBConfig fbconfigAtHome(Display* local, GLXFBConfig config) {
  Display* const open = home;
  if (local == open || config == nullptr) return config;
  if (open == nullptr && idsOfClosedHome == nullptr) return config; // no map yet
  const int id = idOf(local, config);
  if (id == 0) return config;
  if (open == nullptr) {
    GLXFBConfig const mapped = closedHomeHandle(id);
    return mapped != nullptr ? mapped : config;
  }
  GLXFBConfig* const mapped = handlesOf(open).find(id);
  return mapped != nullptr ? *mapped : config;
}
