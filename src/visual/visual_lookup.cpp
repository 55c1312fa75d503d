#include "display/pairing.h"
#include "foundation/log.h"
#include "vendor/system_functions.h"
#include "visual/fbconfig_owners.h"
#include "visual/local_fbconfig.h"
#include "visual/visual_map.h"
#include "visual/x_memory.h"

#include <algorithm>

using zol::MutexLock;
using zol::gl::LocalVisualInfo;

namespace {

template <class Predicate>
LocalVisualInfo* findEntry(Predicate matches) {
  MutexLock lock(getLVIMutex());
  const auto* list = getListLocalVisuals();
  const auto found = std::find_if(list->begin(), list->end(),
                                  [&](const LocalVisualInfo* entry) { return matches(*entry); });
  return found == list->end() ? nullptr : *found;
}

LocalVisualInfo* findOwner(GLXFBConfig config, bool hasAlpha, int localDepth) {
  MutexLock lock(getLVIMutex());
  return getFBConfigOwners()->find(config, hasAlpha, localDepth);
}

} // namespace

LocalVisualInfo* _getLVI(Display* appDisplay, VisualID id, zol::gl::TSD* tsd) {
  initializeVisualMap(appDisplay, DefaultScreen(appDisplay), tsd);
  LocalVisualInfo* const entry = findEntry(
      [id](const LocalVisualInfo& candidate) { return candidate.appVisual.visualId == id; });
  if (!entry) ZOLGL_DEBUG("LVI for app visual %x not found", static_cast<unsigned int>(id));
  return entry;
}

LocalVisualInfo* _getLVI(Display* appDisplay, GLXFBConfig localConfig, zol::gl::TSD* tsd) {
  initializeVisualMap(appDisplay, DefaultScreen(appDisplay), tsd);
  Display* const local = localDisplayFor(appDisplay, tsd);
  if (!local) return nullptr;
  void* const configAddress = localConfig; // for the messages

  int visualId = 0;
  int rgba = 0;
  int alphaSize = 0;
  MutexLock attributesLock(getLocalDisplayMutex());
  const int status = system_glXGetFBConfigAttrib(local, localConfig, GLX_VISUAL_ID, &visualId);
  // Not an FBConfig attribute: a driver that refuses it leaves the config without alpha here.
  if (system_glXGetFBConfigAttrib(local, localConfig, GLX_RGBA, &rgba) != Success) rgba = 0;
  system_glXGetFBConfigAttrib(local, localConfig, GLX_ALPHA_SIZE, &alphaSize);
  attributesLock.unlock();

  if (status == Success) {
    LocalVisualInfo* const entry = findEntry([visualId](const LocalVisualInfo& candidate) {
      return candidate.localVisual.visualId == static_cast<unsigned int>(visualId);
    });
    if (entry) {
      ZOLGL_DEBUG("LVI found for fbconfig %p (local visual %x).", configAddress, visualId);
      return entry;
    }
    ZOLGL_DEBUG("LVI not found for fbconfig %p (local visual %x). Trying another way...",
                configAddress, visualId);
  }

  MutexLock visualLock(getLocalDisplayMutex());
  const XMemory<XVisualInfo> visual(system_glXGetVisualFromFBConfig(local, localConfig));
  visualLock.unlock();
  if (!visual) {
    ZOLGL_ERROR("No visual found on local display with id %x", visualId);
    return nullptr;
  }

  const bool hasAlpha = rgba != 0 && alphaSize >= 1;
  MutexLock homeLock(getLocalDisplayMutex());
  GLXFBConfig const mapped = fbconfigAtHome(local, localConfig);
  homeLock.unlock();
  LocalVisualInfo* const owner = findOwner(mapped, hasAlpha, visual->depth);
  if (!owner) {
    ZOLGL_DEBUG("LVI for fbconfig %p not found (again)", configAddress);
    return nullptr;
  }
  ZOLGL_DEBUG("LVI found %p - app visual: 0x%x, local visual: 0x%x", static_cast<void*>(owner),
              owner->appVisual.visualId, static_cast<unsigned int>(visual->visualid));
  if (hasAlpha && owner->appVisual.depth != visual->depth)
    ZOLGL_DEBUG("App and local visual have different depths, app: %d - local: %d",
                owner->appVisual.depth, visual->depth);
  return owner;
}
