#include "visual/visual_queries.h"

#include "foundation/log.h"
#include "foundation/log_values.h"
#include "visual/visual_map.h"
#include "visual/x_memory.h"

using zol::hex32;
using zol::MutexLock;
using zol::gl::findVisualAttribute;
using zol::gl::LocalVisualInfo;
using zol::gl::RequestKind;
using zol::gl::VisualAttribute;
using zol::gl::XVisualAttributes;

namespace {

// One attribute of a request list. An unknown attribute is one int, as a flag is; its value, if it
// has one, is then read as the next attribute.
struct Request {
  explicit Request(const int* list) : attribute(list[0]), next(list[1]) {
    if ((row = findVisualAttribute(attribute))) kind = row->request;
    size = kind == RequestKind::VALUE ? 2 : 1;
  }

  int attribute;
  int next; // the int that follows: the value, if there is one
  RequestKind kind = RequestKind::UNKNOWN;
  const VisualAttribute* row;
  int size; // in ints
};

void logRequests(const char* origin, const int* list) {
  while (*list) {
    const Request request(list);
    switch (request.kind) {
    case RequestKind::FLAG:
      ZOLGL_LOG_AS(origin, DEBUG, "%s", request.row->label);
      break;
    case RequestKind::VALUE:
      // The transparent type goes by this name in the log, deliberately.
      ZOLGL_LOG_AS(origin, DEBUG, "%s %d",
                   request.attribute == GLX_TRANSPARENT_TYPE ? "GLX_ACCUM_ALPHA_SIZE"
                                                             : request.row->label,
                   request.next);
      break;
    case RequestKind::UNKNOWN:
      ZOLGL_LOG_AS(origin, DEBUG, "unknown attribute %x", hex32(request.next));
      break;
    }
    list += request.size;
  }
}

// Whether `visual` offers at least what is requested.
bool satisfies(const char* origin, const XVisualAttributes& visual, const Request& request) {
  if (request.kind == RequestKind::UNKNOWN) {
    ZOLGL_LOG_AS(origin, DEBUG, "unknown attribute %x", hex32(request.next));
    return true;
  }
  switch (request.attribute) {
  case GLX_USE_GL:
  case GLX_RGBA:
    return true;
  case GLX_DOUBLEBUFFER:
    if (visual.doubleBuffer) return true;
    ZOLGL_LOG_AS(origin, DEBUG, "GLX_DOUBLEBUFFER request YES has NO");
    return false;
  case GLX_STEREO:
    return false; // never offered
  case GLX_DEPTH_SIZE:
    // Compared with the colour depth of the visual, deliberately.
    if (request.next <= visual.depth) return true;
    ZOLGL_LOG_AS(origin, DEBUG, "GLX_DEPTH_SIZE request %u has %u", hex32(request.next),
                 hex32(visual.depth));
    return false;
  default:
    if (request.next <= visual.*request.row->field) return true;
    ZOLGL_LOG_AS(origin, DEBUG, "%s request %d has %d", request.row->label, request.next,
                 visual.*request.row->field);
    return false;
  }
}

bool satisfiesAll(const char* origin, const XVisualAttributes& visual, const int* list) {
  bool doubleBufferRequested = false;
  bool depthRequested = false;
  while (*list) {
    const Request request(list);
    if (!satisfies(origin, visual, request)) return false;
    if (request.attribute == GLX_DOUBLEBUFFER) doubleBufferRequested = true;
    if (request.attribute == GLX_DEPTH_SIZE) depthRequested = true;
    list += request.size;
  }
  // Without GLX_DOUBLEBUFFER only single-buffered visuals, without GLX_DEPTH_SIZE only 24-bit ones.
  return (doubleBufferRequested || !visual.doubleBuffer) && (depthRequested || visual.depth == 24);
}

const LocalVisualInfo* findByAppVisual(VisualID id) ZOL_REQUIRES(getLVIMutex()) {
  for (const LocalVisualInfo* entry : *getListLocalVisuals())
    if (entry->appVisual.visualId == id) return entry;
  return nullptr;
}

const LocalVisualInfo* findByRequest(const char* origin, const int* list)
    ZOL_REQUIRES(getLVIMutex()) {
  for (const LocalVisualInfo* entry : *getListLocalVisuals())
    if (satisfiesAll(origin, entry->localVisual, list)) return entry;
  return nullptr;
}

} // namespace

XVisualInfo* zol_glXChooseVisual(Display* dpy, int screen, int* attribList) {
  const char* const origin = __PRETTY_FUNCTION__;
  ZOLGL_DEBUG("START");
  static const int nothing[] = {0};
  const int* const list = attribList ? attribList : nothing;
  if (zol::logWanted(zol::LOG_LEVEL_DEBUG)) logRequests(origin, list);
  initializeVisualMap(dpy, screen, nullptr);

  MutexLock chooseLock(getLVIMutex());
  const LocalVisualInfo* const entry = findByRequest(origin, list);
  if (!entry) {
    chooseLock.unlock();
    ZOLGL_DEBUG("FAILED!");
    return nullptr;
  }
  XVisualInfo wanted = {};
  wanted.visualid = entry->appVisual.visualId;
  int count = 0;
  XMemory<XVisualInfo> visual(XGetVisualInfo(dpy, VisualIDMask, &wanted, &count));
  chooseLock.unlock();
  if (!visual) {
    ZOLGL_DEBUG("FAILED!");
    return nullptr;
  }
  ZOLGL_DEBUG("choosing visual %x", hex32(visual->visualid));

  MutexLock confirmLock(getLVIMutex());
  const bool known = findByAppVisual(visual->visualid);
  confirmLock.unlock();
  if (!known) {
    ZOLGL_DEBUG("BIG PROBLEM cannot find id %lx", visual->visualid);
    return nullptr;
  }
  ZOLGL_DEBUG("return %x.", hex32(visual->visualid));
  return visual.release();
}

int zol_glXGetConfig(Display* dpy, XVisualInfo* vis, int attrib, int* value) {
  const VisualID id = vis->visualid;
  ZOLGL_DEBUG("visual id %x", hex32(id));
  initializeVisualMap(dpy, DefaultScreen(dpy), nullptr);

  MutexLock lock(getLVIMutex());
  const LocalVisualInfo* const entry = findByAppVisual(id);
  lock.unlock();

  if (!entry) {
    ZOLGL_DEBUG("NOT IN CACHE... %lx attrib %x", id, hex32(attrib));
    *value = 0;
    return attrib == GLX_USE_GL ? Success : GLX_BAD_VISUAL;
  }
  const VisualAttribute* const row = findVisualAttribute(attrib);
  if (!row) {
    *value = 0;
    ZOLGL_DEBUG("%lx default val %x", id, 0U);
    return GLX_BAD_ATTRIBUTE;
  }
  *value = entry->localVisual.*row->field;
  ZOLGL_DEBUG("%lx %s val %x", id, row->label, hex32(*value));
  return Success;
}
