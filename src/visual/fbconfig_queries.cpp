#include "visual/fbconfig_queries.h"

#include "display/pairing.h"
#include "display/tsd.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "vendor/system_functions.h"
#include "visual/local_fbconfig.h"
#include "visual/visual_map.h"
#include "visual/x_memory.h"

#include <algorithm>
#include <memory>
#include <new>

using zol::hex32;
using zol::MutexLock;
using zol::gl::LocalVisualInfo;
using zol::gl::TSD;

namespace {

struct FBConfigAttribute {
  int attribute;
  const char* queryName;   // null: not a plain attribute of a query
  const char* requestName; // null: unknown in a request
};

constexpr FBConfigAttribute kAttributes[] = {
#define ZOL_FBCONFIG_ATTRIBUTE(attribute, queryName, requestName)                                  \
  {attribute, queryName, requestName},
#include "visual/fbconfig_attributes.def"
};

const FBConfigAttribute* findAttribute(int attribute) {
  const auto* const found =
      std::find_if(std::begin(kAttributes), std::end(kAttributes),
                   [=](const FBConfigAttribute& row) { return row.attribute == attribute; });
  return found != std::end(kAttributes) ? found : nullptr;
}

// Only logs. An attribute unknown here counts as one int, so its value is read as the next one.
void logRequests(const char* origin, const int* list) {
  const int* end = list; // out of step, the walk could miss the terminating zero
  while (*end != 0)
    end += 2;
  while (list < end && *list != 0) {
    const FBConfigAttribute* const row = findAttribute(list[0]);
    if (row == nullptr || row->requestName == nullptr) {
      ZOLGL_LOG_AS(origin, DEBUG, "unknown attribute %x", hex32(list[0]));
      list += 1;
      continue;
    }
    if (row->attribute == GLX_FBCONFIG_ID) {
      ZOLGL_LOG_AS(origin, DEBUG, "%s %x", row->requestName, hex32(list[1]));
    } else {
      ZOLGL_LOG_AS(origin, DEBUG, "%s %d", row->requestName, list[1]);
    }
    list += 2;
  }
}

void logQuery(int attribute, const char* origin) {
  if (const FBConfigAttribute* const row = findAttribute(attribute)) {
    ZOLGL_LOG_AS(origin, DEBUG, "%s", row->queryName);
  } else {
    ZOLGL_LOG_AS(origin, DEBUG, "Unrecognized attribute %d", attribute);
  }
}

int askLocked(Display* local, GLXFBConfig config, int attribute, int* value) {
  const MutexLock lock(getLocalDisplayMutex());
  return system_glXGetFBConfigAttrib(local, config, attribute, value);
}

int queryCaveat(Display* local, GLXFBConfig config, int* value, const char* origin) {
  askLocked(local, config, GLX_CONFIG_CAVEAT, value);
  switch (*value) {
  case GLX_NONE:
    ZOLGL_LOG_AS(origin, DEBUG, "GLX_CONFIG_CAVEAT: GL_NONE");
    break;
  case GLX_SLOW_CONFIG:
    ZOLGL_LOG_AS(origin, DEBUG, "GLX_CONFIG_CAVEAT: GLX_SLOW_CONFIG");
    break;
  case GLX_NON_CONFORMANT_CONFIG:
    ZOLGL_LOG_AS(origin, DEBUG, "GLX_CONFIG_CAVEAT: GLX_NON_CONFORMANT_CONFIG");
    break;
  default:
    break;
  }
  return askLocked(local, config, GLX_CONFIG_CAVEAT, value);
}

const LocalVisualInfo* findByLocalVisual(unsigned int id) ZOL_REQUIRES(getLVIMutex()) {
  for (const LocalVisualInfo* const entry : *getListLocalVisuals()) {
    if (entry->localVisual.visualId == id) return entry;
  }
  return nullptr;
}

// The first entry with a candidate of this FBConfig id. Asks the driver under the visual map mutex
// alone.
const LocalVisualInfo* findByConfigId(int configId) ZOL_REQUIRES(getLVIMutex()) {
  for (const LocalVisualInfo* const entry : *getListLocalVisuals()) {
    if (entry->appVisual.visualId == 0 || entry->fbConfigs == nullptr) continue;
    for (int i = 0; i < entry->numFBConfigs; ++i) {
      if (idOfMappedFBConfig(entry->fbConfigs[i]) == configId) return entry;
    }
  }
  return nullptr;
}

// The driver answers with the local visual; the program is told its own display's.
int queryVisualId(Display* local, GLXFBConfig config, int* value, const char* origin) {
  ZOLGL_LOG_AS(origin, DEBUG, "GLX_VISUAL_ID");
  const int status = askLocked(local, config, GLX_VISUAL_ID, value);
  const auto localId = static_cast<unsigned int>(*value);
  holdHomeOfFBConfigs();
  const MutexLock lock(getLVIMutex());
  const LocalVisualInfo* entry = findByLocalVisual(localId);
  if (entry == nullptr) {
    int configId = 0;
    system_glXGetFBConfigAttrib(local, config, GLX_FBCONFIG_ID, &configId);
    if (configId != 0) entry = findByConfigId(configId);
  }
  if (entry != nullptr) {
    *value = static_cast<int>(entry->appVisual.visualId);
  } else {
    ZOLGL_LOG_AS(origin, DEBUG, "GLX_VISUAL_ID FAILED for visual id %u", localId);
  }
  return status;
}

} // namespace

GLXFBConfig* zol_glXChooseFBConfig(Display* dpy, int, const int* attribList, int* nelements) {
  ZOLGL_DEBUG("START");
  TSD* const tsd = getTSD();
  Display* const local = pairWithLocalDisplay(dpy, tsd);
  if (local == nullptr) return nullptr;
  if (attribList != nullptr && zol::logWanted(zol::LOG_LEVEL_DEBUG)) {
    logRequests(__PRETTY_FUNCTION__, attribList);
  }

  MutexLock lock(getLocalDisplayMutex());
  XMemory<GLXFBConfig> configs(
      system_glXChooseFBConfig(local, DefaultScreen(local), attribList, nelements));
  lock.unlock();
  if (configs == nullptr || nelements == nullptr) return nullptr;

  const int offered = *nelements;
  const std::unique_ptr<GLXFBConfig[]> kept(
      new (std::nothrow) GLXFBConfig[static_cast<std::size_t>(std::max(offered, 0))]);
  if (kept == nullptr) {
    ZOLGL_ERROR_STDERR("could not allocate fbconfig array");
    return nullptr;
  }
  int count = 0;
  for (int i = 0; i < offered; ++i) {
    GLXFBConfig const config = configs.get()[i];
    if (_getLVI(dpy, config, tsd) != nullptr) kept[static_cast<std::size_t>(count++)] = config;
  }
  std::copy_n(kept.get(), count, configs.get());
  *nelements = count;
  return configs.release();
}

GLXFBConfigSGIX* zol_glXChooseFBConfigSGIX(Display* dpy, int screen, int* attribList,
                                           int* nelements) {
  ZOLGL_DEBUG("START");
  return zol_glXChooseFBConfig(dpy, screen, attribList, nelements);
}

GLXFBConfig* zol_glXGetFBConfigs(Display* dpy, int screen, int* nelements) {
  ZOLGL_DEBUG("START");
  return zol_glXChooseFBConfig(dpy, screen, nullptr, nelements);
}

int zol_glXGetFBConfigAttrib(Display* dpy, GLXFBConfig config, int attribute, int* value) {
  ZOLGL_DEBUG("START");
  TSD* const tsd = getTSD();
  initializeVisualMap(dpy, DefaultScreen(dpy), tsd);
  Display* const local = localDisplayFor(dpy, tsd);
  if (local == nullptr) return 0;

  int status = 0;
  if (attribute == GLX_CONFIG_CAVEAT) {
    status = queryCaveat(local, config, value, __PRETTY_FUNCTION__);
  } else if (attribute == GLX_VISUAL_ID) {
    status = queryVisualId(local, config, value, __PRETTY_FUNCTION__);
  } else {
    if (zol::logWanted(zol::LOG_LEVEL_DEBUG)) logQuery(attribute, __PRETTY_FUNCTION__);
    status = askLocked(local, config, attribute, value);
  }
  ZOLGL_DEBUG("return value %d", status);
  return status;
}

int zol_glXGetFBConfigAttribSGIX(Display* dpy, GLXFBConfigSGIX config, int attribute, int* value) {
  ZOLGL_DEBUG("START");
  return zol_glXGetFBConfigAttrib(dpy, config, attribute, value);
}

XVisualInfo* zol_glXGetVisualFromFBConfig(Display* dpy, GLXFBConfig config) {
  ZOLGL_DEBUG("START");
  LocalVisualInfo* const lvi = _getLVI(dpy, config, nullptr);
  if (lvi == nullptr) {
    ZOLGL_DEBUG("no lvi.");
    return nullptr;
  }
  ZOLGL_DEBUG("lvi %p.", static_cast<void*>(lvi));
  if (lvi->localVisual.visualId == 0 || lvi->appVisual.visualId == 0) {
    ZOLGL_DEBUG("FAILURE!");
    return nullptr;
  }
  XVisualInfo wanted = {};
  wanted.visualid = lvi->appVisual.visualId;
  int count = 0;
  XVisualInfo* const visual = XGetVisualInfo(dpy, VisualIDMask, &wanted, &count);
  if (visual == nullptr) {
    ZOLGL_DEBUG("cannot find visual %x", hex32(wanted.visualid));
  } else {
    ZOLGL_DEBUG("found visual %x", hex32(visual->visualid));
  }
  return visual;
}

XVisualInfo* zol_glXGetVisualFromFBConfigSGIX(Display* dpy, GLXFBConfigSGIX config) {
  ZOLGL_DEBUG("START");
  return zol_glXGetVisualFromFBConfig(dpy, config);
}

GLXFBConfigSGIX zol_glXGetFBConfigFromVisualSGIX(Display*, XVisualInfo*) {
  ZOLGL_DEBUG("START");
  return nullptr;
}
