#pragma once

#include "foundation/map.h"
#include "foundation/mutex.h"
#include "vendor/glx_api.h"

namespace zol::gl {

class LocalVisualInfo;

// What is known of one context. All fields are guarded by getContextMutex().
struct ContextInfo {
  virtual ~ContextInfo() = default;

  Display* appDisplay = nullptr; // given at creation
  GLXContext context = nullptr;  // on the local display; the map's key
  LocalVisualInfo* lvi = nullptr;
  GLXFBConfig fbconfig = nullptr; // of the local display, used at creation
  GLenum drawBuffer = GL_BACK;
  GLenum renderMode = GL_RENDER;
  GLuint sampleQuery = 0;           // GL_SAMPLES_PASSED query, made on first use
  bool nonRasterPixelChange = true; // pixels may have changed without a sample passing
  bool current = false;             // to some thread
  bool destroyed = false;           // while it was current
  bool debugCallbackRegistered = false;
  bool countingSamples = false; // sampleQuery has been begun and not been ended
};

} // namespace zol::gl

// The process-wide context map. It owns its records; they are deleted outside the lock.
zol::Mutex* getContextMutex();
zol::Map<GLXContext, zol::gl::ContextInfo*>* getContextMap();

// Null when the context is unknown. Hold the context mutex.
zol::gl::ContextInfo* findContext(GLXContext context);

// Makes the record of a new context; one that an earlier context of the same address left is
// replaced. Without memory a std::bad_alloc, and nothing has changed.
void addToContextMap(Display* dpy, GLXContext context, zol::gl::LocalVisualInfo* lvi,
                     GLXFBConfig fbconfig);

// The local FBConfig of a context; null, and an ERROR, when it is unknown.
GLXFBConfig getFBConfig(GLXContext context);

// Whether the program has destroyed the context while it was current. It then lives in the driver
// for as long as it stays current: taking it off the thread ends it for good.
bool livesOnlyWhileCurrent(GLXContext context);

// Whether any context was created on `appDisplay`.
bool anyContextOn(Display* appDisplay);
