#include "softgpu/context.h"

#include "softgpu/driver.h"
#include "softgpu/open_queries.h"
#include "softgpu/registry.h"

#include <atomic>
#include <cstring>
#include <utility>

namespace zol::softgpu {
namespace {

thread_local Context* currentContext = nullptr;

// Set once a list with a choice of buffers in it has been compiled anywhere in the process.
std::atomic<bool> listsChooseBuffers = false;

constexpr GLint insideBeginEnd = -1;

GLint query(GLenum name, GLint otherwise) {
  GLint value = otherwise;
  driver.glGetIntegerv(name, &value);
  return value;
}

GLint boundFramebuffer(GLenum target) {
  return query(target == GL_READ_FRAMEBUFFER ? GL_READ_FRAMEBUFFER_BINDING
                                             : GL_DRAW_FRAMEBUFFER_BINDING,
               insideBeginEnd);
}

// Binds the default framebuffer for as long as it lives.
class DefaultFramebuffer {
public:
  explicit DefaultFramebuffer(GLenum target) : target_(target), bound_(boundFramebuffer(target)) {
    if (bound_ > 0) driver.glBindFramebuffer(target_, 0);
  }
  ~DefaultFramebuffer() {
    if (bound_ > 0) driver.glBindFramebuffer(target_, bound_);
  }
  DefaultFramebuffer(const DefaultFramebuffer&) = delete;
  DefaultFramebuffer& operator=(const DefaultFramebuffer&) = delete;

private:
  const GLenum target_;
  const GLint bound_;
};

bool currentIsGles() {
  const auto* version = reinterpret_cast<const char*>(driver.glGetString(GL_VERSION));
  return version && std::strncmp(version, "OpenGL ES", 9) == 0;
}

bool hasFrontStore(const std::shared_ptr<Pbuffer>& pbuffer) {
  return pbuffer && pbuffer->frontStore() != None;
}

} // namespace

Context* Context::current() {
  return currentContext;
}

Bool Context::makeCurrent(Display* display, Drawables drawables, GLXContext handle,
                          DirectCall direct) {
  Pbuffers pbuffers;
  pbuffers.draw = registry().findPbuffer(display, drawables.draw);
  pbuffers.read = drawables.read == drawables.draw
                      ? pbuffers.draw
                      : registry().findPbuffer(display, drawables.read);
  Context* const before = currentContext;
  const auto next = registry().findContext(display, handle, pbuffers.draw || pbuffers.read);
  if (before && !handle)
    before->finishBeforeRelease();
  else
    openQueries().finishBeforeLeavingFor(handle);
  const Drawables target = next ? next->plan(pbuffers, drawables) : drawables;
  const Bool done = target == drawables
                        ? direct(display, drawables, handle)
                        : driver.glXMakeContextCurrent(display, target.draw, target.read, handle);
  if (before && before != next.get() && driver.glXGetCurrentContext() != before->handle_)
    before->leave();
  if (done && next) next->enter(std::move(pbuffers), drawables, target);
  return done;
}

void Context::enter(Pbuffers pbuffers, Drawables drawables, Drawables driverDrawables) {
  if (!self_) {
    self_ = shared_from_this();
    const std::lock_guard lock(mutex_);
    isCurrent_ = true;
    gles_ = currentIsGles();
  }
  currentContext = this;
  // Kept until settled: the last reference may destroy what the driver still has bound.
  const Pbuffers previous = std::exchange(pbuffers_, std::move(pbuffers));
  drawables_ = drawables;
  driver_ = driverDrawables;
  adoptChoices();
  settle(false);
}

// Mesa's rasterizer threads wait forever when their display is closed under a scene of theirs, and
// a program that has let go of its context believes to be free to close it.
void Context::finishBeforeRelease() {
  if (pbuffers_.draw && pbuffers_.draw == pbuffers_.read && pbuffers_.draw->finishesLater())
    openQueries().finishBeforeLeavingFor(nullptr);
  else
    driver.glFinish();
}

void Context::leave() {
  if (currentContext == this) currentContext = nullptr;
  if (pbuffers_.draw && drawBuffers_.target() == DrawBuffers::Target::both)
    pbuffers_.draw->frontFollowsBack();
  const Pbuffers released = std::exchange(pbuffers_, {});
  const auto self = std::exchange(self_, nullptr); // may be the last reference
  const std::lock_guard lock(mutex_);
  isCurrent_ = false;
  if (isDestroyed_) driver.glXDestroyContext(display_, handle_);
}

bool Context::destroyWhenReleased() {
  const std::lock_guard lock(mutex_);
  isDestroyed_ = isCurrent_;
  return isDestroyed_;
}

// A driver keeps the draw buffers with the context and the read buffer with context and drawable.
// The choices made on other drawables are its business; on the way to a mended pbuffer they are
// asked for.
void Context::adoptChoices() {
  if (gles_) return;
  if (pbuffers_.draw && !followsDraw_) {
    const DefaultFramebuffer bound(GL_DRAW_FRAMEBUFFER);
    drawBuffers_ = toldDrawBuffers_ = DrawBuffers::ofDriver();
    followsDraw_ = true;
  }
  if (pbuffers_.read && !followsRead_) {
    const DefaultFramebuffer bound(GL_READ_FRAMEBUFFER);
    readBuffer_ = query(GL_READ_BUFFER, GL_BACK);
    tellReadBuffer_ = readBuffer_ != GL_BACK;
    followsRead_ = true;
  }
}

Context::Drawables Context::plan(const Pbuffers& pbuffers, Drawables drawables) const {
  using Target = DrawBuffers::Target;
  const Target target = drawBuffers_.target();
  const bool followsBack = pbuffers.read == pbuffers.draw && target == Target::both;
  if (target == Target::front && hasFrontStore(pbuffers.draw))
    drawables.draw = pbuffers.draw->frontStore();
  if (isFrontForReading(readBuffer_) && !followsBack && hasFrontStore(pbuffers.read))
    drawables.read = pbuffers.read->frontStore();
  return drawables;
}

// Makes the driver's binding and buffers those that the program's view asks for.
void Context::settle(bool choiceChanged) {
  const Drawables target = plan(pbuffers_, drawables_);
  prepareFrontStores(target, choiceChanged);
  if (target != driver_ &&
      driver.glXMakeContextCurrent(display_, target.draw, target.read, handle_))
    driver_ = target;
  tellDriver();
}

void Context::prepareFrontStores(const Drawables& target, bool choiceChanged) {
  if (pbuffers_.read && target.read != drawables_.read) pbuffers_.read->refresh();
  if (!pbuffers_.draw) return;
  if (drawBuffers_.target() == DrawBuffers::Target::both)
    pbuffers_.draw->frontFollowsBack();
  else
    pbuffers_.draw->refresh();
  // Merely being bound moves no depth back: a context that only reads must not cost that.
  const bool toFrontStore = target.draw != drawables_.draw;
  if (toFrontStore || choiceChanged) pbuffers_.draw->moveDepth(toFrontStore);
}

DrawBuffers Context::driverDrawBuffers() const {
  if (driver_.draw != drawables_.draw) return drawBuffers_.frontAsBack();
  if (drawBuffers_.target() == DrawBuffers::Target::both && hasFrontStore(pbuffers_.draw))
    return drawBuffers_.backOnly();
  return drawBuffers_;
}

GLenum Context::driverReadBuffer() const {
  const bool asBack = isFrontForReading(readBuffer_) && hasFrontStore(pbuffers_.read);
  return asBack ? GL_BACK : readBuffer_;
}

void Context::tellDriver() {
  if (gles_) return;
  if (followsDraw_ && driverDrawBuffers() != toldDrawBuffers_) {
    const DefaultFramebuffer bound(GL_DRAW_FRAMEBUFFER);
    toldDrawBuffers_ = driverDrawBuffers();
    toldDrawBuffers_.apply();
  }
  followsDraw_ = followsDraw_ && pbuffers_.draw;
  if (!pbuffers_.read) return;
  const GLenum name = driverReadBuffer();
  tellReadBuffer_ = tellReadBuffer_ || name != GL_BACK;
  if (tellReadBuffer_) {
    const DefaultFramebuffer bound(GL_READ_FRAMEBUFFER);
    driver.glReadBuffer(name);
  }
}

bool Context::followsDrawBuffers() const {
  return !gles_ && pbuffers_.draw && boundFramebuffer(GL_DRAW_FRAMEBUFFER) == 0;
}

bool Context::followsReadBuffer() const {
  return !gles_ && pbuffers_.read && boundFramebuffer(GL_READ_FRAMEBUFFER) == 0;
}

bool Context::choosesDrawBuffers(bool bound) const {
  if (gles_ || !pbuffers_.draw || compiling()) return false;
  const GLint framebuffer = boundFramebuffer(GL_DRAW_FRAMEBUFFER);
  return framebuffer == 0 || (!bound && framebuffer != insideBeginEnd);
}

bool Context::choosesReadBuffer(bool bound) const {
  if (gles_ || !pbuffers_.read || compiling()) return false;
  const GLint framebuffer = boundFramebuffer(GL_READ_FRAMEBUFFER);
  return framebuffer == 0 || (!bound && framebuffer != insideBeginEnd);
}

void Context::setDrawBuffers(const DrawBuffers& buffers) {
  drawBuffers_ = buffers;
  settle(true);
}

void Context::setReadBuffer(GLenum buffer) {
  readBuffer_ = buffer;
  settle(false);
}

void Context::listStarted(GLenum mode) {
  if (query(GL_LIST_INDEX, 0) != 0) listMode_ = mode;
}

void Context::listEnded() {
  if (query(GL_LIST_INDEX, 0) == 0) listMode_ = GL_NONE;
}

void Context::choiceCompiled() {
  listsChooseBuffers.store(true, std::memory_order_relaxed);
  if (listMode_ == GL_COMPILE_AND_EXECUTE) adoptChangedChoices();
}

void Context::listExecuted() {
  if (listsChooseBuffers.load(std::memory_order_relaxed)) adoptChangedChoices();
}

// Takes what the driver has now for the program's choice where it is not what it was told. In the
// place of GL_FRONT it was told GL_BACK_LEFT, which a list seldom says.
void Context::adoptChangedChoices() {
  if (gles_ || !mends()) return;
  bool changed = false;
  if (pbuffers_.draw && boundFramebuffer(GL_DRAW_FRAMEBUFFER) == 0) {
    const DrawBuffers found = DrawBuffers::ofDriver();
    if (found[0] != toldDrawBuffers_[0]) {
      drawBuffers_ = toldDrawBuffers_ = found;
      changed = true;
    }
  }
  if (pbuffers_.read && boundFramebuffer(GL_READ_FRAMEBUFFER) == 0) {
    const GLenum found = query(GL_READ_BUFFER, GL_BACK);
    if (found != driverReadBuffer()) {
      readBuffer_ = found;
      tellReadBuffer_ = changed = true;
    }
  }
  if (changed) settle(true);
}

void Context::pushAttributes(GLbitfield mask) {
  driver.glPushAttrib(mask);
  const bool draw = (mask & GL_COLOR_BUFFER_BIT) && boundFramebuffer(GL_DRAW_FRAMEBUFFER) == 0;
  const bool read = (mask & GL_PIXEL_MODE_BIT) && boundFramebuffer(GL_READ_FRAMEBUFFER) == 0;
  if (!draw && !read) return;
  const int depth = query(GL_ATTRIB_STACK_DEPTH, 0);
  const bool overflow =
      depth >= maxSaved && savedCount_ > 0 && saved_[savedCount_ - 1].depth == depth;
  if (depth <= 0 || overflow) return;
  while (savedCount_ > 0 && (saved_[savedCount_ - 1].depth >= depth || savedCount_ == maxSaved))
    --savedCount_;
  saved_[savedCount_++] = {depth, draw, read, drawBuffers_, readBuffer_};
}

void Context::popAttributes() {
  const int depth = savedCount_ > 0 ? query(GL_ATTRIB_STACK_DEPTH, 0) : 0;
  driver.glPopAttrib();
  while (savedCount_ > 0 && saved_[savedCount_ - 1].depth > depth)
    --savedCount_;
  if (savedCount_ == 0 || saved_[savedCount_ - 1].depth != depth) {
    adoptChangedChoices();
    return;
  }
  const SavedAttributes saved = saved_[--savedCount_];
  if (saved.draw && pbuffers_.draw && boundFramebuffer(GL_DRAW_FRAMEBUFFER) == 0) {
    toldDrawBuffers_ = DrawBuffers::ofDriver();
    drawBuffers_ = saved.drawBuffers;
  }
  if (saved.read && pbuffers_.read && boundFramebuffer(GL_READ_FRAMEBUFFER) == 0) {
    tellReadBuffer_ = true;
    readBuffer_ = saved.readBuffer;
  }
  settle(true);
}

GLXDrawable Context::bindDepthForReading() {
  const GLXDrawable colour = driver_.read;
  if (pbuffers_.read) bindForReading(pbuffers_.read->depthHolder());
  return colour;
}

void Context::bindForReading(GLXDrawable drawable) {
  if (drawable != driver_.read &&
      driver.glXMakeContextCurrent(display_, driver_.draw, drawable, handle_))
    driver_.read = drawable;
}

} // namespace zol::softgpu
