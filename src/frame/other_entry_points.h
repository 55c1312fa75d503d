#pragma once

#include "vendor/glx_api.h"

// GLX entry points off the way of a frame. Most belong to extensions that mean nothing for a remote
// display and are answered without the driver: see each group.

// Swap groups, frame counters, video: there are none.
Bool zol_glXJoinSwapGroupNV(Display* dpy, GLXDrawable drawable, GLuint group);
Bool zol_glXBindSwapBarrierNV(Display* dpy, GLuint group, GLuint barrier);
Bool zol_glXQuerySwapGroupNV(Display* dpy, GLXDrawable drawable, GLuint* group, GLuint* barrier);
Bool zol_glXQueryMaxSwapGroupsNV(Display* dpy, int screen, GLuint* maxGroups, GLuint* maxBarriers);
Bool zol_glXQueryFrameCountNV(Display* dpy, int screen, GLuint* count);
Bool zol_glXResetFrameCountNV(Display* dpy, int screen);
int zol_glXReleaseVideoImageNV(Display* dpy, GLXPbuffer pbuffer);
int zol_glXSendPbufferToVideoNV(Display* dpy, GLXPbuffer pbuffer, int bufferType,
                                unsigned long* counter, GLboolean block);

// No retrace to wait for: GLX_BAD_CONTEXT.
int zol_glXGetVideoSyncSGI(unsigned int* count);
int zol_glXWaitVideoSyncSGI(int divisor, int remainder, unsigned int* count);
int zol_glXGetRefreshRateSGI(unsigned int* rate);

GLboolean zol_glXSet3DfxModeMESA(GLint mode);
int zol_glXBindChannelToWindowSGIX(Display* dpy, int screen, int channel, Window window);
int zol_glXChannelRectSGIX(Display* dpy, int screen, int channel, int x, int y, int w, int h);
int zol_glXChannelRectSyncSGIX(Display* dpy, int screen, int channel, GLenum synctype);
int zol_glXQueryChannelRectSGIX(Display* dpy, int screen, int channel, int* dx, int* dy, int* dw,
                                int* dh);
int zol_glXQueryChannelDeltasSGIX(Display* dpy, int screen, int channel, int* x, int* y, int* w,
                                  int* h);

// Contexts of other processes are out of reach.
GLXContextID zol_glXGetContextIDEXT(const GLXContext context);
int zol_glXQueryContextInfoEXT(Display* dpy, GLXContext context, int attribute, int* value);
GLXContext zol_glXImportContextEXT(Display* dpy, GLXContextID id);
void zol_glXFreeContextEXT(Display* dpy, GLXContext context);

// Nothing is ever selected; the getters leave the mask as it is.
void zol_glXSelectEvent(Display* dpy, GLXDrawable drawable, unsigned long mask);
void zol_glXGetSelectedEvent(Display* dpy, GLXDrawable drawable, unsigned long* mask);
void zol_glXSelectEventSGIX(Display* dpy, GLXDrawable drawable, unsigned long mask);
void zol_glXGetSelectedEventSGIX(Display* dpy, GLXDrawable drawable, unsigned long* mask);

// Handed to the driver.
void* zol_glXAllocateMemoryNV(GLsizei size, GLfloat readFrequency, GLfloat writeFrequency,
                              GLfloat priority);
void zol_glXFreeMemoryNV(GLvoid* pointer);
void zol_glXWaitGL();
void zol_glXWaitX();
