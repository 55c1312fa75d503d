#include "frame/frame_triggers.h"

#include "display/context_map.h"
#include "display/pairing.h"
#include "display/tsd.h"
#include "drawable/drawable_info.h"
#include "drawable/registry.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "vendor/system_functions.h"
#include "visual/visual_map.h"

#include <X11/Xutil.h>

using zol::hex32;
using zol::MutexLock;
using zol::gl::ContextInfo;
using zol::gl::DrawableInfo;
using zol::gl::DrawableRef;
using zol::gl::LOCAL_PIXMAP;
using zol::gl::LOCAL_WINDOW;
using zol::gl::TSD;

namespace {

bool isFrontBuffer(GLenum buffer) {
  return buffer == GL_FRONT || buffer == GL_FRONT_LEFT || buffer == GL_FRONT_RIGHT;
}

bool drawsToFront(const ContextInfo& info) {
  return isFrontBuffer(info.drawBuffer) || info.drawBuffer == GL_FRONT_AND_BACK;
}

// Ends the running count of samples drawn to the front buffer and begins the next one. Whether
// anything may have been drawn since the last time.
bool drawnSinceLastCount(ContextInfo* info, bool doubleBuffered, const char* label) {
  if (info->sampleQuery == 0) system_glGenQueries(1, &info->sampleQuery);
  GLint samples = 0;
  system_glEndQuery(GL_SAMPLES_PASSED);
  system_glGetQueryObjectiv(info->sampleQuery, GL_QUERY_RESULT, &samples);
  ZOLGL_LOG_AS(label, DEBUG, "draw %x, dbf %d - drawn %d pixels", info->drawBuffer,
               doubleBuffered ? 1 : 0, samples);
  system_glBeginQuery(GL_SAMPLES_PASSED, info->sampleQuery);
  info->countingSamples = true;
  if (samples < 1 && !info->nonRasterPixelChange) return false;
  info->nonRasterPixelChange = false;
  return true;
}

} // namespace

// Copies what was rendered into a GLX pixmap back to the program's own pixmap. On the program's
// thread and connection; nothing is flushed.
static void copybackPixmap(DrawableInfo* drawable) {
  Display* const local = _getLocalDisplay(nullptr);
  if (local == nullptr) return;
  zol::IRect area;
  drawable->getGeometry(&area);
  ZOLGL_DEBUG("Copying pixmap %d to %d\n (%d,%d %dx%d)", static_cast<int>(drawable->localPixmap),
              static_cast<int>(drawable->appPixmap), area.x, area.y, static_cast<int>(area.width),
              static_cast<int>(area.height));
  const MutexLock lock(getLocalDisplayMutex());
  XImage* const image =
      XGetImage(local, drawable->localPixmap, 0, 0, area.width, area.height, AllPlanes, ZPixmap);
  if (image == nullptr) return;
  if (GC const gc = XCreateGC(drawable->appDisplay, drawable->appPixmap, 0, nullptr)) {
    XPutImage(drawable->appDisplay, drawable->appPixmap, gc, image, 0, 0, 0, 0, area.width,
              area.height);
    XFreeGC(drawable->appDisplay, gc);
  }
  XDestroyImage(image);
}

static void finishOrFlushCurrent(PFVV systemFunction, const char* label) {
  ZOLGL_LOG_AS(label, DEBUG, "START");
  TSD* const tsd = getTSD();
  if (tsd == nullptr) return;
  if (const DrawableRef drawable = tsd->drawable) {
    if (drawable->type == LOCAL_WINDOW) {
      finishOrFlush(systemFunction, tsd);
      return;
    }
    if (drawable->type == LOCAL_PIXMAP && drawable->appPixmap != drawable->localPixmap) {
      systemFunction();
      copybackPixmap(drawable.get());
      return;
    }
  }
  systemFunction();
}

void zol_glXSwapBuffers(Display* appDisplay, GLXDrawable drawable) {
  ZOLGL_DEBUG("drawable %lx", drawable);
  TSD* const tsd = getTSD();
  if (!_setupAppDisplay(appDisplay, tsd) || drawable == None) return;
  const DrawableRef record = findLocalDrawable(drawable);
  if (!record) {
    ZOLGL_DEBUG("no local drawable");
    return;
  }
  if (record->skipNextSwap) {
    record->skipNextSwap = false;
    return;
  }
  const auto& settings = zol::conf::settings();
  if (settings.finishBeforeSwap) system_glFinish();
  if (record->isDoubleBuffered()) {
    Display* const local = _getLocalDisplay(tsd);
    if (local == nullptr) {
      ZOLGL_DEBUG("No local display");
      return;
    }
    {
      const MutexLock lock(getLocalDisplayMutex());
      system_glXSwapBuffers(local, record->localDrawable);
    }
    if (settings.skipDoubleSwap) record->skipNextSwap = true;
  }
  if (record->type == LOCAL_WINDOW) record->readback();
}

void zol_glFinish() {
  finishOrFlushCurrent(system_glFinish, __PRETTY_FUNCTION__);
}

void zol_glFlush() {
  finishOrFlushCurrent(system_glFlush, __PRETTY_FUNCTION__);
}

void finishOrFlush(PFVV systemFunction, TSD* tsd) {
  if (tsd->context == nullptr) {
    ZOLGL_DEBUG("no context");
    return;
  }
  MutexLock lock(getContextMutex());
  ContextInfo* const info = findContext(tsd->context);
  if (info == nullptr) {
    lock.unlock();
    ZOLGL_DEBUG("cannot find context %x in the context map", hex32(tsd->context));
    return;
  }
  if (info->destroyed) {
    lock.unlock();
    ZOLGL_DEBUG("the context %x is already destroyed", hex32(tsd->context));
    return;
  }
  const bool doubleBuffered = info->lvi->doubleBuffered != 0;
  ZOLGL_DEBUG("draw %x, dbf %d", info->drawBuffer, doubleBuffered ? 1 : 0);
  // Selection and feedback draw nothing; what goes to the back buffer waits for its swap.
  if (info->renderMode != GL_RENDER || (doubleBuffered && !drawsToFront(*info))) {
    lock.unlock();
    systemFunction();
    return;
  }
  if (zol::conf::settings().useSampleQueries && isFrontBuffer(info->drawBuffer) &&
      !drawnSinceLastCount(info, doubleBuffered, __PRETTY_FUNCTION__)) {
    lock.unlock();
    systemFunction();
    return;
  }
  lock.unlock();
  const DrawableRef drawable = tsd->drawable;
  if (!drawable) return;
  // A flush is not enough: the frame is read next.
  system_glFinish();
  drawable->readback();
}
