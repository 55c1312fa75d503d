#include "display/contexts.h"

#include "display/context_map.h"
#include "display/pairing.h"
#include "display/tsd.h"
#include "drawable/registry.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "vendor/system_functions.h"
#include "visual/local_fbconfig.h"
#include "visual/visual_map.h"

#include <memory>
#include <new>
#include <utility>
#include <vector>

using zol::hex32;
using zol::MutexLock;
using zol::gl::ContextInfo;
using zol::gl::LocalVisualInfo;
using zol::gl::TSD;

namespace {

// What every creation call needs first. `local` is null when the call has to fail.
struct Preparation {
  TSD* tsd = nullptr;
  Display* local = nullptr;
};

Preparation prepareCreation(Display* dpy, Bool direct, const char* label) {
  if (!direct) ZOLGL_LOG_AS(label, INFO, "trying to create an indirect context. Forcing direct.");
  Preparation preparation;
  preparation.tsd = getTSD();
  if (!_setupAppDisplay(dpy, preparation.tsd)) return preparation;
  preparation.local = _getLocalDisplay(preparation.tsd);
  if (preparation.local == nullptr) ZOLGL_LOG_AS(label, DEBUG, "no local display");
  return preparation;
}

// Has the driver make the context and puts it on record, with the FBConfig that was really used.
// One that finds no room there ends at once: the program will never know of it.
template <class Create>
GLXContext createOnLocalDisplay(Display* dpy, const Preparation& preparation, LocalVisualInfo* lvi,
                                GLXFBConfig config, const char* label, Create create) {
  const auto [tsd, local] = preparation;
  MutexLock lock(getLocalDisplayMutex());
  GLXContext const context = create(local);
  lock.unlock();
  if (context == nullptr) {
    ZOLGL_LOG_AS(label, DEBUG, "failed in createnewcontext.");
    return nullptr;
  }
  try {
    addToContextMap(dpy, context, lvi, config);
  } catch (const std::bad_alloc&) {
    const MutexLock destruction(getLocalDisplayMutex());
    system_glXDestroyContext(local, context);
    throw;
  }
  if (tsd->throwawayContext == nullptr) tsd->throwawayContext = context;
  return context;
}

// The mapping that a creation call by FBConfig needs; null, and a message, when there is none.
LocalVisualInfo* mappingFor(Display* dpy, GLXFBConfig config, TSD* tsd, const char* label) {
  LocalVisualInfo* const lvi = _getLVI(dpy, config, tsd);
  if (lvi == nullptr) ZOLGL_LOG_AS(label, DEBUG, "failed for no visual.");
  return lvi;
}

bool forcesBestConfig(const LocalVisualInfo* lvi) {
  return zol::conf::settings().forceBestFbconfig && lvi->fbConfigs != nullptr;
}

// The program's list, if any, up to its first zero word, be it a value, and the debug flag behind
// it. A flags pair that is there already is not merged: drivers take the last one. Cut behind a
// name, the list is out of step, so a second zero ends it for those who read pairs.
std::vector<int> withDebugFlag(const int* attribs) {
  std::vector<int> list;
  for (; attribs != nullptr && *attribs != 0; ++attribs)
    list.push_back(*attribs);
  list.insert(list.end(), {GLX_CONTEXT_FLAGS_ARB, GLX_CONTEXT_DEBUG_BIT_ARB, 0, 0});
  return list;
}

void destroyLocalContext(Display* local, GLXContext context) {
  clearDeletedDrawables();
  const MutexLock lock(getLocalDisplayMutex());
  system_glXDestroyContext(local, context);
}

const char* debugTypeName(GLenum type) {
  switch (type) {
  case GL_DEBUG_TYPE_ERROR:
    return "Error";
  case GL_DEBUG_TYPE_DEPRECATED_BEHAVIOR:
    return "Deprecated behaviour";
  case GL_DEBUG_TYPE_UNDEFINED_BEHAVIOR:
    return "Undefined behaviour";
  case GL_DEBUG_TYPE_PORTABILITY:
    return "Portability";
  case GL_DEBUG_TYPE_PERFORMANCE:
    return "Performance";
  case GL_DEBUG_TYPE_OTHER:
    return "Other";
  default:
    return "Unknown";
  }
}

const char* debugSeverityName(GLenum severity) {
  switch (severity) {
  case GL_DEBUG_SEVERITY_HIGH:
    return "High";
  case GL_DEBUG_SEVERITY_MEDIUM:
    return "Medium";
  case GL_DEBUG_SEVERITY_LOW:
    return "Low";
  default:
    return "Unknown";
  }
}

} // namespace

GLXContext zol_glXCreateContext(Display* dpy, XVisualInfo* vis, GLXContext share, Bool direct) {
  ZOLGL_DEBUG("visual id %x", hex32(vis->visualid));
  const Preparation ready = prepareCreation(dpy, direct, __PRETTY_FUNCTION__);
  if (ready.local == nullptr) return nullptr;

  LocalVisualInfo* const lvi = _getLVI(dpy, vis->visualid, ready.tsd);
  if (lvi == nullptr) {
    ZOLGL_DEBUG("failed for no visual.");
    return nullptr;
  }
  if (lvi->fbConfigs == nullptr) {
    ZOLGL_DEBUG("failed for local fbconfigs");
    return nullptr;
  }
  GLXFBConfig const config = lvi->bestFBConfig();
  return createOnLocalDisplay(dpy, ready, lvi, config, __PRETTY_FUNCTION__, [=](Display* local) {
    return system_glXCreateNewContext(local, fbconfigOn(local, config), GLX_RGBA_TYPE, share, True);
  });
}

GLXContext zol_glXCreateNewContext(Display* dpy, GLXFBConfig config, int renderType,
                                   GLXContext share, Bool direct) {
  ZOLGL_DEBUG("fbconfig %x, render type %d", hex32(config), renderType);
  const Preparation ready = prepareCreation(dpy, direct, __PRETTY_FUNCTION__);
  if (ready.local == nullptr) return nullptr;

  LocalVisualInfo* const lvi = mappingFor(dpy, config, ready.tsd, __PRETTY_FUNCTION__);
  if (lvi == nullptr) return nullptr;
  if (forcesBestConfig(lvi)) {
    config = lvi->bestFBConfig();
    renderType = GLX_RGBA_TYPE;
    ZOLGL_DEBUG("forcing fbconfig %x, render type %d", hex32(config), renderType);
  }
  return createOnLocalDisplay(dpy, ready, lvi, config, __PRETTY_FUNCTION__, [=](Display* local) {
    return system_glXCreateNewContext(local, fbconfigOn(local, config), renderType, share, True);
  });
}

GLXContext zol_glXCreateContextWithConfigSGIX(Display* dpy, GLXFBConfigSGIX config, int renderType,
                                              GLXContext share, Bool direct) {
  ZOLGL_DEBUG("START");
  return zol_glXCreateNewContext(dpy, config, renderType, share, direct);
}

GLXContext zol_glXCreateContextAttribsARB(Display* dpy, GLXFBConfig config, GLXContext share,
                                          Bool direct, const int* attribs) {
  ZOLGL_DEBUG("fbconfig %x", hex32(config));
  const Preparation ready = prepareCreation(dpy, direct, __PRETTY_FUNCTION__);
  if (ready.local == nullptr) return nullptr;

  LocalVisualInfo* const lvi = mappingFor(dpy, config, ready.tsd, __PRETTY_FUNCTION__);
  if (lvi == nullptr) return nullptr;
  if (forcesBestConfig(lvi)) {
    config = lvi->bestFBConfig();
    ZOLGL_DEBUG("forcing fbconfig %x", hex32(config));
  }
  std::vector<int> debugList;
  if (zol::conf::settings().addGlDebugCallback) {
    debugList = withDebugFlag(attribs);
    attribs = debugList.data();
    ZOLGL_INFO("Added GLX_CONTEXT_FLAGS_ARB and GLX_CONTEXT_DEBUG_BIT_ARB to the attrib list");
  }
  return createOnLocalDisplay(dpy, ready, lvi, config, __PRETTY_FUNCTION__, [=](Display* local) {
    return system_glXCreateContextAttribsARB != nullptr
               ? system_glXCreateContextAttribsARB(local, fbconfigOn(local, config), share, True,
                                                   attribs)
               : nullptr;
  });
}

void zol_glXDestroyContext(Display* dpy, GLXContext context) {
  ZOLGL_DEBUG("START");
  if (context == nullptr) return;
  TSD* const tsd = getTSD();
  Display* const local = localDisplayFor(dpy, tsd);
  if (local == nullptr) {
    ZOLGL_DEBUG("no local display");
    return;
  }
  const LocalDisplayHold hold(tsd->appdpy);

  std::unique_ptr<ContextInfo> removed;
  MutexLock lock(getContextMutex());
  ContextInfo* const info = findContext(context);
  if (info == nullptr) {
    ZOLGL_WARNING("context %x not found in the map.", hex32(context));
  } else if (info->current) {
    ZOLGL_DEBUG("context %x is current to a thread, mark as destroyed without removing from the "
                "map.",
                hex32(context));
    info->destroyed = true;
  } else {
    ZOLGL_DEBUG("context %x removed from the map.", hex32(context));
    getContextMap()->erase(context);
    removed.reset(info);
  }
  lock.unlock();
  Display* const appDisplay = removed != nullptr ? removed->appDisplay : nullptr;
  removed.reset();
  destroyLocalContext(local, context);
  _unsetLocalDisplay(appDisplay);
}

void debugCallback(GLenum, GLenum type, GLuint, GLenum severity, GLsizei, const GLchar* message,
                   const void*) {
  ZOLGL_INFO("[GL DEBUG] type=%s, severity=%s: %s", debugTypeName(type),
             debugSeverityName(severity), message);
}
