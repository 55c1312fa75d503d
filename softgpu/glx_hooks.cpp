#include "softgpu/config_answers.h"
#include "softgpu/context.h"
#include "softgpu/driver.h"
#include "softgpu/early_start.h"
#include "softgpu/hooks.h"
#include "softgpu/open_queries.h"
#include "softgpu/registry.h"

namespace zol::softgpu {
namespace {

void mend(Display* display, GLXFBConfig config, GLXPbuffer pbuffer) {
  int isDouble = 0;
  int isStereo = 0;
  driver.glXGetFBConfigAttrib(display, config, GLX_DOUBLEBUFFER, &isDouble);
  driver.glXGetFBConfigAttrib(display, config, GLX_STEREO, &isStereo);
  if (pbuffer == None) return;
  startRendererEarly(display, config, pbuffer);
  if (isDouble && !isStereo) registry().addPbuffer(display, pbuffer, config);
  if (!isDouble) registry().addSingleBuffered(display);
}

// The mended pbuffer that a swap is for. None for one that a context this library does not follow
// has current: it has drawn elsewhere.
std::shared_ptr<Pbuffer> pbufferToSwap(Display* display, GLXDrawable drawable) {
  const Context* const context = Context::current();
  if (context && context->display() == display && context->drawables().draw == drawable)
    return context->pbuffers().draw;
  auto pbuffer = registry().findPbuffer(display, drawable);
  if (pbuffer && !context && driver.glXGetCurrentDrawable() == drawable) return nullptr;
  return pbuffer;
}

} // namespace

namespace hooks {

int glXGetConfig(Display* display, XVisualInfo* visual, int attribute, int* value) {
  return configAnswers().get(
      display, ConfigAnswers::visual(*visual), attribute, value,
      [=](int* answer) { return driver.glXGetConfig(display, visual, attribute, answer); });
}

int glXGetFBConfigAttrib(Display* display, GLXFBConfig config, int attribute, int* value) {
  return configAnswers().get(
      display, ConfigAnswers::config(config), attribute, value,
      [=](int* answer) { return driver.glXGetFBConfigAttrib(display, config, attribute, answer); });
}

GLXPbuffer glXCreatePbuffer(Display* display, GLXFBConfig config, const int* attributes) {
  const GLXPbuffer pbuffer = driver.glXCreatePbuffer(display, config, attributes);
  mend(display, config, pbuffer);
  return pbuffer;
}

GLXPbufferSGIX glXCreateGLXPbufferSGIX(Display* display, GLXFBConfigSGIX config, unsigned int width,
                                       unsigned int height, int* attributes) {
  const GLXPbuffer pbuffer =
      driver.glXCreateGLXPbufferSGIX(display, config, width, height, attributes);
  mend(display, config, pbuffer);
  return pbuffer;
}

void glXDestroyPbuffer(Display* display, GLXPbuffer pbuffer) {
  if (!registry().removePbuffer(display, pbuffer)) driver.glXDestroyPbuffer(display, pbuffer);
}

void glXDestroyGLXPbufferSGIX(Display* display, GLXPbufferSGIX pbuffer) {
  if (!registry().removePbuffer(display, pbuffer))
    driver.glXDestroyGLXPbufferSGIX(display, pbuffer);
}

Bool glXMakeCurrent(Display* display, GLXDrawable drawable, GLXContext context) {
  return Context::makeCurrent(display, {drawable, drawable}, context,
                              [](Display* d, Context::Drawables drawables, GLXContext c) {
                                return driver.glXMakeCurrent(d, drawables.draw, c);
                              });
}

Bool glXMakeContextCurrent(Display* display, GLXDrawable draw, GLXDrawable read,
                           GLXContext context) {
  return Context::makeCurrent(
      display, {draw, read}, context, [](Display* d, Context::Drawables drawables, GLXContext c) {
        return driver.glXMakeContextCurrent(d, drawables.draw, drawables.read, c);
      });
}

Bool glXMakeCurrentReadSGI(Display* display, GLXDrawable draw, GLXDrawable read,
                           GLXContext context) {
  return Context::makeCurrent(
      display, {draw, read}, context, [](Display* d, Context::Drawables drawables, GLXContext c) {
        return driver.glXMakeCurrentReadSGI(d, drawables.draw, drawables.read, c);
      });
}

void glXDestroyContext(Display* display, GLXContext context) {
  if (context != driver.glXGetCurrentContext()) openQueries().forget(context);
  const auto known = registry().removeContext(context);
  if (!known || !known->destroyWhenReleased()) driver.glXDestroyContext(display, context);
}

void glXFreeContextEXT(Display* display, GLXContext context) {
  const auto known = registry().removeContext(context);
  if (!known || !known->destroyWhenReleased()) driver.glXFreeContextEXT(display, context);
}

GLXDrawable glXGetCurrentDrawable() {
  const Context* const context = Context::current();
  return context ? context->drawables().draw : driver.glXGetCurrentDrawable();
}

GLXDrawable glXGetCurrentReadDrawable() {
  const Context* const context = Context::current();
  return context ? context->drawables().read : driver.glXGetCurrentReadDrawable();
}

void glXSwapBuffers(Display* display, GLXDrawable drawable) {
  const auto pbuffer = pbufferToSwap(display, drawable);
  if (!pbuffer || !pbuffer->swap()) driver.glXSwapBuffers(display, drawable);
}

int64_t glXSwapBuffersMscOML(Display* display, GLXDrawable drawable, int64_t targetMsc,
                             int64_t divisor, int64_t remainder) {
  const auto pbuffer = pbufferToSwap(display, drawable);
  if (pbuffer && pbuffer->swap()) return 0;
  return driver.glXSwapBuffersMscOML(display, drawable, targetMsc, divisor, remainder);
}

void glXCopySubBufferMESA(Display* display, GLXDrawable drawable, int x, int y, int width,
                          int height) {
  const auto pbuffer = pbufferToSwap(display, drawable);
  if (!pbuffer || !pbuffer->swap({x, y, width, height}))
    driver.glXCopySubBufferMESA(display, drawable, x, y, width, height);
}

__GLXextFuncPtr glXGetProcAddressARB(const GLubyte* name) {
  return reinterpret_cast<__GLXextFuncPtr>(procAddress(name));
}

__GLXextFuncPtr glXGetProcAddress(const GLubyte* name) {
  return glXGetProcAddressARB(name);
}

} // namespace hooks
} // namespace zol::softgpu
