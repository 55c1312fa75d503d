// A vendor library that renders nothing: its functions do nothing at all, or the least that whoever
// calls them needs. No X request is made, nothing is recorded. What is left of a call that goes
// through another library to this one is that library's own cost.

#include "bench/null_driver/display_model.h"

#include <X11/Xutil.h>
#include <glvnd/libglxabi.h>

#include <atomic>
#include <cstdint>
#include <string_view>
#include <unordered_map>

#define ZOL_EXPORT extern "C" __attribute__((visibility("default")))

namespace zol::null_driver {

namespace {

// A frame's pixels: as many as any window here has.
char mappedBuffer[16 * 1024 * 1024];

struct Binding {
  Display* display = nullptr;
  GLXDrawable draw = None;
  GLXDrawable read = None;
  GLXContext context = nullptr;
};
thread_local Binding binding;

const FBConfig& at(GLXFBConfig config) {
  return *reinterpret_cast<const FBConfig*>(config);
}

GLXContext newContext() {
  return reinterpret_cast<GLXContext>(new int[16]);
}

XID newId() {
  static std::atomic<XID> last{0x400000};
  return ++last;
}

Bool bind(const Binding& next) {
  binding = next;
  return True;
}

// The functions that do something, under the names of those they stand for.

GLXContext glXCreateContext(Display*, XVisualInfo*, GLXContext, Bool) {
  return newContext();
}
GLXContext glXCreateNewContext(Display*, GLXFBConfig, int, GLXContext, Bool) {
  return newContext();
}
GLXContext glXCreateContextAttribsARB(Display*, GLXFBConfig, GLXContext, Bool, const int*) {
  return newContext();
}
GLXPbuffer glXCreatePbuffer(Display*, GLXFBConfig, const int*) {
  return newId();
}
Bool glXMakeCurrent(Display* display, GLXDrawable drawable, GLXContext context) {
  return bind({display, drawable, drawable, context});
}
Bool glXMakeContextCurrent(Display* display, GLXDrawable draw, GLXDrawable read,
                           GLXContext context) {
  return bind({display, draw, read, context});
}
GLXContext glXGetCurrentContext() {
  return binding.context;
}
GLXDrawable glXGetCurrentDrawable() {
  return binding.draw;
}
GLXDrawable glXGetCurrentReadDrawable() {
  return binding.read;
}
Display* glXGetCurrentDisplay() {
  return binding.display;
}
Bool glXIsDirect(Display*, GLXContext) {
  return True;
}
const char* glXQueryExtensionsString(Display*, int) {
  return "GLX_ARB_multisample";
}
int glXGetConfig(Display*, XVisualInfo* visual, int attribute, int* value) {
  return attributeOfVisual(*visual, attribute, value);
}
// As little as a driver can do: the visual that the display had from the start.
XVisualInfo* glXChooseVisual(Display* display, int screen, int*) {
  XVisualInfo wanted{};
  wanted.visualid = XVisualIDFromVisual(DefaultVisual(display, screen));
  int count = 0;
  return XGetVisualInfo(display, VisualIDMask, &wanted, &count);
}
GLXFBConfig* glXGetFBConfigs(Display*, int, int* count) {
  return allFBConfigs(count);
}
GLXFBConfig* glXChooseFBConfig(Display*, int, const int* request, int* count) {
  return chooseFBConfigs(request, count);
}
int glXGetFBConfigAttrib(Display*, GLXFBConfig config, int attribute, int* value) {
  return attributeOfFBConfig(at(config), attribute, value);
}
XVisualInfo* glXGetVisualFromFBConfig(Display* display, GLXFBConfig config) {
  return visualOf(display, at(config));
}

void glGetIntegerv(GLenum name, GLint* value) {
  *value = name == GL_RENDER_MODE ? GL_RENDER : 0;
}
void glGetQueryObjectiv(GLuint, GLenum, GLint* value) {
  *value = 0;
}
void nameAll(GLsizei count, GLuint* names) {
  for (GLsizei i = 0; i < count; ++i)
    names[i] = 1;
}
GLenum glCheckFramebufferStatus(GLenum) {
  return GL_FRAMEBUFFER_COMPLETE;
}
void* glMapBufferRange(GLenum, GLintptr, GLsizeiptr length, GLbitfield) {
  return length <= GLsizeiptr{sizeof mappedBuffer} ? mappedBuffer : nullptr;
}
GLboolean glUnmapBuffer(GLenum) {
  return GL_TRUE;
}

__GLXextFuncPtr glXGetProcAddress(const GLubyte* name);

// Every other function.
template <class>
struct Nothing;
template <class Result, class... Arguments>
struct Nothing<Result(Arguments...)> {
  static Result call(Arguments...) { return Result(); }
};

template <class Function>
void* addressOf(Function* function) {
  return reinterpret_cast<void*>(function);
}

using Table = std::unordered_map<std::string_view, void*>;

const Table& functions() {
  static const Table table = [] {
    Table made = {
#define ZOL_SYSTEM_FUNCTION(name, message) {#name, addressOf(&Nothing<decltype(::name)>::call)},
#include "vendor/system_functions.def"
    };
#define ZOL_DOES(name, function) made[#name] = addressOf<decltype(::name)>(function);
#define ZOL_DOES_ITSELF(name) ZOL_DOES(name, name)
    ZOL_DOES_ITSELF(glXCreateContext)
    ZOL_DOES_ITSELF(glXCreateNewContext)
    ZOL_DOES_ITSELF(glXCreateContextAttribsARB)
    ZOL_DOES_ITSELF(glXCreatePbuffer)
    ZOL_DOES_ITSELF(glXMakeCurrent)
    ZOL_DOES_ITSELF(glXMakeContextCurrent)
    ZOL_DOES_ITSELF(glXGetCurrentContext)
    ZOL_DOES_ITSELF(glXGetCurrentDrawable)
    ZOL_DOES_ITSELF(glXGetCurrentReadDrawable)
    ZOL_DOES_ITSELF(glXGetCurrentDisplay)
    ZOL_DOES_ITSELF(glXIsDirect)
    ZOL_DOES_ITSELF(glXQueryExtensionsString)
    ZOL_DOES_ITSELF(glXGetConfig)
    ZOL_DOES_ITSELF(glXChooseVisual)
    ZOL_DOES_ITSELF(glXGetFBConfigs)
    ZOL_DOES_ITSELF(glXChooseFBConfig)
    ZOL_DOES_ITSELF(glXGetFBConfigAttrib)
    ZOL_DOES_ITSELF(glXGetVisualFromFBConfig)
    ZOL_DOES_ITSELF(glGetIntegerv)
    ZOL_DOES_ITSELF(glGetQueryObjectiv)
    ZOL_DOES(glGenQueries, nameAll)
    ZOL_DOES(glGenBuffers, nameAll)
    ZOL_DOES(glGenTextures, nameAll)
    ZOL_DOES(glGenFramebuffers, nameAll)
    ZOL_DOES_ITSELF(glCheckFramebufferStatus)
    ZOL_DOES_ITSELF(glMapBufferRange)
    ZOL_DOES_ITSELF(glUnmapBuffer)
    ZOL_DOES_ITSELF(glXGetProcAddress)
#undef ZOL_DOES_ITSELF
#undef ZOL_DOES
    return made;
  }();
  return table;
}

// What GLVND asks of a vendor library.

Bool isScreenSupported(Display*, int) {
  return True;
}

void* getProcAddress(const GLubyte* name) {
  static const Table& table = functions();
  const auto found = table.find(reinterpret_cast<const char*>(name));
  return found != table.end() ? found->second : nullptr;
}

__GLXextFuncPtr glXGetProcAddress(const GLubyte* name) {
  return reinterpret_cast<__GLXextFuncPtr>(getProcAddress(name));
}

void* getDispatchAddress(const GLubyte*) {
  return nullptr;
}

void setDispatchIndex(const GLubyte*, int) {}

} // namespace

} // namespace zol::null_driver

// Looked up in the library itself.
ZOL_EXPORT void glDisableVertexAttribArray(GLuint) {}

ZOL_EXPORT int __glx_Main(std::uint32_t version, const __GLXapiExports*, __GLXvendorInfo*,
                          __GLXapiImports* imports) {
  if (version >> 16 != 1) return 0;
  imports->isScreenSupported = zol::null_driver::isScreenSupported;
  imports->getProcAddress = zol::null_driver::getProcAddress;
  imports->getDispatchAddress = zol::null_driver::getDispatchAddress;
  imports->setDispatchIndex = zol::null_driver::setDispatchIndex;
  return 1;
}
