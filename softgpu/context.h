#pragma once

#include "softgpu/draw_buffers.h"
#include "softgpu/gl_headers.h"
#include "softgpu/pbuffer.h"

#include <array>
#include <memory>
#include <mutex>

namespace zol::softgpu {

// What a program believes about one of its contexts that has met a mended pbuffer, beside what the
// driver was told instead: a context that draws to or reads from GL_FRONT of such a pbuffer is
// bound to the back buffer of the front store.
// Thread safety: a context belongs to the thread that has it current.
class Context : public std::enable_shared_from_this<Context> {
public:
  struct Drawables {
    GLXDrawable draw = None;
    GLXDrawable read = None;
    bool operator==(const Drawables& other) const = default;
  };
  struct Pbuffers {
    std::shared_ptr<Pbuffer> draw; // null for drawables that need no mending
    std::shared_ptr<Pbuffer> read;
  };

  Context(Display* display, GLXContext handle) : display_(display), handle_(handle) {}

  // The calling thread's, when it needs attention; else null.
  static Context* current();
  // Makes a context current for the program; `direct` is its own call to the driver, made as it is
  // where nothing needs mending.
  using DirectCall = Bool (*)(Display* display, Drawables drawables, GLXContext handle);
  static Bool makeCurrent(Display* display, Drawables drawables, GLXContext handle,
                          DirectCall direct);

  // The program destroys the context: true when that must wait until it is no longer current, for
  // the driver would let go of it at the next change of binding. leave() then sees to it.
  bool destroyWhenReleased();

  GLXContext handle() const { return handle_; }
  Display* display() const { return display_; }
  const Drawables& drawables() const { return drawables_; } // as the program gave them
  const Pbuffers& pbuffers() const { return pbuffers_; }
  bool followsDrawBuffers() const; // drawBuffers() are those of the bound framebuffer
  bool followsReadBuffer() const;
  bool mends() const { return pbuffers_.draw || pbuffers_.read; }
  const DrawBuffers& drawBuffers() const { return drawBuffers_; }
  GLenum readBuffer() const { return readBuffer_; }

  // Whether a choice of buffers for the default framebuffer is this library's business. `bound`
  // asks for the framebuffer that is bound, otherwise the default one was named.
  bool choosesDrawBuffers(bool bound) const;
  bool choosesReadBuffer(bool bound) const;
  void setDrawBuffers(const DrawBuffers& buffers);
  void setReadBuffer(GLenum buffer);

  // Display lists: choices compiled into one are carried out by the driver behind this library's
  // back; listExecuted() catches up with them.
  bool compiling() const { return listMode_ != GL_NONE; }
  void listStarted(GLenum mode);
  void listEnded();
  void choiceCompiled();
  void listExecuted();

  // The same calls of the driver, with the choices of buffers kept among the attributes.
  void pushAttributes(GLbitfield mask);
  void popAttributes();

  bool readsDepthElsewhere() const {
    return pbuffers_.read && pbuffers_.read->depthHolder() != driver_.read;
  }
  // Calls read() with the driver's read drawable set to the one that holds depth and stencil.
  template <class Read>
  void readDepth(const Read& read) {
    const GLXDrawable colour = bindDepthForReading();
    read();
    bindForReading(colour);
  }

private:
  struct SavedAttributes {
    int depth;
    bool draw; // which of the two the group holds
    bool read;
    DrawBuffers drawBuffers;
    GLenum readBuffer;
  };

  void enter(Pbuffers pbuffers, Drawables drawables, Drawables driverDrawables);
  void finishBeforeRelease();
  void leave();
  void adoptChoices();
  void adoptChangedChoices();
  GLXDrawable bindDepthForReading();
  void bindForReading(GLXDrawable drawable);
  Drawables plan(const Pbuffers& pbuffers, Drawables drawables) const;
  void settle(bool choiceChanged);
  void prepareFrontStores(const Drawables& target, bool choiceChanged);
  DrawBuffers driverDrawBuffers() const;
  GLenum driverReadBuffer() const;
  void tellDriver();

  Display* const display_;
  const GLXContext handle_;
  std::mutex mutex_;
  bool isCurrent_ = false;        // guarded by mutex_
  bool isDestroyed_ = false;      // guarded by mutex_
  bool gles_ = false;             // has no front buffers; the driver's answers are right
  std::shared_ptr<Context> self_; // while current

  // The program's view.
  Pbuffers pbuffers_;
  Drawables drawables_;
  DrawBuffers drawBuffers_;
  GLenum readBuffer_ = GL_BACK;

  // The driver's.
  Drawables driver_;
  DrawBuffers toldDrawBuffers_;
  bool followsDraw_ = false;    // drawBuffers_ and toldDrawBuffers_ are up to date
  bool followsRead_ = false;    // readBuffer_ is
  bool tellReadBuffer_ = false; // the driver's may be another than GL_BACK

  GLenum listMode_ = GL_NONE;
  static constexpr int maxSaved = 16;
  std::array<SavedAttributes, maxSaved> saved_;
  int savedCount_ = 0;
};

} // namespace zol::softgpu
