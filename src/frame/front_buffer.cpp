#include "frame/front_buffer.h"

#include "display/context_map.h"
#include "display/tsd.h"
#include "drawable/drawable_info.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "vendor/system_functions.h"
#include "visual/visual_map.h"

using zol::hex32;
using zol::MutexLock;
using zol::gl::ContextInfo;
using zol::gl::DrawableRef;
using zol::gl::LOCAL_WINDOW;
using zol::gl::TSD;

namespace {

enum class BufferClass { FRONT_LIKE, BACK_LIKE, OTHER };

struct DrawBufferMode {
  GLenum mode;
  const char* name;
  BufferClass bufferClass;
};

// GL_NONE, GL_LEFT and GL_RIGHT count as front buffers and GL_FRONT_AND_BACK as a back buffer:
// deliberate.
constexpr DrawBufferMode kDrawBufferModes[] = {
    {GL_NONE, "NONE", BufferClass::FRONT_LIKE},
    {GL_FRONT_LEFT, "FRONT_LEFT", BufferClass::FRONT_LIKE},
    {GL_FRONT_RIGHT, "FRONT_RIGHT", BufferClass::FRONT_LIKE},
    {GL_BACK_LEFT, "BACK_LEFT", BufferClass::BACK_LIKE},
    {GL_BACK_RIGHT, "BACK_RIGHT", BufferClass::BACK_LIKE},
    {GL_FRONT, "FRONT", BufferClass::FRONT_LIKE},
    {GL_BACK, "BACK", BufferClass::BACK_LIKE},
    {GL_LEFT, "LEFT", BufferClass::FRONT_LIKE},
    {GL_RIGHT, "RIGHT", BufferClass::FRONT_LIKE},
    {GL_FRONT_AND_BACK, "FRONT_AND_BACK", BufferClass::BACK_LIKE},
};
constexpr DrawBufferMode kUnknownMode = {0, "unknown", BufferClass::OTHER};

const DrawBufferMode& lookUpMode(GLenum mode) {
  for (const DrawBufferMode& known : kDrawBufferModes) {
    if (known.mode == mode) return known;
  }
  return kUnknownMode;
}

const char* getDrawBufferModeName(GLenum mode) {
  return lookUpMode(mode).name;
}

bool isPlainBack(GLenum mode) {
  return mode == GL_BACK || mode == GL_BACK_LEFT || mode == GL_BACK_RIGHT;
}

const char* renderModeName(GLenum mode) {
  switch (mode) {
  case GL_RENDER:
    return "GL_RENDER";
  case GL_FEEDBACK:
    return "GL_FEEDBACK";
  case GL_SELECT:
    return "GL_SELECT";
  default:
    return "UNKNOWN";
  }
}

// The calling thread's current context in the context map. While one exists the map is locked.
class CurrentContext {
public:
  explicit CurrentContext(const char* label) ZOL_NO_THREAD_SAFETY_ANALYSIS {
    const TSD* const tsd = getTSD();
    if (tsd == nullptr || tsd->context == nullptr) {
      ZOLGL_LOG_AS(label, DEBUG, "no context");
      return;
    }
    getContextMutex()->lock();
    info_ = findContext(tsd->context);
    if (info_ != nullptr && !info_->destroyed) return;
    getContextMutex()->unlock();
    if (info_ == nullptr) {
      ZOLGL_LOG_AS(label, DEBUG, "cannot find context %x in the context map", hex32(tsd->context));
    } else {
      ZOLGL_LOG_AS(label, DEBUG, "the context %x is already destroyed", hex32(tsd->context));
    }
    info_ = nullptr;
  }
  ~CurrentContext() { unlock(); }
  CurrentContext(const CurrentContext&) = delete;
  CurrentContext& operator=(const CurrentContext&) = delete;

  void unlock() ZOL_NO_THREAD_SAFETY_ANALYSIS {
    if (info_ != nullptr) getContextMutex()->unlock();
    info_ = nullptr;
  }
  ContextInfo* operator->() const { return info_; }
  ContextInfo* get() const { return info_; }
  explicit operator bool() const { return info_ != nullptr; }

private:
  ContextInfo* info_ = nullptr;
};

void readBackCurrentWindow() {
  system_glFinish();
  const TSD* const tsd = getTSD();
  if (tsd == nullptr) return;
  const DrawableRef drawable = tsd->drawable;
  if (drawable && drawable->type == LOCAL_WINDOW) drawable->readback();
}

// Ends the count of samples that reached the front buffer; 0 where nothing is counted. The query
// may never have been begun; what the driver makes of that is accepted.
GLint endFrontBufferCount(ContextInfo& info, const char* label) {
  GLint pixels = 0;
  if (!zol::conf::settings().useSampleQueries) return pixels;
  ZOLGL_LOG_AS(label, DEBUG, "mode %x - Finishing query", GL_BACK);
  system_glEndQuery(GL_SAMPLES_PASSED);
  info.countingSamples = false;
  system_glGetQueryObjectiv(info.sampleQuery, GL_QUERY_RESULT, &pixels);
  ZOLGL_LOG_AS(label, DEBUG, "switch from front to back after drawing %d pixels...", pixels);
  return pixels;
}

// The count that still runs in the calling thread's context, if any.
void stopCounting() {
  const TSD* const tsd = getTSD();
  if (tsd == nullptr || tsd->context == nullptr) return;
  const MutexLock lock(getContextMutex());
  ContextInfo* const info = findContext(tsd->context);
  if (info == nullptr || info->destroyed || !info->countingSamples) return;
  system_glEndQuery(GL_SAMPLES_PASSED);
  info->countingSamples = false;
}

// A program that makes queries of its own would collide with the library's.
void giveUpSampleQueries(const char* label) {
  ZOLGL_LOG_AS(label, DEBUG, "START");
  stopCounting();
  auto& settings = zol::conf::settings();
  if (!settings.useSampleQueries) return;
  ZOLGL_LOG_AS(label, DEBUG, "disable occlusion query optimization");
  settings.useSampleQueries = false;
}

} // namespace

// Pixels may have changed in a way that no sample query sees.
static void setNonRasterPixelChange() {
  const TSD* const tsd = getTSD();
  if (tsd == nullptr || tsd->context == nullptr) return;
  MutexLock lock(getContextMutex());
  ContextInfo* const info = findContext(tsd->context);
  if (info == nullptr) {
    lock.unlock();
    ZOLGL_DEBUG("cannot find context");
  } else if (info->destroyed) {
    lock.unlock();
    ZOLGL_DEBUG("context %x is already destroyed", hex32(tsd->context));
  } else {
    info->nonRasterPixelChange = true;
  }
}

void zol_glDrawBuffer(GLenum mode) {
  ZOLGL_DEBUG("START");
  ZOLGL_DEBUG("mode %s (0x%x)", getDrawBufferModeName(mode), mode);
  CurrentContext context(__PRETTY_FUNCTION__);
  if (!context) return;

  const GLenum old = context->drawBuffer;
  const bool doubleBuffered = context->lvi->doubleBuffered != 0;
  const bool counting = zol::conf::settings().useSampleQueries;
  ZOLGL_DEBUG("found context %p (old mode: %s, dbf: %d)", static_cast<void*>(context.get()),
              getDrawBufferModeName(old), doubleBuffered ? 1 : 0);
  if (counting && context->sampleQuery == 0) system_glGenQueries(1, &context->sampleQuery);

  switch (lookUpMode(mode).bufferClass) {
  case BufferClass::FRONT_LIKE:
    context->drawBuffer = mode;
    if (doubleBuffered && counting && isPlainBack(old)) {
      ZOLGL_DEBUG("mode %x - starting query", mode);
      system_glBeginQuery(GL_SAMPLES_PASSED, context->sampleQuery);
      context->countingSamples = true;
    }
    break;
  case BufferClass::BACK_LIKE:
    if (!doubleBuffered) {
      // A single-buffered context goes on drawing into the buffer that is read back.
      ZOLGL_DEBUG("mode %x - ignoring", mode);
      context.unlock();
      system_glDrawBuffer(old);
      ZOLGL_DEBUG("DONE");
      return;
    }
    context->drawBuffer = mode;
    break;
  case BufferClass::OTHER:
    break;
  }

  const bool leavesFront =
      doubleBuffered && mode == GL_BACK && (old == GL_FRONT || old == GL_FRONT_AND_BACK);
  if (leavesFront) {
    const bool drawn = endFrontBufferCount(*context.get(), __PRETTY_FUNCTION__) >= 1 ||
                       context->nonRasterPixelChange;
    context.unlock();
    if (drawn) readBackCurrentWindow();
  } else {
    context.unlock();
  }
  system_glDrawBuffer(mode);
  ZOLGL_DEBUG("DONE");
}

void zol_glPopAttrib() {
  ZOLGL_DEBUG("START");
  GLint before = 0;
  GLint after = 0;
  system_glGetIntegerv(GL_DRAW_BUFFER, &before);
  system_glPopAttrib();
  system_glGetIntegerv(GL_DRAW_BUFFER, &after);
  if (before != after) ZOLGL_INFO("draw buffer changed from %x to %x", hex32(before), hex32(after));
}

GLint zol_glRenderMode(GLenum mode) {
  ZOLGL_DEBUG("mode: %s (0x%x)", renderModeName(mode), mode);
  CurrentContext context(__PRETTY_FUNCTION__);
  if (!context) return 0;
  context->renderMode = mode;
  context.unlock();
  return system_glRenderMode(mode);
}

void zol_glGenQueries(GLsizei n, GLuint* ids) {
  giveUpSampleQueries(__PRETTY_FUNCTION__);
  system_glGenQueries(n, ids);
}

void zol_glGenQueriesARB(GLsizei n, GLuint* ids) {
  giveUpSampleQueries(__PRETTY_FUNCTION__);
  system_glGenQueriesARB(n, ids);
}

void zol_glClear(GLbitfield mask) {
  ZOLGL_DEBUG("START");
  if ((mask & GL_COLOR_BUFFER_BIT) != 0) setNonRasterPixelChange();
  system_glClear(mask);
}

void zol_glCopyPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum type) {
  ZOLGL_DEBUG("START");
  if (type == GL_COLOR) setNonRasterPixelChange();
  system_glCopyPixels(x, y, width, height, type);
}

void zol_glDrawPixels(GLsizei width, GLsizei height, GLenum format, GLenum type,
                      const GLvoid* pixels) {
  ZOLGL_DEBUG("START");
  setNonRasterPixelChange();
  system_glDrawPixels(width, height, format, type, pixels);
}

void zol_glBitmap(GLsizei width, GLsizei height, GLfloat xorig, GLfloat yorig, GLfloat xmove,
                  GLfloat ymove, const GLubyte* bitmap) {
  ZOLGL_DEBUG("START");
  setNonRasterPixelChange();
  system_glBitmap(width, height, xorig, yorig, xmove, ymove, bitmap);
}

void zol_glViewport(GLint x, GLint y, GLsizei width, GLsizei height) {
  ZOLGL_DEBUG("%d %d %d %d", x, y, width, height);
  const TSD* const tsd = getTSD();
  if (tsd == nullptr) {
    ZOLGL_DEBUG("no tsd");
    return;
  }
  if (!tsd->drawable) {
    ZOLGL_DEBUG("no current drawable");
    return;
  }
  const DrawableRef drawable = tsd->drawable;
  if (drawable->type == LOCAL_WINDOW && drawable->getViewportCheckForResize()) {
    drawable->checkForResize();
    if (zol::conf::settings().viewportResizeOptimization)
      drawable->setViewportCheckForResize(false);
  }
  system_glViewport(x, y, width, height);
}
