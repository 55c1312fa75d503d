#include "softgpu/context.h"
#include "softgpu/driver.h"
#include "softgpu/hooks.h"
#include "softgpu/open_queries.h"

#include <atomic>
#include <type_traits>

namespace zol::softgpu {
namespace {

// The calling thread's context when it has a mended pbuffer current.
Context* mending() {
  Context* const context = Context::current();
  return context && context->mends() ? context : nullptr;
}

// Whether the calling thread's context reads the front buffer of a mended pbuffer.
bool readsFrontBuffer() {
  const Context* const context = mending();
  return context && context->pbuffers().read &&
         (context->readBuffer() == GL_FRONT || context->readBuffer() == GL_FRONT_LEFT);
}

// For a call that a display list may hold: hands it to the driver; true when it was compiled.
template <class Call>
bool compiled(Context& context, const Call& call) {
  if (!context.compiling()) return false;
  call();
  context.choiceCompiled();
  return true;
}

// glDrawBuffer and its kin: `accepted` says whether the choice is a legal one for a pbuffer,
// `bound` whether it is for the framebuffer that is bound rather than the default one.
template <class Call>
void chooseDrawBuffers(bool accepted, bool bound, const DrawBuffers& buffers, const Call& call) {
  Context* const context = mending();
  if (context && accepted && context->choosesDrawBuffers(bound))
    context->setDrawBuffers(buffers);
  else if (!context || !compiled(*context, call))
    call();
}

template <class Call>
void chooseReadBuffer(GLenum buffer, bool bound, const Call& call) {
  Context* const context = mending();
  if (context && acceptsForReading(buffer) && context->choosesReadBuffer(bound))
    context->setReadBuffer(buffer);
  else if (!context || !compiled(*context, call))
    call();
}

template <class Call>
void chooseDrawBufferList(GLsizei count, const GLenum* names, bool bound, const Call& call) {
  if (mending() && DrawBuffers::accepts(count, names))
    chooseDrawBuffers(true, bound, DrawBuffers::list(count, names), call);
  else
    chooseDrawBuffers(false, bound, {}, call);
}

// The glGet family: the driver answers, and where it was told another buffer than the program
// chose, the program's choice takes the place of its answer.
template <class Value, class Get>
void get(GLenum name, Value* value, const Get& driverGet) {
  driverGet(name, value);
  const bool isDraw = name == GL_DRAW_BUFFER ||
                      (name >= GL_DRAW_BUFFER0 && name < GL_DRAW_BUFFER0 + DrawBuffers::capacity);
  if (!isDraw && name != GL_READ_BUFFER) return;
  const Context* const context = mending();
  if (!context || !(isDraw ? context->followsDrawBuffers() : context->followsReadBuffer())) return;
  const GLenum chosen = !isDraw                  ? context->readBuffer()
                        : name == GL_DRAW_BUFFER ? context->drawBuffers()[0]
                                                 : context->drawBuffers()[name - GL_DRAW_BUFFER0];
  if constexpr (std::is_same_v<Value, GLboolean>)
    *value = chosen != GL_NONE ? GL_TRUE : GL_FALSE;
  else
    *value = static_cast<Value>(chosen);
}

constexpr bool isDepthFormat(GLenum format) {
  return format == GL_DEPTH_COMPONENT || format == GL_STENCIL_INDEX || format == GL_DEPTH_STENCIL;
}

constexpr bool isDepthTexture(GLenum format) {
  switch (format) {
  case GL_DEPTH_COMPONENT:
  case GL_DEPTH_COMPONENT16:
  case GL_DEPTH_COMPONENT24:
  case GL_DEPTH_COMPONENT32:
  case GL_DEPTH_COMPONENT32F:
  case GL_DEPTH_STENCIL:
  case GL_DEPTH24_STENCIL8:
  case GL_DEPTH32F_STENCIL8:
    return true;
  default:
    return false;
  }
}

GLint64 bufferParameter(GLenum target, GLenum name) {
  GLint64 value = 0;
  driver.glGetBufferParameteri64v(target, name, &value);
  return value;
}

// Set once a program may have given a buffer its own memory for a store.
std::atomic<bool> programsLendMemory = false;

// Whether the pixel buffer has just the store that it would get. An immutable one is of another
// usage.
bool hasPixelStore(GLsizeiptr size, GLenum usage) {
  constexpr GLenum target = GL_PIXEL_PACK_BUFFER;
  GLint buffer = 0;
  driver.glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &buffer);
  return buffer != 0 && bufferParameter(target, GL_BUFFER_SIZE) == size &&
         bufferParameter(target, GL_BUFFER_USAGE) == usage &&
         !bufferParameter(target, GL_BUFFER_MAPPED);
}

// Makes a call that reads from the framebuffer, from where depth and stencil are if it reads them.
template <class Call>
void readFrom(bool depth, const Call& call) {
  Context* const context = depth ? mending() : nullptr;
  if (context)
    context->readDepth(call);
  else
    call();
}

} // namespace

namespace hooks {

void glBeginQuery(GLenum target, GLuint id) {
  driver.glBeginQuery(target, id);
  openQueries().opened(driver.glXGetCurrentContext());
}

// Who reads frames asks for a fresh store for each, so as not to wait for a graphics card that
// still writes to the last one. Here the processor writes and nobody waits, but a fresh store costs
// clearing it and mapping its pages; the old one, whose values are undefined from here on, is as
// good, unless it is the program's own memory, which the program may want back.
void glBufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage) {
  if (target == GL_EXTERNAL_VIRTUAL_MEMORY_BUFFER_AMD)
    programsLendMemory.store(true, std::memory_order_relaxed);
  if (!data && size > 0 && target == GL_PIXEL_PACK_BUFFER && usage == GL_STREAM_READ &&
      readsFrontBuffer() && !programsLendMemory.load(std::memory_order_relaxed) &&
      driver.glGetBufferParameteri64v && hasPixelStore(size, usage))
    return;
  driver.glBufferData(target, size, data, usage);
}

// Who reads the finished frame and makes an empty texture wants a copy of the frame in it. In the
// pbuffer's own order of bytes llvmpipe moves the picture instead of shading every pixel of it. The
// texture holds the same values; only GL_TEXTURE_INTERNAL_FORMAT tells the difference.
void glTexImage2D(GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height,
                  GLint border, GLenum format, GLenum type, const void* pixels) {
  if (!pixels && target == GL_TEXTURE_RECTANGLE && internalFormat == GL_RGBA8 &&
      format == GL_RGBA && type == GL_UNSIGNED_BYTE && readsFrontBuffer()) {
    GLint unpackBuffer = 0;
    driver.glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &unpackBuffer);
    if (unpackBuffer == 0) {
      internalFormat = GL_RGBA;
      format = GL_BGRA;
    }
  }
  driver.glTexImage2D(target, level, internalFormat, width, height, border, format, type, pixels);
}

void glEndQuery(GLenum target) {
  driver.glEndQuery(target);
  openQueries().closed(driver.glXGetCurrentContext());
}

void glDrawBuffer(GLenum buffer) {
  chooseDrawBuffers(DrawBuffers::accepts(buffer), true, DrawBuffers::one(buffer),
                    [&] { driver.glDrawBuffer(buffer); });
}

void glDrawBuffers(GLsizei count, const GLenum* buffers) {
  chooseDrawBufferList(count, buffers, true, [&] { driver.glDrawBuffers(count, buffers); });
}

void glFramebufferDrawBufferEXT(GLuint framebuffer, GLenum buffer) {
  chooseDrawBuffers(framebuffer == 0 && DrawBuffers::accepts(buffer), false,
                    DrawBuffers::one(buffer),
                    [&] { driver.glFramebufferDrawBufferEXT(framebuffer, buffer); });
}

void glNamedFramebufferDrawBuffer(GLuint framebuffer, GLenum buffer) {
  chooseDrawBuffers(framebuffer == 0 && DrawBuffers::accepts(buffer), false,
                    DrawBuffers::one(buffer),
                    [&] { driver.glNamedFramebufferDrawBuffer(framebuffer, buffer); });
}

void glFramebufferDrawBuffersEXT(GLuint framebuffer, GLsizei count, const GLenum* buffers) {
  chooseDrawBufferList(framebuffer == 0 ? count : -1, buffers, false,
                       [&] { driver.glFramebufferDrawBuffersEXT(framebuffer, count, buffers); });
}

void glNamedFramebufferDrawBuffers(GLuint framebuffer, GLsizei count, const GLenum* buffers) {
  chooseDrawBufferList(framebuffer == 0 ? count : -1, buffers, false,
                       [&] { driver.glNamedFramebufferDrawBuffers(framebuffer, count, buffers); });
}

void glReadBuffer(GLenum buffer) {
  chooseReadBuffer(buffer, true, [&] { driver.glReadBuffer(buffer); });
}

void glFramebufferReadBufferEXT(GLuint framebuffer, GLenum buffer) {
  auto call = [&] { driver.glFramebufferReadBufferEXT(framebuffer, buffer); };
  framebuffer == 0 ? chooseReadBuffer(buffer, false, call) : call();
}

void glNamedFramebufferReadBuffer(GLuint framebuffer, GLenum buffer) {
  auto call = [&] { driver.glNamedFramebufferReadBuffer(framebuffer, buffer); };
  framebuffer == 0 ? chooseReadBuffer(buffer, false, call) : call();
}

void glGetBooleanv(GLenum name, GLboolean* value) {
  get(name, value, driver.glGetBooleanv);
}
void glGetDoublev(GLenum name, GLdouble* value) {
  get(name, value, driver.glGetDoublev);
}
void glGetFloatv(GLenum name, GLfloat* value) {
  get(name, value, driver.glGetFloatv);
}
void glGetInteger64v(GLenum name, GLint64* value) {
  get(name, value, driver.glGetInteger64v);
}
void glGetIntegerv(GLenum name, GLint* value) {
  get(name, value, driver.glGetIntegerv);
}

void glNewList(GLuint list, GLenum mode) {
  driver.glNewList(list, mode);
  if (Context* const context = Context::current()) context->listStarted(mode);
}

void glEndList() {
  driver.glEndList();
  if (Context* const context = Context::current()) context->listEnded();
}

void glCallList(GLuint list) {
  driver.glCallList(list);
  if (Context* const context = mending()) context->listExecuted();
}

void glCallLists(GLsizei count, GLenum type, const void* lists) {
  driver.glCallLists(count, type, lists);
  if (Context* const context = mending()) context->listExecuted();
}

void glPushAttrib(GLbitfield mask) {
  Context* const context = mending();
  if (context && !context->compiling())
    context->pushAttributes(mask);
  else
    driver.glPushAttrib(mask);
}

void glPopAttrib() {
  Context* const context = mending();
  if (!context)
    driver.glPopAttrib();
  else if (!compiled(*context, [] { driver.glPopAttrib(); }))
    context->popAttributes();
}

void glReadPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type,
                  void* pixels) {
  readFrom(isDepthFormat(format),
           [&] { driver.glReadPixels(x, y, width, height, format, type, pixels); });
}

void glReadnPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type,
                   GLsizei size, void* pixels) {
  readFrom(isDepthFormat(format),
           [&] { driver.glReadnPixels(x, y, width, height, format, type, size, pixels); });
}

void glCopyPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum type) {
  readFrom(type != GL_COLOR, [&] { driver.glCopyPixels(x, y, width, height, type); });
}

void glCopyTexImage2D(GLenum target, GLint level, GLenum format, GLint x, GLint y, GLsizei width,
                      GLsizei height, GLint border) {
  readFrom(isDepthTexture(format),
           [&] { driver.glCopyTexImage2D(target, level, format, x, y, width, height, border); });
}

void glBlitFramebuffer(GLint srcX0, GLint srcY0, GLint srcX1, GLint srcY1, GLint dstX0, GLint dstY0,
                       GLint dstX1, GLint dstY1, GLbitfield mask, GLenum filter) {
  auto blit = [&](GLbitfield buffers) {
    driver.glBlitFramebuffer(srcX0, srcY0, srcX1, srcY1, dstX0, dstY0, dstX1, dstY1, buffers,
                             filter);
  };
  const GLbitfield depth = mask & (GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
  Context* const context = depth ? mending() : nullptr;
  if (!context || !context->readsDepthElsewhere()) {
    blit(mask);
    return;
  }
  context->readDepth([&] { blit(depth); });
  if (mask != depth) blit(mask & ~depth);
}

} // namespace hooks
} // namespace zol::softgpu
