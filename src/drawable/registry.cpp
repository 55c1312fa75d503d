#include "drawable/registry.h"

#include "display/pairing.h"
#include "display/tsd.h"
#include "display/zol_ext.h"
#include "drawable/drawable_info.h"
#include "foundation/immortal.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "vendor/system_functions.h"
#include "visual/local_fbconfig.h"
#include "visual/visual_map.h"

#include <algorithm>
#include <iterator>

using zol::hex32;
using zol::MutexLock;
using zol::gl::DrawableInfo;
using zol::gl::DrawableRef;
using zol::gl::LOCAL_WINDOW;
using zol::gl::TSD;

namespace {

// Whether the application server still knows the window. A thread that cannot ask must not take a
// window for dead.
bool windowAnswers(const TSD* tsd, Window window) {
  if (tsd->appdpy2 == nullptr || tsd->extCodes == nullptr) return true;
  Bool visible = False;
  VisualID visual = 0;
  int rect[4];
  return XZolExtGetWindowInfo(tsd->appdpy2, tsd->extCodes, window, &visible, &visual, rect) != 0;
}

// Pixmaps and pbuffers end with their destroy calls only.
bool isDead(const DrawableRef& record, const TSD* tsd) {
  if (record->type != LOCAL_WINDOW) return false;
  if (record->invalidatedFbconfig()) return true;
  return record->onServerOf(tsd->appdpy2) && !windowAnswers(tsd, record->appDrawable);
}

void clearOwnBindings(TSD* tsd, const DrawableRef& record) {
  if (tsd == nullptr) return;
  if (tsd->drawable == record) tsd->drawable.reset();
  if (tsd->readDrawable == record) tsd->readDrawable.reset();
}

// Whether the window's pbuffer is another connection's and nobody uses it: the program has handed
// the window on, or it is a new one with the id of one whose connection is closed. The driver knows
// a pbuffer only on the connection that it was made on.
bool isLeftBehind(const DrawableRef& existing, const TSD* tsd) {
  return existing->type == LOCAL_WINDOW && tsd != nullptr && tsd->appdpy != nullptr &&
         existing->pairedDisplay != tsd->appdpy && !existing->isBound();
}

// The record that serves the request as it is; null when a new one has to be made.
DrawableRef reusable(DrawableRef existing, Display* dpy, Window window, GLXFBConfig fbconfig,
                     const TSD* tsd, const char* label) {
  if (existing->context == nullptr && existing->localDrawable != existing->appDrawable &&
      tsd != nullptr && !windowAnswers(tsd, window)) {
    ZOLGL_LOG_AS(label, DEBUG, "%x was deleted", hex32(window));
    XSync(dpy, False);
    return nullptr;
  }
  const bool leftBehind = isLeftBehind(existing, tsd);
  if (fbconfig == nullptr || (!existing->fbconfigChanged(fbconfig) && !leftBehind)) return existing;
  if (!existing->updateWindowInfo(nullptr, nullptr, nullptr)) {
    ZOLGL_LOG_AS(label, DEBUG, "Cannot invalidate fbconfig if the drawable is not valid");
    return existing;
  }
  ZOLGL_LOG_AS(label, DEBUG, "Invalidating fbconfig for drawable info");
  existing->invalidateFbconfig();
  XSync(dpy, False);
  return nullptr;
}

// The thread's first context on the local display, where the program has made none itself.
bool ensureThrowawayContext(TSD* tsd, GLXFBConfig fbconfig, const char* label) {
  if (tsd->throwawayContext != nullptr) return true;
  ZOLGL_LOG_AS(label, DEBUG, "creating throwaway ctx");
  Display* const local = _getLocalDisplay(tsd);
  if (local == nullptr) return false;
  const MutexLock lock(getLocalDisplayMutex());
  tsd->throwawayContext =
      system_glXCreateNewContext(local, fbconfigOn(local, fbconfig), GLX_RGBA_TYPE, nullptr, True);
  return true;
}

// Held, after the list mutex, while the list changes: a look-up needs this one alone. The list
// mutex is the copyback thread's for as long as it paints all windows, and a program's thread that
// swaps must not wait for the windows of others.
zol::Mutex* lookUpMutex() {
  static zol::Immortal<zol::Mutex> mutex(false);
  return mutex.get();
}

} // namespace

zol::Mutex* getLocalDrawablesMutex() {
  static zol::Immortal<zol::Mutex> mutex(false);
  return mutex.get();
}

std::vector<DrawableRef>* getLocalDrawablesList() {
  static zol::Immortal<std::vector<DrawableRef>> list;
  return list.get();
}

DrawableRef getDrawableInfo(Display* dpy, Window window, GLXFBConfig fbconfig, TSD* tsd) {
  if (tsd == nullptr) tsd = getTSD();
  if (DrawableRef existing = findLocalDrawable(window)) {
    existing = reusable(std::move(existing), dpy, window, fbconfig, tsd, __PRETTY_FUNCTION__);
    if (existing) return existing;
  } else {
    XSync(dpy, False);
  }
  if (tsd == nullptr || fbconfig == nullptr) return nullptr;
  _setupAppDisplay(dpy, tsd);
  clearDeletedDrawables();

  DrawableRef record(new DrawableInfo(LOCAL_WINDOW, window, fbconfig, dpy, 0, 0, 100, 100));
  if (!record->updateWindowInfo(nullptr, nullptr, nullptr)) {
    ZOLGL_DEBUG("failed to update window info (appDrawable %x).", hex32(window));
    return nullptr;
  }
  record->lvi = _getLVI(dpy, record->getVisualID(), tsd);
  if (record->lvi == nullptr) {
    ZOLGL_DEBUG("no lvi for %x", hex32(window));
    return nullptr;
  }
  if (!ensureThrowawayContext(tsd, fbconfig, __PRETTY_FUNCTION__)) return nullptr;
  record->initDummyReadbackPbuffer();
  record->updateOffscreenPbuffer();
  ZOLGL_DEBUG("new local drawable %lx (%d) for app drawable %lx", record->localDrawable.load(),
              record->lvi->doubleBuffered, window);
  return pushWindow(std::move(record));
}

void pushLocalDrawable(const DrawableRef& record) {
  const MutexLock lock(getLocalDrawablesMutex());
  const MutexLock lookUps(lookUpMutex());
  getLocalDrawablesList()->push_back(record);
}

DrawableRef pushWindow(DrawableRef record) {
  const MutexLock lock(getLocalDrawablesMutex());
  auto& list = *getLocalDrawablesList();
  const auto sameWindow = std::find_if(list.begin(), list.end(), [&](const DrawableRef& candidate) {
    return candidate->appDrawable == record->appDrawable &&
           !candidate->fbconfigChanged(record->fbconfig) && !candidate->invalidatedFbconfig();
  });
  if (sameWindow != list.end()) return *sameWindow;
  const MutexLock lookUps(lookUpMutex());
  list.push_back(record);
  return record;
}

DrawableRef findLocalDrawable(unsigned long appDrawable) {
  const MutexLock lock(lookUpMutex());
  for (const DrawableRef& record : *getLocalDrawablesList()) {
    if (record->appDrawable == appDrawable) return record;
  }
  return nullptr;
}

void eraseLocalDrawable(unsigned long appDrawable, zol::gl::LocalDrawableType type) {
  DrawableRef record;
  {
    const MutexLock lock(getLocalDrawablesMutex());
    auto& list = *getLocalDrawablesList();
    const auto found = std::find_if(list.begin(), list.end(), [&](const DrawableRef& candidate) {
      return candidate->appDrawable == appDrawable && candidate->type == type;
    });
    if (found != list.end()) {
      const MutexLock lookUps(lookUpMutex());
      record = std::move(*found);
      list.erase(found);
    }
  }
  if (record) clearOwnBindings(getTSD(), record);
}

void clearDeletedDrawables() {
  TSD* const tsd = getTSD();
  if (tsd == nullptr) return;
  std::vector<DrawableRef> deleted;
  {
    const MutexLock lock(getLocalDrawablesMutex());
    auto& list = *getLocalDrawablesList();
    for (auto record = list.begin(); record != list.end();) {
      if (!isDead(*record, tsd)) {
        ++record;
        continue;
      }
      ZOLGL_DEBUG("deleting 0x%x", hex32((*record)->appDrawable));
      const MutexLock lookUps(lookUpMutex());
      deleted.push_back(std::move(*record));
      record = list.erase(record);
    }
  }
  for (const DrawableRef& record : deleted)
    clearOwnBindings(tsd, record);
}

void forgetLocalDrawablesOf(Display* appDisplay) {
  const MutexLock lock(getLocalDrawablesMutex());
  for (const DrawableRef& record : *getLocalDrawablesList()) {
    if (record->appDisplay == appDisplay) record->localDrawable = None;
  }
}

bool anyWindowOn(Display* appDisplay) {
  const MutexLock lock(getLocalDrawablesMutex());
  const auto& list = *getLocalDrawablesList();
  return std::any_of(list.begin(), list.end(), [&](const DrawableRef& record) {
    return record->type == LOCAL_WINDOW && record->appDisplay == appDisplay;
  });
}
