#include "drawable/drawable_info.h"

#include "display/context_map.h"
#include "display/pairing.h"
#include "display/tsd.h"
#include "display/zol_ext.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "frame/image_painter.h"
#include "frame/readback_context.h"
#include "vendor/system_functions.h"
#include "visual/local_fbconfig.h"
#include "visual/visual_map.h"

#include <X11/Xutil.h>

#include <algorithm>
#include <utility>

namespace zol::gl {

namespace {

// Some drivers refuse smaller pbuffers.
constexpr int kSmallestPbuffer = 10;

// The core protocol has 16 bits for the size of a window.
constexpr int kLargestWindow = 0xFFFF;

// ":5" for ":5.0".
std::string serverOf(Display* connection) {
  const std::string name = DisplayString(connection);
  const std::size_t colon = name.rfind(':');
  const std::size_t dot = colon != std::string::npos ? name.find('.', colon) : std::string::npos;
  return name.substr(0, dot);
}

} // namespace

void retain(DrawableInfo* record) {
  record->references.fetch_add(1, std::memory_order_relaxed);
}

void release(DrawableInfo* record) {
  if (record->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete record;
}

DrawableInfo::DrawableInfo(LocalDrawableType drawableType, unsigned long app, GLXFBConfig config,
                           Display* appDpy, int x, int y, unsigned int width, unsigned int height)
    : type(drawableType), appDrawable(app), appDisplay(appDpy),
      pairedDisplay(pairedDisplayOf(getTSD(), appDpy)), appServer(serverOf(appDpy)),
      fbconfig(config), painter(new XImagePainter(app)), geometry{x, y, width, height} {
  if (type == LOCAL_WINDOW && conf::settings().unsetLocalDisplay) windowHold.emplace(pairedDisplay);
}

DrawableInfo::~DrawableInfo() {
  painter.reset();
  {
    const LocalDisplayCall call; // has room for both, which the call that this happens in may lack
    if (Display* const own = _getLocalDisplay(nullptr)) {
      Display* const local = openLocalDisplay(pairedDisplay);
      releaseLocalObjects(local != nullptr ? local : own, own);
    }
  }
  _unsetLocalDisplay(appDisplay);
}

// `own` is the calling thread's local display, on which it may have something current.
void DrawableInfo::releaseLocalObjects(Display* local, Display* own) {
  const char* const label = "virtual zol::gl::DrawableInfo::~DrawableInfo()";
  ZOLGL_LOG_AS(label, DEBUG, "Destroying DrawableInfo %p", static_cast<void*>(this));
  const TSD* const tsd = getTSD();
  const bool mayUnbind = tsd == nullptr || !livesOnlyWhileCurrent(tsd->context);
  const MutexLock lock(getLocalDisplayMutex());
  GLXContext const previousContext = system_glXGetCurrentContext();
  GLXDrawable const previousDrawable = system_glXGetCurrentDrawable();
  if (previousContext == nullptr) {
    ZOLGL_LOG_AS(label, DEBUG, "No GLXContext bound while destroying pbuffer/pixmap");
  }
  if (previousDrawable == None) {
    ZOLGL_LOG_AS(label, DEBUG, "No GLXDrawable bound while destroying pbuffer/pixmap");
  }
  if (readContext != nullptr) {
    ZOLGL_LOG_AS(label, INFO, "Destroying read context");
    if (ReadbackContext* const object = readbackObject.exchange(nullptr)) {
      if (conf::settings().switchContextOnDrawableDestruction && mayUnbind) {
        if (system_glXMakeCurrent(local, localDrawable, readContext)) {
          object->releaseOGLResources();
          system_glXMakeCurrent(own, previousDrawable, previousContext);
        } else {
          ZOLGL_LOG_AS(label, WARNING, "Failed to bind read context while destroying readback");
        }
      }
      delete object;
    }
  }
  for (const ReadbackContext* const retired : retiredReadbacks)
    delete retired;
  if (localDrawable != None) {
    if (type == LOCAL_PIXMAP) {
      ZOLGL_LOG_AS(label, DEBUG, "Destroying local pixmap");
      system_glXDestroyPixmap(local, localDrawable);
      XFreePixmap(local, localPixmap);
    } else {
      ZOLGL_LOG_AS(label, DEBUG, "Destroying local pbuffer");
      system_glXDestroyPbuffer(local, localDrawable);
    }
  }
  if (dummyPbuffer != None) {
    ZOLGL_LOG_AS(label, DEBUG, "Destroying dummy pbuffer");
    system_glXDestroyPbuffer(local, dummyPbuffer);
  }
  if (readContext != nullptr) {
    ZOLGL_LOG_AS(label, DEBUG, "Destroying read context");
    system_glXDestroyContext(local, readContext);
  }
  // Another connection may never be used again: nothing else would send what was asked of it.
  if (local != own) XFlush(local);
}

bool DrawableInfo::onServerOf(Display* connection) const {
  return connection == nullptr || serverOf(connection) == appServer;
}

VisualID DrawableInfo::getVisualID() {
  const MutexLock lock(mutex);
  return visualID;
}

void DrawableInfo::getGeometry(IRect* rect) {
  const MutexLock lock(mutex);
  *rect = geometry;
}

bool DrawableInfo::isVisible() {
  const MutexLock lock(mutex);
  return visible;
}

bool DrawableInfo::isDoubleBuffered() const {
  return lvi != nullptr && lvi->doubleBuffered != 0;
}

bool DrawableInfo::updateWindowInfo(bool* resized, bool* moved, bool* visibilityChanged) {
  const TSD* const tsd = getTSD();
  if (tsd == nullptr || tsd->appdpy2 == nullptr || tsd->extCodes == nullptr) return false;
  Bool visibleFlag = False;
  VisualID visual = 0;
  int rect[4];
  if (XZolExtGetWindowInfo(tsd->appdpy2, tsd->extCodes, appDrawable, &visibleFlag, &visual, rect) ==
      0) {
    return false;
  }
  // No X server has windows of such a size: an answer like this is no answer.
  if (rect[2] < 0 || rect[2] > kLargestWindow || rect[3] < 0 || rect[3] > kLargestWindow) {
    return false;
  }
  const auto& settings = conf::settings();
  const bool shown = !settings.enableVisibilityCheck || visibleFlag;
  const IRect now{rect[0], rect[1], static_cast<unsigned>(rect[2]), static_cast<unsigned>(rect[3])};

  const MutexLock lock(mutex);
  const bool sizeChanged = now.width != geometry.width || now.height != geometry.height;
  if (sizeChanged) needsPbufferUpdate = true;
  ZOLGL_DEBUG("Pbuffer needs update: %d", needsPbufferUpdate ? 1 : 0);
  if (moved != nullptr) {
    *moved = now.x != geometry.x || now.y != geometry.y;
    ZOLGL_DEBUG("Moved from (%d,%d) to (%d,%d)", geometry.x, geometry.y, now.x, now.y);
  }
  if (resized != nullptr) {
    *resized = sizeChanged;
    if (sizeChanged) {
      ZOLGL_DEBUG("Resized from %dx%d to %dx%d", static_cast<int>(geometry.width),
                  static_cast<int>(geometry.height), static_cast<int>(now.width),
                  static_cast<int>(now.height));
    }
  }
  geometry = now;
  const bool wasVisible = std::exchange(visible, shown && now.width >= 1 && now.height >= 1);
  const bool flipped = visible != wasVisible;
  if (visibilityChanged != nullptr) *visibilityChanged = flipped;
  if (flipped) {
    if (settings.refreshPbufferOnVisibilityChanged) needsPbufferUpdate = true;
    ZOLGL_DEBUG("Became %s", visible ? "visible" : "hidden");
  }
  if (visualID == 0) {
    visualID = visual;
    ZOLGL_DEBUG("VisualID set to 0x%x", hex32(visual));
  }
  return true;
}

void DrawableInfo::updateOffscreenPbuffer() {
  Display* const local = _getLocalDisplay(nullptr);
  if (local == nullptr) return;
  IRect size;
  getGeometry(&size);
  {
    const MutexLock lock(getLocalDisplayMutex());
    if (localDrawable != None) system_glXDestroyPbuffer(local, localDrawable);
    localDrawable = createLocalPbuffer(local, static_cast<int>(size.width),
                                       static_cast<int>(size.height), fbconfig);
    ZOLGL_DEBUG("resized pbuffer to new geometry: %dx%d", static_cast<int>(size.width),
                static_cast<int>(size.height));
  }
  const MutexLock lock(mutex);
  needsPbufferUpdate = false;
}

void DrawableInfo::checkForResize() {
  ZOLGL_DEBUG("START");
  if (type != LOCAL_WINDOW) {
    ZOLGL_DEBUG("ignored. %lx is not a window", appDrawable);
    return;
  }
  bool resized = false;
  bool moved = false;
  bool visibilityChanged = false;
  if (!updateWindowInfo(&resized, &moved, &visibilityChanged)) {
    ZOLGL_DEBUG("failed to update window info");
    return;
  }
  {
    const MutexLock lock(mutex);
    if (!needsPbufferUpdate) return;
  }
  const TSD* const tsd = getTSD();
  Display* const local = _getLocalDisplay(nullptr);
  if (tsd == nullptr || local == nullptr) return;
  if (tsd->drawable.get() == this || tsd->readDrawable.get() == this) {
    if (!livesOnlyWhileCurrent(tsd->context)) recreateBoundPbuffer(local);
  } else {
    updateOffscreenPbuffer();
  }
}

// The pbuffer is bound on this thread: it is unbound for the exchange.
void DrawableInfo::recreateBoundPbuffer(Display* local) {
  const char* const label = "void zol::gl::DrawableInfo::checkForResize()";
  {
    const MutexLock lock(getLocalDisplayMutex());
    if (!system_glXMakeCurrent(local, None, nullptr)) {
      ZOLGL_LOG_AS(label, WARNING, "failed to unset context");
      return;
    }
  }
  updateOffscreenPbuffer();

  // The thread's own context: another thread may have made its own current with this drawable
  // since.
  const TSD* const tsd = getTSD();
  GLXContext const bound = tsd->context != nullptr ? tsd->context : context.load();
  if (bound == nullptr) return;
  GLXDrawable const draw =
      tsd->drawable ? tsd->drawable->localDrawable.load() : localDrawable.load();
  const MutexLock lock(getLocalDisplayMutex());
  Bool restored = True;
  if (tsd->readDrawable) {
    restored = system_glXMakeContextCurrent(local, draw, tsd->readDrawable->localDrawable, bound);
  } else if (draw != None) {
    restored = system_glXMakeCurrent(local, draw, bound);
  }
  if (!restored) ZOLGL_LOG_AS(label, WARNING, "failed to restore context");
}

GLXPbuffer createLocalPbuffer(Display* local, int width, int height, GLXFBConfig config) {
  const int attribs[] = {GLX_PBUFFER_WIDTH,
                         std::max(width, kSmallestPbuffer),
                         GLX_PBUFFER_HEIGHT,
                         std::max(height, kSmallestPbuffer),
                         GLX_PRESERVED_CONTENTS,
                         True,
                         None};
  return system_glXCreatePbuffer(local, fbconfigOn(local, config), attribs);
}

} // namespace zol::gl
