#pragma once

#include "vendor/glx_api.h"

// Programs that draw into the front buffer never swap. These interposers follow, per context, which
// buffer is drawn to, the render mode, and whether pixels may have changed; finish and flush decide
// by it whether a frame is worth reading back.
void zol_glDrawBuffer(GLenum mode);
void zol_glPopAttrib();
GLint zol_glRenderMode(GLenum mode);
void zol_glGenQueries(GLsizei n, GLuint* ids);
void zol_glGenQueriesARB(GLsizei n, GLuint* ids);
void zol_glClear(GLbitfield mask);
void zol_glCopyPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum type);
void zol_glDrawPixels(GLsizei width, GLsizei height, GLenum format, GLenum type,
                      const GLvoid* pixels);
void zol_glBitmap(GLsizei width, GLsizei height, GLfloat xorig, GLfloat yorig, GLfloat xmove,
                  GLfloat ymove, const GLubyte* bitmap);
void zol_glViewport(GLint x, GLint y, GLsizei width, GLsizei height);
