#include "display/make_current.h"

#include "display/context_map.h"
#include "display/contexts.h"
#include "display/pairing.h"
#include "display/tsd.h"
#include "drawable/drawable_info.h"
#include "drawable/registry.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "frame/frame_triggers.h"
#include "vendor/system_functions.h"

#include <memory>
#include <utility>

using zol::hex32;
using zol::MutexLock;
using zol::gl::ContextInfo;
using zol::gl::DrawableRef;
using zol::gl::LOCAL_WINDOW;
using zol::gl::TSD;

namespace {

// A window that the thread is about to leave may hold a frame that was drawn without a swap.
bool leavesWindow(const TSD* tsd) {
  return tsd->drawable && tsd->drawable->type == LOCAL_WINDOW;
}

bool leavesWindowFor(const TSD* tsd, GLXDrawable next) {
  return leavesWindow(tsd) && tsd->drawable->appDrawable != next;
}

bool leavesWindowFor(const TSD* tsd, const DrawableRef& next) {
  return leavesWindow(tsd) && tsd->drawable != next;
}

// Takes the context that the thread had out of use; a record that waited for this is returned.
std::unique_ptr<ContextInfo> retirePrevious(GLXContext previous, const char* label) {
  ContextInfo* const info = findContext(previous);
  if (info == nullptr) {
    ZOLGL_LOG_AS(label, WARNING, "context %x not found in the map.", hex32(previous));
    return nullptr;
  }
  if (!info->destroyed) {
    info->current = false;
    return nullptr;
  }
  ZOLGL_LOG_AS(label, DEBUG, "context %x removed from the map.", hex32(previous));
  getContextMap()->erase(previous);
  return std::unique_ptr<ContextInfo>(info);
}

void registerDebugCallback(ContextInfo* info, const char* label) {
  system_glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
  system_glDebugMessageCallback(debugCallback, nullptr);
  system_glDebugMessageControl(GL_DONT_CARE, GL_DONT_CARE, GL_DONT_CARE, 0, nullptr, GL_TRUE);
  ZOLGL_LOG_AS(label, INFO, "Registered OpenGL debug callback");
  info->debugCallbackRegistered = true;
}

bool canRegisterDebugCallback() {
  return zol::conf::settings().addGlDebugCallback && system_glEnable != nullptr &&
         system_glDebugMessageCallback != nullptr && system_glDebugMessageControl != nullptr;
}

} // namespace

// Records a binding that the driver has accepted.
static void setCurrent(TSD* tsd, GLXContext context, const DrawableRef& draw,
                       const DrawableRef& read) {
  std::unique_ptr<ContextInfo> removed;
  MutexLock lock(getContextMutex());
  if (tsd->context != nullptr) removed = retirePrevious(tsd->context, __PRETTY_FUNCTION__);
  if (context != nullptr) {
    if (ContextInfo* const info = findContext(context)) {
      info->current = true;
      if (!info->debugCallbackRegistered && canRegisterDebugCallback()) {
        registerDebugCallback(info, __PRETTY_FUNCTION__);
      }
    } else {
      ZOLGL_WARNING("context %x not found in the map.", hex32(context));
    }
  }
  lock.unlock();
  Display* const leftDisplay = removed != nullptr ? removed->appDisplay : nullptr;
  removed.reset();

  if (draw) draw->context = context;
  if (read && read != draw) read->context = context;
  tsd->drawable = draw;
  tsd->readDrawable = read;
  tsd->context = context;
  _unsetLocalDisplay(leftDisplay);
}

// Leaves the thread with nothing current. `unbind` is the driver's call for it.
template <class Unbind>
static Bool releaseCurrent(TSD* tsd, const char* label, Unbind unbind) {
  if (tsd->context == nullptr) {
    ZOLGL_LOG_AS(label, DEBUG, "no current context, skipping...");
    return True;
  }
  Display* const local = _getLocalDisplay(tsd);
  if (local == nullptr) {
    ZOLGL_LOG_AS(label, DEBUG, "no local display");
    return False;
  }
  MutexLock lock(getLocalDisplayMutex());
  const Bool released = unbind(local);
  lock.unlock();
  if (released) setCurrent(tsd, nullptr, nullptr, nullptr);
  return released;
}

Bool zol_glXMakeCurrent(Display* dpy, GLXDrawable drawable, GLXContext context) {
  ZOLGL_DEBUG("drawable: %lx, context: %x", drawable, hex32(context));
  TSD* const tsd = getTSD();
  if (tsd == nullptr) return False;
  if (leavesWindowFor(tsd, drawable)) {
    ZOLGL_DEBUG("flushing old context");
    finishOrFlush(system_glFlush, tsd);
  }
  if (!_setupAppDisplay(dpy, tsd)) return False;

  if (drawable != None && context != nullptr) {
    Display* const local = _getLocalDisplay(tsd);
    if (local == nullptr) {
      ZOLGL_DEBUG("no local display");
      return False;
    }
    const DrawableRef record = getDrawableInfo(dpy, drawable, getFBConfig(context), tsd);
    if (!record) {
      ZOLGL_DEBUG("failed for no drawable.");
      return False;
    }
    // The check above knew ids only: the same window may have got another record since.
    if (leavesWindowFor(tsd, record)) {
      ZOLGL_DEBUG("flushing old drawable output");
      finishOrFlush(system_glFlush, tsd);
    }
    MutexLock lock(getLocalDisplayMutex());
    const Bool bound = system_glXMakeCurrent(local, record->localDrawable, context);
    lock.unlock();
    if (!bound) {
      ZOLGL_DEBUG("failed on local make current.");
      return False;
    }
    setCurrent(tsd, context, record, record);
    return bound;
  }

  if (drawable == None && context == nullptr) {
    return releaseCurrent(tsd, __PRETTY_FUNCTION__, [](Display* local) {
      return system_glXMakeCurrent(local, None, nullptr);
    });
  }

  ZOLGL_INFO("bad parameter combination passed, skipping...");
  return False;
}

Bool zol_glXMakeContextCurrent(Display* dpy, GLXDrawable draw, GLXDrawable read,
                               GLXContext context) {
  ZOLGL_DEBUG("drawable: %lx, read drawable %lx, context: %x", draw, read, hex32(context));
  TSD* const tsd = getTSD();
  if (tsd == nullptr) return False;
  if (!_setupAppDisplay(dpy, tsd)) return False;
  if (leavesWindowFor(tsd, draw)) {
    ZOLGL_DEBUG("flushing old context");
    finishOrFlush(system_glFlush, tsd);
  }

  if (draw != None && context != nullptr) {
    Display* const local = _getLocalDisplay(tsd);
    if (local == nullptr) {
      ZOLGL_DEBUG("no local display");
      return False;
    }
    GLXFBConfig const config = getFBConfig(context);
    const DrawableRef drawRecord = getDrawableInfo(dpy, draw, config, tsd);
    if (!drawRecord) return False;
    DrawableRef readRecord;
    if (read != None) {
      readRecord = getDrawableInfo(dpy, read, config, tsd);
      if (!readRecord) return False;
    }
    if (leavesWindowFor(tsd, drawRecord)) finishOrFlush(system_glFlush, tsd);

    MutexLock lock(getLocalDisplayMutex());
    const Bool bound =
        system_glXMakeContextCurrent(local, drawRecord->localDrawable,
                                     readRecord ? readRecord->localDrawable.load() : None, context);
    lock.unlock();
    if (!bound) return False;
    setCurrent(tsd, context, drawRecord, readRecord);
    return bound;
  }

  if (draw == None && read == None && context == nullptr) {
    return releaseCurrent(tsd, __PRETTY_FUNCTION__, [](Display* local) {
      return system_glXMakeContextCurrent(local, None, None, nullptr);
    });
  }

  ZOLGL_INFO("bad parameter combination passed, skipping...");
  return False;
}

GLXContext zol_glXGetCurrentContext() {
  ZOLGL_DEBUG("START");
  const TSD* const tsd = getTSD();
  return tsd != nullptr ? tsd->context : nullptr;
}

GLXDrawable zol_glXGetCurrentDrawable() {
  ZOLGL_DEBUG("START");
  const TSD* const tsd = getTSD();
  return tsd != nullptr && tsd->drawable ? tsd->drawable->appDrawable : None;
}

GLXDrawable zol_glXGetCurrentReadDrawable() {
  ZOLGL_DEBUG("START");
  const TSD* const tsd = getTSD();
  return tsd != nullptr && tsd->readDrawable ? tsd->readDrawable->appDrawable : None;
}

Display* zol_glXGetCurrentDisplay() {
  ZOLGL_DEBUG("START");
  const TSD* const tsd = getTSD();
  return tsd != nullptr && tsd->context != nullptr ? tsd->appdpy : nullptr;
}

Bool zol_glXIsDirect(Display* dpy, GLXContext context) {
  ZOLGL_DEBUG("START");
  TSD* const tsd = getTSD();
  if (!_setupAppDisplay(dpy, tsd)) return False;
  Display* const local = _getLocalDisplay(tsd);
  if (local == nullptr || context == nullptr) return False;
  const MutexLock lock(getLocalDisplayMutex());
  return system_glXIsDirect(local, context);
}

int zol_glXQueryContext(Display* dpy, GLXContext context, int attribute, int* value) {
  ZOLGL_DEBUG("START");
  TSD* const tsd = getTSD();
  if (!_setupAppDisplay(dpy, tsd)) return -1;
  Display* const local = _getLocalDisplay(tsd);
  if (local == nullptr) {
    ZOLGL_DEBUG("no local display");
    return -1;
  }
  const MutexLock lock(getLocalDisplayMutex());
  return system_glXQueryContext(local, context, attribute, value);
}

void zol_glXCopyContext(Display* dpy, GLXContext src, GLXContext dst, unsigned long mask) {
  ZOLGL_DEBUG("START");
  TSD* const tsd = getTSD();
  if (!_setupAppDisplay(dpy, tsd)) return;
  Display* const local = _getLocalDisplay(tsd);
  if (local == nullptr) {
    ZOLGL_DEBUG("no local display");
    return;
  }
  {
    const MutexLock lock(getLocalDisplayMutex());
    system_glXCopyContext(local, src, dst, mask);
  }
  // The draw buffer is the only tracked state that follows, whatever the mask.
  const MutexLock lock(getContextMutex());
  const ContextInfo* const from = findContext(src);
  ContextInfo* const to = findContext(dst);
  if (from != nullptr && to != nullptr) to->drawBuffer = from->drawBuffer;
}
