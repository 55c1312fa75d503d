#include "drawable/glx_drawables.h"

#include "display/pairing.h"
#include "display/tsd.h"
#include "drawable/drawable_info.h"
#include "drawable/local_pixmap_window.h"
#include "drawable/registry.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "vendor/system_functions.h"
#include "visual/local_fbconfig.h"
#include "visual/visual_map.h"

using zol::hex32;
using zol::MutexLock;
using zol::gl::DrawableInfo;
using zol::gl::DrawableRef;
using zol::gl::LOCAL_PBUFFER;
using zol::gl::LOCAL_PIXMAP;
using zol::gl::LocalDrawableType;
using zol::gl::LocalVisualInfo;
using zol::gl::TSD;

namespace {

struct Geometry {
  int x = 0;
  int y = 0;
  unsigned int width = 0;
  unsigned int height = 0;
  unsigned int depth = 0;
};

GLXFBConfig configToUse(GLXFBConfig requested, const LocalVisualInfo* lvi, const char* label) {
  if (!zol::conf::settings().forceBestFbconfig || lvi->fbConfigs == nullptr) return requested;
  GLXFBConfig const best = lvi->bestFBConfig();
  ZOLGL_LOG_AS(label, DEBUG, "forcing fbconfig %x", hex32(best));
  return best;
}

// False for a pixmap that the application server does not know: it has told the program so.
bool getGeometry(Display* dpy, Pixmap pixmap, Geometry* geometry) {
  Window root = None;
  unsigned int border = 0;
  return XGetGeometry(dpy, pixmap, &root, &geometry->x, &geometry->y, &geometry->width,
                      &geometry->height, &border, &geometry->depth) != 0;
}

// Makes the local pixmap and its GLX pixmap and puts them on record. `recorded` is the FBConfig
// that the program will ask for, `used` the one that the driver gets.
GLXPixmap createPixmap(Display* dpy, Display* local, Pixmap pixmap, const Geometry& geometry,
                       LocalVisualInfo* lvi, GLXFBConfig recorded, GLXFBConfig used,
                       const int* attribs, const char* label) {
  clearDeletedDrawables();
  MutexLock lock(getLocalDisplayMutex());
  const Window window = getLocalPixmapWindow(local);
  const Pixmap localPixmap =
      XCreatePixmap(local, window, geometry.width, geometry.height, geometry.depth);
  const GLXPixmap id = system_glXCreatePixmap(local, fbconfigOn(local, used), localPixmap, attribs);
  lock.unlock();
  somethingWasMadeOn(getTSD()->appdpy);

  const DrawableRef record(new DrawableInfo(LOCAL_PIXMAP, id, recorded, dpy, geometry.x, geometry.y,
                                            geometry.width, geometry.height));
  record->appPixmap = pixmap;
  record->lvi = lvi;
  record->localDrawable = id;
  record->localPixmap = localPixmap;
  ZOLGL_LOG_AS(label, DEBUG, "Pixmap ldi %p, lvi: %p", static_cast<void*>(record.get()),
               static_cast<void*>(lvi));
  pushLocalDrawable(record);
  return id;
}

GLXPbuffer recordPbuffer(Display* dpy, GLXPbuffer id, GLXFBConfig config, LocalVisualInfo* lvi) {
  const DrawableRef record(new DrawableInfo(LOCAL_PBUFFER, id, config, dpy, 0, 0, 100, 100));
  record->localDrawable = id;
  record->lvi = lvi;
  pushLocalDrawable(record);
  return id;
}

const char* pbufferAttributeName(int attribute) {
  switch (attribute) {
  case GLX_PBUFFER_WIDTH:
    return "GLX_PBUFFER_WIDTH";
  case GLX_PBUFFER_HEIGHT:
    return "GLX_PBUFFER_HEIGHT";
  case GLX_PRESERVED_CONTENTS:
    return "GLX_PRESERVED_CONTENTS";
  case GLX_LARGEST_PBUFFER:
    return "GLX_LARGEST_PBUFFER";
  default:
    return "UNKNOWN";
  }
}

void destroy(Display* dpy, GLXDrawable drawable, LocalDrawableType type) {
  if (_setupAppDisplay(dpy, nullptr)) eraseLocalDrawable(drawable, type);
}

void logQuery(int attribute, const char* label) {
  switch (attribute) {
  case GLX_FBCONFIG_ID:
    ZOLGL_LOG_AS(label, DEBUG, "querying GLX_FBCONFIG_ID");
    break;
  case GLX_PRESERVED_CONTENTS:
    ZOLGL_LOG_AS(label, DEBUG, "querying GLX_PRESERVED_CONTENTS");
    break;
  case GLX_LARGEST_PBUFFER:
    ZOLGL_LOG_AS(label, DEBUG, "querying GLX_LARGEST_PBUFFER");
    break;
  case GLX_WIDTH:
    ZOLGL_LOG_AS(label, DEBUG, "querying GLX_WIDTH");
    break;
  case GLX_HEIGHT:
    ZOLGL_LOG_AS(label, DEBUG, "querying GLX_HEIGHT");
    break;
  default:
    ZOLGL_LOG_AS(label, DEBUG, "querying %d", attribute);
    break;
  }
}

} // namespace

GLXPixmap zol_glXCreatePixmap(Display* dpy, GLXFBConfig config, Pixmap pixmap, const int* attribs) {
  ZOLGL_DEBUG("fbconfig %x", hex32(config));
  TSD* const tsd = getTSD();
  Display* const local = pairWithLocalDisplay(dpy, tsd);
  if (local == nullptr) return None;
  Geometry geometry;
  if (!getGeometry(dpy, pixmap, &geometry)) return None;
  LocalVisualInfo* const lvi = _getLVI(dpy, config, tsd);
  if (lvi == nullptr) {
    ZOLGL_DEBUG("no lvi.");
    return None;
  }
  return createPixmap(dpy, local, pixmap, geometry, lvi, config,
                      configToUse(config, lvi, __PRETTY_FUNCTION__), attribs, __PRETTY_FUNCTION__);
}

GLXPixmap zol_glXCreateGLXPixmap(Display* dpy, XVisualInfo* visual, Pixmap pixmap) {
  ZOLGL_DEBUG("visual id %x", hex32(visual->visualid));
  TSD* const tsd = getTSD();
  Display* const local = pairWithLocalDisplay(dpy, tsd);
  if (local == nullptr) return None;
  Geometry geometry;
  if (!getGeometry(dpy, pixmap, &geometry)) return None;
  LocalVisualInfo* const lvi = _getLVI(dpy, visual->visualid, tsd);
  if (lvi == nullptr) {
    ZOLGL_DEBUG("FAILED for no lvi.");
    return None;
  }
  GLXFBConfig const best = lvi->bestFBConfig();
  return createPixmap(dpy, local, pixmap, geometry, lvi, best, best, nullptr, __PRETTY_FUNCTION__);
}

GLXPixmap zol_glXCreateGLXPixmapWithConfigSGIX(Display* dpy, GLXFBConfigSGIX config,
                                               Pixmap pixmap) {
  ZOLGL_DEBUG("START");
  return zol_glXCreatePixmap(dpy, config, pixmap, nullptr);
}

void zol_glXDestroyPixmap(Display* dpy, GLXPixmap pixmap) {
  ZOLGL_DEBUG("START");
  destroy(dpy, pixmap, LOCAL_PIXMAP);
}

void zol_glXDestroyGLXPixmap(Display* dpy, GLXPixmap pixmap) {
  ZOLGL_DEBUG("START");
  zol_glXDestroyPixmap(dpy, pixmap);
}

GLXPbuffer zol_glXCreatePbuffer(Display* dpy, GLXFBConfig config, const int* attribs) {
  ZOLGL_DEBUG("fbconfig %x", hex32(config));
  TSD* const tsd = getTSD();
  Display* const local = pairWithLocalDisplay(dpy, tsd);
  if (local == nullptr) return None;
  for (const int* pair = attribs; pair != nullptr && *pair != 0; pair += 2) {
    ZOLGL_DEBUG("attr, value: %s (%d), %d", pbufferAttributeName(pair[0]), pair[0], pair[1]);
  }
  LocalVisualInfo* const lvi = _getLVI(dpy, config, tsd);
  if (lvi == nullptr) {
    ZOLGL_DEBUG("no lvi.");
    return None;
  }
  GLXFBConfig const used = configToUse(config, lvi, __PRETTY_FUNCTION__);
  MutexLock lock(getLocalDisplayMutex());
  const GLXPbuffer id = system_glXCreatePbuffer(local, fbconfigOn(local, used), attribs);
  lock.unlock();
  return recordPbuffer(dpy, id, config, lvi);
}

GLXPbufferSGIX zol_glXCreateGLXPbufferSGIX(Display* dpy, GLXFBConfigSGIX config, unsigned int width,
                                           unsigned int height, int* attribs) {
  ZOLGL_DEBUG("fbconfig %x", hex32(config));
  TSD* const tsd = getTSD();
  Display* const local = pairWithLocalDisplay(dpy, tsd);
  if (local == nullptr) return None;
  LocalVisualInfo* const lvi = _getLVI(dpy, config, tsd);
  if (lvi == nullptr) {
    ZOLGL_DEBUG("no lvi.");
    return None;
  }
  // Programs find this function even where the driver has none.
  if (system_glXCreateGLXPbufferSGIX == nullptr) return None;
  MutexLock lock(getLocalDisplayMutex());
  const GLXPbuffer id =
      system_glXCreateGLXPbufferSGIX(local, fbconfigOn(local, config), width, height, attribs);
  lock.unlock();
  return recordPbuffer(dpy, id, config, lvi);
}

void zol_glXDestroyPbuffer(Display* dpy, GLXPbuffer pbuffer) {
  ZOLGL_DEBUG("START");
  destroy(dpy, pbuffer, LOCAL_PBUFFER);
}

void zol_glXDestroyGLXPbufferSGIX(Display* dpy, GLXPbufferSGIX pbuffer) {
  ZOLGL_DEBUG("START");
  zol_glXDestroyPbuffer(dpy, pbuffer);
}

GLXWindow zol_glXCreateWindow(Display* dpy, GLXFBConfig, Window window, const int*) {
  ZOLGL_DEBUG("START");
  return _setupAppDisplay(dpy, nullptr) ? window : None;
}

void zol_glXDestroyWindow(Display* dpy, GLXWindow) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
}

void zol_glXQueryDrawable(Display* dpy, GLXDrawable drawable, int attribute, unsigned int* value) {
  ZOLGL_DEBUG("START");
  if (!_setupAppDisplay(dpy, nullptr)) {
    *value = 0;
    return;
  }
  logQuery(attribute, __PRETTY_FUNCTION__);
  const DrawableRef record = findLocalDrawable(drawable);
  if (!record) {
    system_glXQueryDrawable(dpy, drawable, attribute, value);
    return;
  }
  Display* const local = _getLocalDisplay(nullptr);
  if (local == nullptr) {
    *value = 0;
    return;
  }
  const MutexLock lock(getLocalDisplayMutex());
  system_glXQueryDrawable(local, record->localDrawable, attribute, value);
}

int zol_glXQueryGLXPbufferSGIX(Display* dpy, GLXPbufferSGIX pbuffer, int attribute,
                               unsigned int* value) {
  ZOLGL_DEBUG("START");
  Display* const local = pairWithLocalDisplay(dpy, nullptr);
  if (local == nullptr) {
    *value = 0;
    return 0;
  }
  const DrawableRef record = findLocalDrawable(pbuffer);
  if (!record || record->type != LOCAL_PBUFFER) return GLX_BAD_ATTRIBUTE;
  if (system_glXQueryGLXPbufferSGIX == nullptr) { // as above
    *value = 0;
    return 0;
  }
  const MutexLock lock(getLocalDisplayMutex());
  // The public prototype returns nothing, drivers return a status.
  using Query = int (*)(Display*, GLXPbufferSGIX, int, unsigned int*);
  return reinterpret_cast<Query>(reinterpret_cast<void (*)()>(system_glXQueryGLXPbufferSGIX))(
      local, pbuffer, attribute, value);
}
