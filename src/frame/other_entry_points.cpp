#include "frame/other_entry_points.h"

#include "display/pairing.h"
#include "display/tsd.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "vendor/system_functions.h"

Bool zol_glXJoinSwapGroupNV(Display*, GLXDrawable, GLuint) {
  ZOLGL_DEBUG("START");
  return False;
}

Bool zol_glXBindSwapBarrierNV(Display*, GLuint, GLuint) {
  ZOLGL_DEBUG("START");
  return False;
}

Bool zol_glXQuerySwapGroupNV(Display*, GLXDrawable, GLuint*, GLuint*) {
  ZOLGL_DEBUG("START");
  return False;
}

Bool zol_glXQueryMaxSwapGroupsNV(Display*, int, GLuint* maxGroups, GLuint* maxBarriers) {
  ZOLGL_DEBUG("START");
  *maxGroups = 0;
  *maxBarriers = 0;
  return True;
}

Bool zol_glXQueryFrameCountNV(Display*, int, GLuint* count) {
  ZOLGL_DEBUG("START");
  *count = 0;
  return False;
}

Bool zol_glXResetFrameCountNV(Display*, int) {
  ZOLGL_DEBUG("START");
  return False;
}

int zol_glXReleaseVideoImageNV(Display*, GLXPbuffer) {
  ZOLGL_DEBUG("START");
  return 0;
}

int zol_glXSendPbufferToVideoNV(Display*, GLXPbuffer, int, unsigned long*, GLboolean) {
  ZOLGL_DEBUG("START");
  return 0;
}

int zol_glXGetVideoSyncSGI(unsigned int*) {
  ZOLGL_DEBUG("START");
  return GLX_BAD_CONTEXT;
}

int zol_glXWaitVideoSyncSGI(int, int, unsigned int*) {
  ZOLGL_DEBUG("START");
  return GLX_BAD_CONTEXT;
}

int zol_glXGetRefreshRateSGI(unsigned int*) {
  ZOLGL_DEBUG("START");
  return GLX_BAD_CONTEXT;
}

GLboolean zol_glXSet3DfxModeMESA(GLint) {
  ZOLGL_DEBUG("START");
  return GL_FALSE;
}

int zol_glXBindChannelToWindowSGIX(Display*, int, int, Window) {
  ZOLGL_DEBUG("START");
  return 0;
}

int zol_glXChannelRectSGIX(Display* dpy, int, int, int, int, int, int) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
  return 0;
}

int zol_glXChannelRectSyncSGIX(Display* dpy, int, int, GLenum) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
  return 0;
}

int zol_glXQueryChannelRectSGIX(Display* dpy, int, int, int*, int*, int*, int*) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
  return 0;
}

int zol_glXQueryChannelDeltasSGIX(Display* dpy, int, int, int*, int*, int*, int*) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
  return 0;
}

GLXContextID zol_glXGetContextIDEXT(const GLXContext) {
  ZOLGL_DEBUG("START");
  return 0;
}

int zol_glXQueryContextInfoEXT(Display* dpy, GLXContext, int, int*) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
  return 0;
}

GLXContext zol_glXImportContextEXT(Display* dpy, GLXContextID) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
  return nullptr;
}

void zol_glXFreeContextEXT(Display* dpy, GLXContext) {
  if (_setupAppDisplay(dpy, nullptr)) ZOLGL_DEBUG("START");
}

void zol_glXSelectEvent(Display* dpy, GLXDrawable, unsigned long) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
}

void zol_glXGetSelectedEvent(Display* dpy, GLXDrawable, unsigned long*) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
}

void zol_glXSelectEventSGIX(Display* dpy, GLXDrawable, unsigned long) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
}

void zol_glXGetSelectedEventSGIX(Display* dpy, GLXDrawable, unsigned long*) {
  ZOLGL_DEBUG("START");
  _setupAppDisplay(dpy, nullptr);
}

// Drivers without these two exist; programs that take the interposer's existence for theirs must
// get the answer of a failed allocation.
void* zol_glXAllocateMemoryNV(GLsizei size, GLfloat readFrequency, GLfloat writeFrequency,
                              GLfloat priority) {
  ZOLGL_DEBUG("START");
  if (system_glXAllocateMemoryNV == nullptr) return nullptr;
  return system_glXAllocateMemoryNV(size, readFrequency, writeFrequency, priority);
}

void zol_glXFreeMemoryNV(GLvoid* pointer) {
  ZOLGL_DEBUG("START");
  if (system_glXFreeMemoryNV != nullptr) system_glXFreeMemoryNV(pointer);
}

void zol_glXWaitGL() {
  ZOLGL_DEBUG("START");
  system_glXWaitGL();
}

void zol_glXWaitX() {
  ZOLGL_DEBUG("START");
  if (zol::conf::settings().glxwaitxSyncAppDisplay) {
    const zol::gl::TSD* const tsd = getTSD();
    if (tsd != nullptr && tsd->appdpy != nullptr) XSync(tsd->appdpy, False);
  }
  system_glXWaitX();
}
