#include "endtoend/picture/gl_function.h"
#include "endtoend/picture/words.h"

#include <array>
#include <cstdint>

namespace zol::endtoend {
namespace {

std::string known(Stage&, std::istringstream& words) {
  std::string result;
  for (std::string name; words >> name;) {
    if (glXGetProcAddress(reinterpret_cast<const GLubyte*>(name.c_str())) == nullptr) continue;
    result += (result.empty() ? "" : " ") + name;
  }
  return ok(result);
}

// What the calls below are made with: everything is there and nothing is harmed.
struct Cast {
  Display* display;
  int screen;
  GLXFBConfig config;
  XVisualInfo* visual;
  StageDrawable window;
  GLXContext context;
};

// Calls a function that is known by its name alone.
template <class Result, class... Arguments>
Result call(const char* name, Arguments... arguments) {
  return glFunction<Result (*)(Arguments...)>(name)(arguments...);
}

std::string text(unsigned long value) {
  return std::to_string(value);
}

std::string truth(const void* value) {
  return value != nullptr ? "something" : "nothing";
}

using Call = std::string (*)(const char* name, const Cast& c);

unsigned int number = 77;
int signedNumber = 77;
unsigned long mask = 77;

// Pairs of calls that make something and take it away again: the other's name is in the first.
std::string makePixmap(const char* name, const Cast& c) {
  const Pixmap pixmap = XCreatePixmap(c.display, c.window.id, 16, 16, 24);
  const std::string make = name;
  GLXPixmap made = None;
  if (make == "glXCreateGLXPixmap") {
    made = call<GLXPixmap>(name, c.display, c.visual, pixmap);
    call<void>("glXDestroyGLXPixmap", c.display, made);
  } else if (make == "glXCreatePixmap") {
    made = call<GLXPixmap>(name, c.display, c.config, pixmap, static_cast<const int*>(nullptr));
    call<void>("glXDestroyPixmap", c.display, made);
  } else {
    made = call<GLXPixmap>(name, c.display, c.config, pixmap);
    call<void>("glXDestroyGLXPixmap", c.display, made);
  }
  XFreePixmap(c.display, pixmap);
  return made != None ? "something" : "nothing";
}

std::string makePbuffer(const char* name, const Cast& c) {
  int attributes[] = {GLX_PBUFFER_WIDTH, 16, GLX_PBUFFER_HEIGHT, 16, None};
  GLXPbuffer made = None;
  if (std::string(name) == "glXCreatePbuffer") {
    made = call<GLXPbuffer>(name, c.display, c.config, static_cast<const int*>(attributes));
    call<void>("glXDestroyPbuffer", c.display, made);
  } else {
    made = call<GLXPbuffer>(name, c.display, c.config, 16u, 16u, attributes + 4);
    if (made != None) {
      call<int>("glXQueryGLXPbufferSGIX", c.display, made, GLX_WIDTH_SGIX, &number);
      call<void>("glXDestroyGLXPbufferSGIX", c.display, made);
    }
  }
  return made != None ? "something" : "nothing";
}

std::string makeContext(const char* name, const Cast& c) {
  const std::string make = name;
  GLXContext const none = nullptr;
  GLXContext made = nullptr;
  if (make == "glXCreateContext") {
    made = call<GLXContext>(name, c.display, c.visual, none, True);
  } else if (make == "glXCreateContextAttribsARB") {
    made =
        call<GLXContext>(name, c.display, c.config, none, True, static_cast<const int*>(nullptr));
  } else {
    made = call<GLXContext>(name, c.display, c.config, GLX_RGBA_TYPE, none, True);
  }
  if (made != nullptr) call<void>("glXDestroyContext", c.display, made);
  return truth(made);
}

std::string queries(const char* name, const Cast&) {
  GLuint query = 0;
  call<void>(name, 1, &query);
  return query != 0 ? "something" : "nothing";
}

std::string chooseConfigs(const char* name, const Cast& c) {
  int count = 0;
  GLXFBConfig* const all =
      call<GLXFBConfig*>(name, c.display, c.screen, static_cast<const int*>(nullptr), &count);
  if (all != nullptr) XFree(all);
  return count > 0 ? "something" : "nothing";
}

std::string freeVisual(XVisualInfo* visual) {
  const std::string result = truth(visual);
  if (visual != nullptr) XFree(visual);
  return result;
}

#define ZOL_CALL(name, ...)                                                                        \
  {                                                                                                \
#name, [](const char* n, const Cast& c) -> std::string {              \
    static_cast<void>(c);                                                                          \
    __VA_ARGS__                                                                                    \
  }                            \
  }

const std::map<std::string, Call> kCalls = {
    {"glXCreateGLXPixmap", makePixmap},
    {"glXCreatePixmap", makePixmap},
    {"glXCreateGLXPixmapWithConfigSGIX", makePixmap},
    {"glXCreatePbuffer", makePbuffer},
    {"glXCreateGLXPbufferSGIX", makePbuffer},
    {"glXCreateContext", makeContext},
    {"glXCreateNewContext", makeContext},
    {"glXCreateContextAttribsARB", makeContext},
    {"glXCreateContextWithConfigSGIX", makeContext},
    {"glXChooseFBConfig", chooseConfigs},
    {"glXChooseFBConfigSGIX", chooseConfigs},
    {"glGenQueries", queries},
    {"glGenQueriesARB", queries},
    ZOL_CALL(glXChooseVisual, int list[] = {GLX_RGBA, None};
             return freeVisual(call<XVisualInfo*>(n, c.display, c.screen, +list));),
    ZOL_CALL(glXGetConfig, return text(static_cast<unsigned long>(
                               call<int>(n, c.display, c.visual, GLX_USE_GL, &signedNumber)));),
    ZOL_CALL(glXGetCurrentContext, return call<GLXContext>(n) == c.context ? "mine" : "another";),
    ZOL_CALL(glXGetCurrentDrawable,
             return call<GLXDrawable>(n) == c.window.drawable ? "mine" : "another";),
    ZOL_CALL(glXGetCurrentReadDrawable,
             return call<GLXDrawable>(n) == c.window.drawable ? "mine" : "another";),
    ZOL_CALL(glXGetCurrentDisplay, return call<Display*>(n) == c.display ? "mine" : "another";),
    ZOL_CALL(glXIsDirect, return call<int>(n, c.display, c.context) != 0 ? "yes" : "no";),
    ZOL_CALL(glXMakeCurrent,
             return call<int>(n, c.display, c.window.drawable, c.context) != 0 ? "yes" : "no";),
    ZOL_CALL(glXMakeContextCurrent,
             call<int>(n, c.display, GLXDrawable{}, GLXDrawable{}, GLXContext{});
             return call<int>(n, c.display, c.window.drawable, c.window.drawable, c.context) != 0
                        ? "yes"
                        : "no";),
    ZOL_CALL(glXQueryExtension,
             return call<int>(n, c.display, &signedNumber, &signedNumber) != 0 ? "yes" : "no";),
    ZOL_CALL(glXQueryVersion,
             return call<int>(n, c.display, &signedNumber, &signedNumber) != 0 ? "yes" : "no";),
    ZOL_CALL(glXSwapBuffers, call<void>(n, c.display, c.window.drawable); return "";),
    ZOL_CALL(glXUseXFont, call<void>(n, XLoadFont(c.display, "fixed"), 65, 1, 4000); return "";),
    ZOL_CALL(glXWaitGL, call<void>(n); return "";),
    ZOL_CALL(glXWaitX, call<void>(n); return "";),
    ZOL_CALL(glXGetClientString, return call<const char*>(n, c.display, GLX_VENDOR);),
    ZOL_CALL(glXQueryServerString, return call<const char*>(n, c.display, c.screen, GLX_VENDOR);),
    ZOL_CALL(glXQueryExtensionsString, return truth(call<const char*>(n, c.display, c.screen));),
    ZOL_CALL(glXGetFBConfigs, int count = 0;
             XFree(call<GLXFBConfig*>(n, c.display, c.screen, &count));
             return count > 0 ? "something" : "nothing";),
    ZOL_CALL(glXGetFBConfigAttrib, return text(static_cast<unsigned long>(call<int>(
                                       n, c.display, c.config, GLX_RED_SIZE, &signedNumber)));),
    ZOL_CALL(glXGetFBConfigAttribSGIX, return text(static_cast<unsigned long>(call<int>(
                                           n, c.display, c.config, GLX_RED_SIZE, &signedNumber)));),
    ZOL_CALL(glXGetVisualFromFBConfig,
             return freeVisual(call<XVisualInfo*>(n, c.display, c.config));),
    ZOL_CALL(glXGetVisualFromFBConfigSGIX,
             return freeVisual(call<XVisualInfo*>(n, c.display, c.config));),
    ZOL_CALL(glXGetFBConfigFromVisualSGIX,
             return truth(call<GLXFBConfig>(n, c.display, c.visual));),
    // The window that GL draws to is the X window itself.
    ZOL_CALL(glXCreateWindow,
             const GLXWindow made = call<GLXWindow>(n, c.display, c.config, c.window.id,
                                                    static_cast<const int*>(nullptr));
             call<void>("glXDestroyWindow", c.display, made);
             return made == c.window.id ? "the window" : "another";),
    ZOL_CALL(glXQueryDrawable, number = 0;
             call<void>(n, c.display, c.window.drawable, GLX_WIDTH, &number); return text(number);),
    ZOL_CALL(glXQueryContext, return text(static_cast<unsigned long>(
                                  call<int>(n, c.display, c.context, GLX_SCREEN, &signedNumber)));),
    ZOL_CALL(glXSelectEvent,
             call<void>(n, c.display, c.window.drawable, GLX_PBUFFER_CLOBBER_MASK + 0ul);
             return "";),
    ZOL_CALL(glXSelectEventSGIX,
             call<void>(n, c.display, c.window.drawable, GLX_PBUFFER_CLOBBER_MASK + 0ul);
             return "";),
    ZOL_CALL(glXGetSelectedEvent, mask = 77; call<void>(n, c.display, c.window.drawable, &mask);
             return text(mask);),
    ZOL_CALL(glXGetSelectedEventSGIX, mask = 77; call<void>(n, c.display, c.window.drawable, &mask);
             return text(mask);),
    ZOL_CALL(glXGetProcAddress, return truth(reinterpret_cast<const void*>(call<__GLXextFuncPtr>(
                                    n, reinterpret_cast<const GLubyte*>("glXWaitGL"))));),
    ZOL_CALL(glXGetProcAddressARB, return truth(reinterpret_cast<const void*>(call<__GLXextFuncPtr>(
                                       n, reinterpret_cast<const GLubyte*>("glXWaitGL"))));),
    ZOL_CALL(glXGetVideoSyncSGI, return text(static_cast<unsigned long>(call<int>(n, &number)));),
    ZOL_CALL(glXWaitVideoSyncSGI,
             return text(static_cast<unsigned long>(call<int>(n, 2, 0, &number)));),
    ZOL_CALL(glXFreeContextEXT, call<void>(n, c.display,
                                           call<GLXContext>("glXCreateContext", c.display, c.visual,
                                                            GLXContext{}, True));
             return "";),
    ZOL_CALL(glXQueryContextInfoEXT, return text(static_cast<unsigned long>(call<int>(
                                         n, c.display, c.context, GLX_VISUAL_ID, &signedNumber)));),
    ZOL_CALL(glBitmap,
             call<void>(n, 0, 0, 0.0f, 0.0f, 0.0f, 0.0f, static_cast<const GLubyte*>(nullptr));
             return "";),
    ZOL_CALL(glCopyPixels, call<void>(n, 0, 0, 0, 0, GLenum{GL_COLOR}); return "";),
    ZOL_CALL(glClear, call<void>(n, GLbitfield{GL_DEPTH_BUFFER_BIT}); return "";),
    ZOL_CALL(glDrawPixels, call<void>(n, 0, 0, GLenum{GL_RGBA}, GLenum{GL_UNSIGNED_BYTE},
                                      static_cast<const void*>(nullptr));
             return "";),
    ZOL_CALL(glFinish, call<void>(n); return "";),
    ZOL_CALL(glFlush, call<void>(n); return "";),
    ZOL_CALL(glRenderMode,
             return text(static_cast<unsigned long>(call<GLint>(n, GLenum{GL_RENDER})));),
    ZOL_CALL(glDrawBuffer, call<void>(n, GLenum{GL_BACK}); return "";),
    ZOL_CALL(glViewport, call<void>(n, 0, 0, 10, 10); return "";),
    ZOL_CALL(glGetStringi,
             return truth(call<const GLubyte*>(n, GLenum{GL_EXTENSIONS}, GLuint{0}));),
    ZOL_CALL(glXSet3DfxModeMESA, return text(static_cast<unsigned long>(call<int>(n, 1)));),
    ZOL_CALL(glXBindChannelToWindowSGIX, return text(static_cast<unsigned long>(
                                             call<int>(n, c.display, c.screen, 0, c.window.id)));),
    ZOL_CALL(glXChannelRectSGIX, return text(static_cast<unsigned long>(
                                     call<int>(n, c.display, c.screen, 0, 0, 0, 8, 8)));),
    ZOL_CALL(glXChannelRectSyncSGIX, return text(static_cast<unsigned long>(
                                         call<int>(n, c.display, c.screen, 0, GLenum{0})));),
    ZOL_CALL(glXQueryChannelRectSGIX, std::array<int, 4> rect{};
             return text(static_cast<unsigned long>(
                 call<int>(n, c.display, c.screen, 0, &rect[0], &rect[1], &rect[2], &rect[3])));),
    ZOL_CALL(glXQueryChannelDeltasSGIX, std::array<int, 4> rect{};
             return text(static_cast<unsigned long>(
                 call<int>(n, c.display, c.screen, 0, &rect[0], &rect[1], &rect[2], &rect[3])));),
    ZOL_CALL(glXGetContextIDEXT, return text(call<GLXContextID>(n, c.context));),
    ZOL_CALL(glXGetRefreshRateSGI, return text(static_cast<unsigned long>(call<int>(n, &number)));),
    ZOL_CALL(glXAllocateMemoryNV, return truth(call<void*>(n, 16, 0.0f, 0.0f, 0.0f));),
    ZOL_CALL(glXFreeMemoryNV, call<void>(n, static_cast<void*>(nullptr)); return "";),
    ZOL_CALL(glXQueryFrameCountNV, number = 77; call<int>(n, c.display, c.screen, &number);
             return text(number);),
    ZOL_CALL(glXResetFrameCountNV, call<int>(n, c.display, c.screen); return "";),
    ZOL_CALL(glXJoinSwapGroupNV, return text(static_cast<unsigned long>(
                                     call<int>(n, c.display, c.window.drawable, 0u)));),
    ZOL_CALL(glXQueryMaxSwapGroupsNV, number = 77;
             call<int>(n, c.display, c.screen, &number, &number); return text(number);),
    ZOL_CALL(glXSwapIntervalSGI, return text(static_cast<unsigned long>(call<int>(n, 1)));),
    // Offered by no name, and called all the same by programs that do not look.
    ZOL_CALL(glXSwapIntervalEXT, call<void>(n, c.display, c.window.drawable, 1); return "";),
    ZOL_CALL(glXSwapIntervalMESA, return text(static_cast<unsigned long>(call<int>(n, 1u)));),
    ZOL_CALL(glXGetSwapIntervalMESA, return text(static_cast<unsigned long>(call<int>(n)));),
    ZOL_CALL(
        glXGetSyncValuesOML, std::array<std::int64_t, 3> values{};
        return call<int>(n, c.display, c.window.drawable, &values[0], &values[1], &values[2]) != 0
                   ? "yes"
                   : "no";),
    ZOL_CALL(glXGetMscRateOML, std::array<std::int32_t, 2> values{};
             return call<int>(n, c.display, c.window.drawable, &values[0], &values[1]) != 0
                        ? "yes"
                        : "no";),
    ZOL_CALL(glXSwapBuffersMscOML, return text(static_cast<unsigned long>(call<std::int64_t>(
                                       n, c.display, c.window.drawable, std::int64_t{0},
                                       std::int64_t{0}, std::int64_t{0})));),
    ZOL_CALL(glXWaitForMscOML, std::array<std::int64_t, 3> values{};
             return call<int>(n, c.display, c.window.drawable, std::int64_t{0}, std::int64_t{0},
                              std::int64_t{0}, &values[0], &values[1], &values[2]) != 0
                        ? "yes"
                        : "no";),
    ZOL_CALL(glXWaitForSbcOML, std::array<std::int64_t, 3> values{};
             return call<int>(n, c.display, c.window.drawable, std::int64_t{0}, &values[0],
                              &values[1], &values[2]) != 0
                        ? "yes"
                        : "no";),
    ZOL_CALL(glXCopySubBufferMESA, call<void>(n, c.display, c.window.drawable, 0, 0, 10, 10);
             return "";),
    ZOL_CALL(glXReleaseBuffersMESA,
             return text(static_cast<unsigned long>(call<int>(n, c.display, c.window.drawable)));),
    ZOL_CALL(glXDelayBeforeSwapNV,
             return call<int>(n, c.display, c.window.drawable, 0.0f) != 0 ? "yes" : "no";),
    ZOL_CALL(glXQueryRendererIntegerMESA, number = 0;
             return call<int>(n, c.display, c.screen, 0, 0x8183, &number) != 0 ? "yes" : "no";),
    ZOL_CALL(glXQueryCurrentRendererIntegerMESA, number = 0;
             return call<int>(n, 0x8183, &number) != 0 ? "yes" : "no";),
    ZOL_CALL(glXCushionSGI, call<void>(n, c.display, c.window.id, 1.0f); return "";),
    ZOL_CALL(glXMakeCurrentReadSGI,
             return call<int>(n, c.display, c.window.drawable, c.window.drawable, c.context) != 0
                        ? "yes"
                        : "no";),
};

#undef ZOL_CALL

std::string callByName(Stage& stage, std::istringstream& words) {
  const auto window = next<std::string>(words), config = next<std::string>(words);
  const auto name = next<std::string>(words);
  const auto found = kCalls.find(name);
  if (found == kCalls.end()) return ok("not called");
  const StageDrawable& drawable = stage.drawable(window);
  XVisualInfo visual = searchVisual(drawable.display, drawable.depth, drawable.doubleBuffered);
  const std::string answer = found->second(
      name.c_str(), {drawable.display, DefaultScreen(drawable.display), stage.config(config),
                     &visual, drawable, stage.context(window).id});
  return ok(answer);
}

} // namespace

const Commands& procedureCommands() {
  static const Commands commands = {
      {"known", known},     // NAMES...: those of them that a program gets an address for
      {"call", callByName}, // WINDOW CONFIG NAME: what it answered
  };
  return commands;
}

} // namespace zol::endtoend
