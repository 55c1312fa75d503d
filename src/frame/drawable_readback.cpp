// The way of a window's frame back: the readback half of DrawableInfo.

#include "display/context_map.h"
#include "display/pairing.h"
#include "display/tsd.h"
#include "display/zol_ext.h"
#include "drawable/drawable_info.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "foundation/runtime_symbols.h"
#include "foundation/singleton.h"
#include "frame/copyback.h"
#include "frame/image_painter.h"
#include "frame/readback_context.h"
#include "frame/readback_context_multi_thread.h"
#include "vendor/system_functions.h"
#include "visual/local_fbconfig.h"

#include <new>
#include <sys/time.h>
#include <unistd.h>

namespace zol::gl {

namespace {

constexpr std::uint64_t kFpsReportInterval = 5000; // milliseconds

std::uint64_t wallClockMs() {
  timeval now;
  gettimeofday(&now, nullptr);
  return (static_cast<std::uint64_t>(now.tv_sec) * 1000000 +
          static_cast<std::uint64_t>(now.tv_usec)) /
         1000;
}

// What the program had current before a readback, and its way back.
class BindingKeeper {
public:
  BindingKeeper(Display* local, const DrawableInfo* swapped, const TSD* tsd, const char* label)
      : local_(local), swapped_(swapped), tsd_(tsd), context_(system_glXGetCurrentContext()) {
    system_glGetIntegerv(GL_RENDER_MODE, &renderMode_);
    if (renderMode_ == GL_RENDER) return;
    ZOLGL_LOG_AS(label, DEBUG, "forcing render mode");
    system_glRenderMode(GL_RENDER);
  }

  void restore() const {
    const MutexLock lock(getLocalDisplayMutex());
    restoreBinding();
    if (renderMode_ != GL_RENDER) system_glRenderMode(static_cast<GLenum>(renderMode_));
  }

private:
  void restoreBinding() const {
    const DrawableInfo* const draw = tsd_->drawable.get();
    const DrawableInfo* const read = tsd_->readDrawable.get();
    if (context_ == nullptr) {
      system_glXMakeCurrent(local_, None, nullptr);
    } else if (draw != nullptr && read != nullptr && read != draw) {
      system_glXMakeContextCurrent(local_, draw->localDrawable, read->localDrawable, context_);
    } else {
      const DrawableInfo* const bound = draw != nullptr ? draw : swapped_;
      system_glXMakeCurrent(local_, bound->localDrawable, context_);
    }
  }

  Display* const local_;
  const DrawableInfo* const swapped_;
  const TSD* const tsd_;
  GLXContext const context_;
  GLint renderMode_ = GL_RENDER;
};

// A read context's state never changes after this; the readback object adds its bindings.
void prepareReadContext() {
  system_glPixelStorei(GL_PACK_ALIGNMENT, 1);
  system_glDisable(GL_DEPTH_TEST);
  system_glDisable(GL_BLEND);
  system_glReadBuffer(GL_FRONT);
  system_glViewport(0, 0, 2, 2);
}

// Blocks the program's thread, so that the interval limits its frame rate too. A negative interval
// is greater than any time in this unsigned comparison and always sleeps: deliberate.
void throttle(std::uint64_t elapsedMs) {
  const int interval = conf::settings().readbackInterval;
  if (static_cast<std::uint64_t>(static_cast<std::int64_t>(interval)) <= elapsedMs) return;
  usleep((static_cast<std::uint32_t>(interval) - static_cast<std::uint32_t>(elapsedMs)) * 1000u);
}

} // namespace

void DrawableInfo::readback() {
  const TSD* const tsd = getTSD();
  if (tsd == nullptr) return;
  setViewportCheckForResize(true);
  const auto& settings = conf::settings();
  if (settings.doubleCheckVisible && !isVisible() && !updateWindowInfo(nullptr, nullptr, nullptr)) {
    ZOLGL_DEBUG("failed to update window info");
    return;
  }
  if (settings.noReadback) return;
  if (!isVisible()) {
    ZOLGL_DEBUG("window not visible");
    return;
  }
  // Reading back takes the program's context off the thread for a moment: not while the process
  // ends and the driver with it, and not from a context that would not survive it.
  if (Copyback::isEnding()) return;
  if (livesOnlyWhileCurrent(tsd->context)) {
    ZOLGL_DEBUG("the context %x is already destroyed", hex32(tsd->context));
    return;
  }
  std::uint64_t now = 0;
  {
    // Threads may share a window; its read context can be current to one of them at a time.
    const MutexLock lock(readbackMutex);
    if (!readBackFrame(__PRETTY_FUNCTION__)) return;
    now = wallClockMs();
    incrementFpsCounter(now);
  }
  throttle(now - lastReadbackTime);
  lastReadbackTime = wallClockMs();
  checkForResize();
  ZOLGL_DEBUG("DONE");
}

// The frame's way into the pixel buffer. What the program had current is current again afterwards.
bool DrawableInfo::readBackFrame(const char* label) {
  Display* const local = _getLocalDisplay(nullptr);
  if (local == nullptr) return false;
  IRect area;
  getGeometry(&area);
  ZOLGL_LOG_AS(label, DEBUG, "ldi %p, geom(%d,%d,%d,%d)", static_cast<void*>(this), area.x, area.y,
               static_cast<int>(area.width), static_cast<int>(area.height));

  const BindingKeeper binding(local, this, getTSD(), label);
  const bool ready = setupReadbackContexts();
  if (ready) {
    if (ReadbackContext* const object = readbackObject) {
      object->performGPUReadback(static_cast<int>(area.width), static_cast<int>(area.height));
    }
    Singleton<Copyback>::instance()->unblock();
  } else {
    // The position in place of the size: a text that scripts match.
    ZOLGL_LOG_AS(label, WARNING, "Failed to create readback contexts for ldi %p, %dx%d",
                 static_cast<void*>(this), area.x, area.y);
  }
  binding.restore();
  return ready;
}

bool DrawableInfo::setupReadbackContexts() {
  ZOLGL_DEBUG("START");
  if (getTSD() == nullptr) return false;
  Display* const local = _getLocalDisplay(nullptr);
  if (local == nullptr) return false;
  MutexLock lock(getLocalDisplayMutex());
  bool bound = readContext != nullptr && system_glXMakeCurrent(local, localDrawable, readContext);
  if (bound && readContextPrepared) return true;

  GLXFBConfig const localConfig = fbconfigOn(local, fbconfig);
  const auto create = [&] {
    readContext = system_glXCreateNewContext(local, localConfig, GLX_RGBA_TYPE, nullptr, True);
    return readContext != nullptr;
  };
  if (readContext == nullptr) {
    if (!create()) {
      lock.unlock();
      ZOLGL_WARNING("Failed to create GLX read context");
      return false;
    }
    bound = system_glXMakeCurrent(local, localDrawable, readContext);
  }
  if (!bound) {
    ZOLGL_INFO("Failed to make GLX context current to the local drawable");
    system_glXMakeCurrent(local, None, nullptr);
    system_glXDestroyContext(local, readContext);
    readContextPrepared = false;
    if (!create()) {
      lock.unlock();
      ZOLGL_WARNING("Failed to recreate GLX read context");
      return false;
    }
    if (!system_glXMakeCurrent(local, localDrawable, readContext)) {
      lock.unlock();
      ZOLGL_WARNING("Failed to make recreated GLX context current to the local drawable");
      return false;
    }
  }

  prepareReadContext();
  readContextPrepared = true;
  ReadbackContext* object = nullptr;
  if (isMultiThreadApplication() && !conf::settings().forceSingleThreadReadback) {
    ZOLGL_DEBUG("Multi thread readback");
    object = new (std::nothrow) ReadbackContextMultiThread;
  } else {
    ZOLGL_DEBUG("Single thread readback");
    object = new (std::nothrow) ReadbackContext;
  }
  if (object == nullptr) {
    ZOLGL_WARNING("Failed to create readback context");
  } else if (!object->setSharedContext(local, localConfig, readContext, dummyPbuffer)) {
    ZOLGL_WARNING("Failed to set readback context");
  }
  // A pass of the copyback thread may still use the object that goes; it is deleted with the
  // record.
  if (ReadbackContext* const previous = readbackObject.exchange(object)) {
    retiredReadbacks.push_back(previous);
  }
  return true;
}

void DrawableInfo::initDummyReadbackPbuffer() {
  Display* const local = _getLocalDisplay(nullptr);
  if (local == nullptr) return;
  const MutexLock lock(getLocalDisplayMutex());
  dummyPbuffer = createLocalPbuffer(local, 1, 1, fbconfig);
}

void DrawableInfo::copyback(Display* appDpy, XExtCodes* codes) {
  if (type != LOCAL_WINDOW) return;
  ReadbackContext* const object = readbackObject;
  if (object == nullptr) {
    ZOLGL_DEBUG("copyback called before readback context has been set. Ignoring.");
    return;
  }
  if (conf::settings().checkWindowBeforeDrawing) {
    VisualID visual = 0;
    int rect[4];
    if (XZolExtGetWindowInfo(appDpy, codes, appDrawable, nullptr, &visual, rect) == 0) {
      ZOLGL_WARNING("Drawable 0x%x was destroyed, skipping image copy", hex32(appDrawable));
      return;
    }
  }
  object->copyToAppDisplay(appDpy, painter.get(), getVisualID());
}

void DrawableInfo::incrementFpsCounter(std::uint64_t nowMs) {
  ++fpsFrames;
  if (fpsLastReport == 0) {
    fpsLastReport = nowMs;
    return;
  }
  const std::uint64_t elapsed = nowMs - fpsLastReport;
  if (elapsed <= kFpsReportInterval) return;
  ZOLGL_INFO("Produced %d frames in the last %llu ms: average FPS %.3f",
             static_cast<int>(fpsFrames), static_cast<unsigned long long>(elapsed),
             fpsFrames * 1000.0 / static_cast<double>(elapsed));
  fpsFrames = 0;
  fpsLastReport = nowMs;
}

} // namespace zol::gl
