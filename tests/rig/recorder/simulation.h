#pragma once

#include "rig/recorder/driver_state.h"

// What the recording driver's functions do besides being written down. Each function of the table
// is a tag type; simulate() does nothing and answers 0 unless there is an overload for the tag.
namespace zol::rig {

#define ZOL_SYSTEM_FUNCTION(function, message)                                                     \
  struct tag_##function {                                                                          \
    static constexpr const char* kName = #function;                                                \
  };
#include "vendor/system_functions.def"

template <class Result, class Tag, class... Arguments>
Result simulate(Tag, Arguments...) {
  if (Tag::kName[2] != 'X') driver().requireContext(Tag::kName);
  return Result();
}

// glX -----------------------------------------------------------------------------------------

XVisualInfo* findVisual(Display* display, VisualID id);
GLXFBConfig* configArray(const std::vector<GLXFBConfig>& configs, int* count);

template <class>
GLXContext simulate(tag_glXCreateNewContext, Display*, GLXFBConfig, int, GLXContext, Bool) {
  return driver().createContext();
}
template <class>
GLXContext simulate(tag_glXCreateContext, Display*, XVisualInfo*, GLXContext, Bool) {
  return driver().createContext();
}
template <class>
GLXContext simulate(tag_glXCreateContextAttribsARB, Display*, GLXFBConfig, GLXContext, Bool,
                    const int*) {
  return driver().createContext();
}
template <class>
void simulate(tag_glXDestroyContext, Display*, GLXContext context) {
  driver().destroyContext(context);
}
template <class>
Bool simulate(tag_glXMakeCurrent, Display* display, GLXDrawable drawable, GLXContext context) {
  return driver().makeCurrent(display, drawable, drawable, context);
}
template <class>
Bool simulate(tag_glXMakeContextCurrent, Display* display, GLXDrawable draw, GLXDrawable read,
              GLXContext context) {
  return driver().makeCurrent(display, draw, read, context);
}
template <class>
GLXContext simulate(tag_glXGetCurrentContext) {
  return DriverState::current().context;
}
template <class>
GLXDrawable simulate(tag_glXGetCurrentDrawable) {
  return DriverState::current().draw;
}
template <class>
GLXDrawable simulate(tag_glXGetCurrentReadDrawable) {
  return DriverState::current().read;
}
template <class>
Display* simulate(tag_glXGetCurrentDisplay) {
  return DriverState::current().display;
}
template <class>
Bool simulate(tag_glXIsDirect, Display*, GLXContext) {
  return True;
}
template <class>
int simulate(tag_glXGetConfig, Display* display, XVisualInfo* visual, int attribute, int* value) {
  return driver().visualAttribute(display, visual->visualid, attribute, value);
}
template <class>
GLXFBConfig* simulate(tag_glXChooseFBConfig, Display*, int, const int* attributes, int* count) {
  GLXFBConfig* const array = configArray(driver().choose(attributes), count);
  driver().answer("glXChooseFBConfig", 0).write(0, count);
  return array;
}
template <class>
GLXFBConfig* simulate(tag_glXGetFBConfigs, Display*, int, int* count) {
  return configArray(driver().allConfigs(), count);
}
template <class>
int simulate(tag_glXGetFBConfigAttrib, Display*, GLXFBConfig config, int attribute, int* value) {
  if (attribute == GLX_VISUAL_ID) {
    *value = static_cast<int>(config->config.visual);
    return 0;
  }
  const auto found = config->config.attributes.find(attribute);
  if (found == config->config.attributes.end()) return GLX_BAD_ATTRIBUTE;
  *value = found->second;
  return 0;
}
template <class>
XVisualInfo* simulate(tag_glXGetVisualFromFBConfig, Display* display, GLXFBConfig config) {
  return config->config.visual != 0 ? findVisual(display, config->config.visual) : nullptr;
}
template <class>
const char* simulate(tag_glXQueryExtensionsString, Display* display, int) {
  return driver().extensionsOf(display);
}
template <class>
GLXPbuffer simulate(tag_glXCreatePbuffer, Display*, GLXFBConfig, const int* attributes) {
  int width = 0, height = 0;
  for (; attributes != nullptr && *attributes != 0; attributes += 2) {
    if (attributes[0] == GLX_PBUFFER_WIDTH) width = attributes[1];
    if (attributes[0] == GLX_PBUFFER_HEIGHT) height = attributes[1];
  }
  return driver().createPbuffer(width, height);
}
template <class>
GLXPixmap simulate(tag_glXCreatePixmap, Display* display, GLXFBConfig, Pixmap, const int*) {
  XSync(display, False); // drivers ask the server about the pixmap
  return driver().createPixmap();
}
template <class>
GLXPixmap simulate(tag_glXCreateGLXPixmap, Display*, XVisualInfo*, Pixmap) {
  return driver().createPixmap();
}
template <class>
void simulate(tag_glXDestroyPbuffer, Display*, GLXPbuffer pbuffer) {
  driver().destroyDrawable(pbuffer, "pbuffer");
}
template <class>
void simulate(tag_glXDestroyPixmap, Display*, GLXPixmap pixmap) {
  driver().destroyDrawable(pixmap, "pixmap");
}
template <class>
void simulate(tag_glXDestroyGLXPixmap, Display*, GLXPixmap pixmap) {
  driver().destroyDrawable(pixmap, "pixmap");
}
template <class>
GLXPbufferSGIX simulate(tag_glXCreateGLXPbufferSGIX, Display*, GLXFBConfigSGIX, unsigned width,
                        unsigned height, int*) {
  return driver().createPbuffer(static_cast<int>(width), static_cast<int>(height));
}
template <class>
void simulate(tag_glXQueryDrawable, Display*, GLXDrawable, int, unsigned* value) {
  driver().answer("glXQueryDrawable", 0).write(0, value);
}
template <class>
int simulate(tag_glXQueryGLXPbufferSGIX, Display*, GLXPbufferSGIX, int, unsigned* value) {
  const Answer answer = driver().answer("glXQueryGLXPbufferSGIX", 0);
  answer.write(0, value);
  return static_cast<int>(answer.result);
}
template <class>
Bool simulate(tag_glXQueryExtension, Display*, int* errorBase, int* eventBase) {
  const Answer answer = driver().answer("glXQueryExtension", True);
  answer.write(0, errorBase);
  answer.write(1, eventBase);
  return static_cast<Bool>(answer.result);
}
template <class>
Bool simulate(tag_glXQueryVersion, Display*, int* major, int* minor) {
  const Answer answer = driver().answer("glXQueryVersion", True);
  answer.write(0, major);
  answer.write(1, minor);
  return static_cast<Bool>(answer.result);
}
template <class>
const char* simulate(tag_glXQueryServerString, Display*, int, int name) {
  return driver().string("glXQueryServerString", name);
}
template <class>
const char* simulate(tag_glXGetClientString, Display*, int name) {
  return driver().string("glXGetClientString", name);
}
template <class>
void* simulate(tag_glXAllocateMemoryNV, GLsizei, GLfloat, GLfloat, GLfloat) {
  return reinterpret_cast<void*>(driver().answer("glXAllocateMemoryNV", 0).result);
}
template <class>
__GLXextFuncPtr simulate(tag_glXGetProcAddress, const GLubyte* name) {
  return reinterpret_cast<__GLXextFuncPtr>(driver().address(reinterpret_cast<const char*>(name)));
}

// gl ------------------------------------------------------------------------------------------

inline void generate(const char* kind, GLsizei count, GLuint* names) {
  for (GLsizei i = 0; i < count; ++i)
    names[i] = driver().newName(kind);
}

#define ZOL_GENERATES(function, kind)                                                              \
  template <class>                                                                                 \
  void simulate(tag_##function, GLsizei count, GLuint* names) {                                    \
    driver().requireContext(#function);                                                            \
    generate(kind, count, names);                                                                  \
  }
ZOL_GENERATES(glGenBuffers, "buffer")
ZOL_GENERATES(glGenTextures, "texture")
ZOL_GENERATES(glGenFramebuffers, "framebuffer")
ZOL_GENERATES(glGenQueries, "query")
ZOL_GENERATES(glGenQueriesARB, "query")
ZOL_GENERATES(glGenVertexArrays, "vertex array")
#undef ZOL_GENERATES
template <class>
GLuint simulate(tag_glCreateShader, GLenum) {
  driver().requireContext("glCreateShader");
  return driver().newName("program");
}
template <class>
GLuint simulate(tag_glCreateProgram) {
  driver().requireContext("glCreateProgram");
  return driver().newName("program");
}
template <class>
void simulate(tag_glBindBuffer, GLenum target, GLuint buffer) {
  driver().requireContext("glBindBuffer");
  driver().bindBuffer(target, buffer);
}
template <class>
void simulate(tag_glBufferData, GLenum target, GLsizeiptr size, const void*, GLenum) {
  driver().bufferData(target, size);
}
template <class>
void* simulate(tag_glMapBufferRange, GLenum target, GLintptr offset, GLsizeiptr length,
               GLbitfield) {
  return driver().mapBuffer(target, offset, length);
}
template <class>
GLboolean simulate(tag_glUnmapBuffer, GLenum target) {
  return driver().unmapBuffer(target);
}
template <class>
void simulate(tag_glDeleteBuffers, GLsizei count, const GLuint* buffers) {
  driver().requireContext("glDeleteBuffers");
  driver().deleteBuffers(count, buffers);
}
template <class>
void simulate(tag_glReadPixels, GLint x, GLint y, GLsizei width, GLsizei height, GLenum, GLenum,
              void* pixels) {
  driver().requireContext("glReadPixels");
  driver().readPixels(x, y, width, height, pixels);
}
// Programs may finish and flush with nothing current.
template <class>
void simulate(tag_glFinish) {}
template <class>
void simulate(tag_glFlush) {}
// Answered without a context too: the library asks for the render mode of a thread that may have
// nothing current.
template <class>
void simulate(tag_glGetIntegerv, GLenum name, GLint* value) {
  *value = driver().integer(name);
}
template <class>
GLint simulate(tag_glRenderMode, GLenum mode) {
  driver().requireContext("glRenderMode");
  return driver().renderMode(mode);
}
template <class>
void simulate(tag_glGetQueryObjectiv, GLuint, GLenum, GLint* value) {
  driver().requireContext("glGetQueryObjectiv");
  *value = driver().queryResult();
}
template <class>
const GLubyte* simulate(tag_glGetStringi, GLenum, GLuint index) {
  driver().requireContext("glGetStringi");
  return reinterpret_cast<const GLubyte*>(driver().string("glGetStringi", static_cast<int>(index)));
}
template <class>
void simulate(tag_glDebugMessageCallback, GLDEBUGPROC callback, const void*) {
  driver().requireContext("glDebugMessageCallback");
  driver().setDebugCallback(callback);
}
template <class>
GLenum simulate(tag_glCheckFramebufferStatus, GLenum) {
  driver().requireContext("glCheckFramebufferStatus");
  return driver().framebufferStatus();
}

} // namespace zol::rig
