#include "visual/visual_map.h"

#include "display/pairing.h"
#include "display/tsd.h"
#include "foundation/conf_settings.h"
#include "foundation/immortal.h"
#include "foundation/log.h"
#include "vendor/system_functions.h"
#include "visual/fbconfig_owners.h"
#include "visual/local_fbconfig.h"
#include "visual/match_extension.h"
#include "visual/x_memory.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

using zol::MutexLock;
using zol::gl::LocalVisualInfo;

namespace {

bool visualMapInitialized ZOL_GUARDED_BY(getLVIMutex()) = false;

bool hasMultisample(Display* display) {
  return matchExtension(system_glXQueryExtensionsString(display, DefaultScreen(display)),
                        "GLX_ARB_multisample");
}

// Multisampling of the local display counts unless it is switched off; unset (-1) is on.
bool usesLocalMultisample(Display* local) {
  if (zol::conf::settings().multisample == 0) return false;
  MutexLock lock(getLocalDisplayMutex());
  return hasMultisample(local);
}

int fbConfigAttrib(Display* local, GLXFBConfig config, int attribute) {
  int value = 0;
  MutexLock lock(getLocalDisplayMutex());
  system_glXGetFBConfigAttrib(local, config, attribute, &value);
  return value;
}

void chooseFBConfigs(Display* local, LocalVisualInfo* entry) {
  int list[zol::gl::maxAttribListSize];
  entry->populateAttribList(list);
  MutexLock lock(getLocalDisplayMutex());
  entry->fbConfigs =
      system_glXChooseFBConfig(local, DefaultScreen(local), list, &entry->numFBConfigs);
  if (!entry->fbConfigs) entry->numFBConfigs = 0;
}

// The earliest config with the fewest samples of those that have enough; 0 when none has.
int indexOfFewestSamples(Display* local, const LocalVisualInfo& entry) {
  // The bound is the count of sample buffers, not of samples: a visual with multisampling takes the
  // cheapest multisampled config unless the user asks for more.
  const int bound = std::max(entry.appVisual.sampleBuffers, zol::conf::settings().multisample);
  int index = 0;
  int fewest = INT_MAX;
  for (int i = 0; i < entry.numFBConfigs; ++i) {
    const int samples = fbConfigAttrib(local, entry.fbConfigs[i], GLX_SAMPLES);
    if (bound <= samples && samples < fewest) {
      fewest = samples;
      index = i;
    }
  }
  return index;
}

// Moves bestConfig forward to the first config whose X visual has the application visual's depth
// and reads that visual. False when there is none from the starting index on.
bool findLocalVisual(Display* local, LocalVisualInfo* entry, bool withMultisample) {
  for (int i = entry->bestConfig; i < entry->numFBConfigs; ++i) {
    MutexLock visualLock(getLocalDisplayMutex());
    const XMemory<XVisualInfo> visual(system_glXGetVisualFromFBConfig(local, entry->fbConfigs[i]));
    visualLock.unlock();
    if (!visual) continue;

    MutexLock attributesLock(getLocalDisplayMutex());
    fetchXVisualInfoAttributes(local, visual.get(), &entry->localVisual, withMultisample);
    attributesLock.unlock();
    if (entry->localVisual.depth == entry->appVisual.depth) {
      entry->bestConfig = i;
      return true;
    }
  }
  return false;
}

// A map that is not complete yet. Broken off, it leaves nothing.
struct Draft {
  Draft() = default;
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;
  ~Draft() {
    for (LocalVisualInfo* entry : entries) {
      XFree(entry->fbConfigs);
      delete entry;
    }
  }

  std::list<LocalVisualInfo*> entries;
  zol::gl::FBConfigOwners owners;
};

} // namespace

std::list<LocalVisualInfo*>* getListLocalVisuals() {
  static zol::Immortal<std::list<LocalVisualInfo*>> list;
  return list.get();
}

zol::Mutex* getLVIMutex() {
  static zol::Immortal<zol::Mutex> mutex(false);
  return mutex.get();
}

void initializeVisualMap(Display* appDisplay, int screen, zol::gl::TSD* tsd) {
  if (!tsd) tsd = getTSD();
  if (!tsd) return;

  MutexLock lock(getLVIMutex());
  if (visualMapInitialized) return;

  XVisualInfo wanted = {};
  wanted.screen = screen;
  int count = 0;
  XMemory<XVisualInfo> visuals(XGetVisualInfo(appDisplay, VisualScreenMask, &wanted, &count));
  if (!visuals) {
    ZOLGL_ERROR_STDERR("FATAL: cannot find any visual in the display.");
    std::exit(20);
  }
  ZOLGL_INFO("obtained %d visuals for appDisplay", count);

  const bool appMultisample = hasMultisample(appDisplay);
  if (appMultisample) ZOLGL_INFO("App display supports multisampling");

  if (!_setupAppDisplay(appDisplay, tsd)) return;
  Display* const local = _getLocalDisplay(tsd);
  if (!local) return;

  const bool localMultisample = usesLocalMultisample(local);
  if (localMultisample) ZOLGL_INFO("Local display supports multisampling");

  std::vector<std::unique_ptr<LocalVisualInfo>> candidates;
  for (int i = 0; i < count; ++i) {
    XVisualInfo* const visual = &visuals.get()[i];
    auto entry = std::make_unique<LocalVisualInfo>();
    fetchXVisualInfoAttributes(appDisplay, visual, &entry->appVisual, appMultisample);
    if (!entry->appVisual.useGL) {
      ZOLGL_INFO("skipping id %lx (does not support OpenGL)", visual->visualid);
      continue;
    }
    ZOLGL_INFO("adding id %lx (%d)", visual->visualid, entry->appVisual.doubleBuffer);
    entry->doubleBuffered = entry->appVisual.doubleBuffer != 0;
    candidates.push_back(std::move(entry));
  }
  visuals.reset();

  Draft draft;
  for (auto& entry : candidates) {
    const unsigned int appId = entry->appVisual.visualId;
    chooseFBConfigs(local, entry.get());
    XMemory<GLXFBConfig> configs(entry->fbConfigs); // given up when the entry is admitted
    if (entry->numFBConfigs == 0) {
      ZOLGL_DEBUG("Could not find any compatible FBConfig for app visual id %x - dropping item",
                  appId);
      continue;
    }

    if (localMultisample) entry->bestConfig = indexOfFewestSamples(local, *entry);
    const int startId = fbConfigAttrib(local, entry->bestFBConfig(), GLX_FBCONFIG_ID);
    const int startSamples = fbConfigAttrib(local, entry->bestFBConfig(), GLX_SAMPLES);
    ZOLGL_DEBUG("Choosing fbconfig %p (id %x) as best local config for app visual %x, with %d "
                "samples",
                static_cast<void*>(entry->bestFBConfig()), startId, appId, startSamples);

    if (!findLocalVisual(local, entry.get(), localMultisample)) {
      ZOLGL_DEBUG("Could not determine a local XVisual for app visual %x - dropping item", appId);
      continue;
    }
    draft.entries.push_back(entry.get());
    LocalVisualInfo* const admitted = entry.release();
    static_cast<void>(configs.release()); // the entry keeps them
    draft.owners.add(admitted);
    const int id = fbConfigAttrib(local, admitted->bestFBConfig(), GLX_FBCONFIG_ID);
    ZOLGL_DEBUG("LVI %p: fbconfig %p, fbconfig id 0x%x, local visual id 0x%x, app visual id 0x%x",
                static_cast<void*>(admitted), static_cast<void*>(admitted->bestFBConfig()), id,
                admitted->localVisual.visualId, appId);
  }
  getListLocalVisuals()->swap(draft.entries);
  std::swap(*getFBConfigOwners(), draft.owners);
  setHomeOfFBConfigs(pairedDisplayOf(tsd, appDisplay), local);
  visualMapInitialized = true;
}
