#pragma once

#include "softgpu/copy_contexts.h"
#include "softgpu/gl_headers.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace zol::softgpu {

// A double-buffered pbuffer with a front buffer of its own making: the back buffer of a second
// pbuffer, the front store, which is never swapped and so never sent to the X server. What a
// program does to GL_FRONT is done to the front store; a swap copies the back buffer there.
//
// The record owns the pbuffer: both are destroyed with the last reference, which a context that has
// the pbuffer current holds, as GLX wants it.
// Thread safety: all operations; copies of one pbuffer exclude each other.
class Pbuffer {
public:
  struct Area {
    int x, y, width, height;
  };

  Pbuffer(Display* display, GLXPbuffer id, GLXFBConfig config,
          std::shared_ptr<CopyContexts> copies);
  ~Pbuffer();
  Pbuffer(const Pbuffer&) = delete;
  Pbuffer& operator=(const Pbuffer&) = delete;

  Display* display() const { return display_; }
  GLXPbuffer id() const { return id_; }

  // The front store, made at the first call; None when it cannot be had, and then for good: the
  // pbuffer stays as the driver made it.
  GLXPbuffer frontStore();

  // Shows the back buffer, or an area of it, in the front buffer. False when there is no front
  // store.
  bool swap();
  bool swap(const Area& area);

  // While a context draws to both buffers at once the front buffer's pixels are only in the back
  // buffer. refresh() brings them over before the two go separate ways.
  void frontFollowsBack() { stale_.store(true, std::memory_order_release); }
  void refresh();

  // Which of the two holds the depth and stencil buffer that programs see, and its move there.
  GLXPbuffer depthHolder();
  void moveDepth(bool toFrontStore);

  // Whether a context may be let go of before what it has drawn here is done. Not where frames are
  // shown: who has let go of them may expect to find them.
  bool finishesLater();

  // The connection is about to be closed: lets go of everything that is not in use.
  void displayCloses(bool inUse);

private:
  bool createFrontStore();
  bool copy(GLXPbuffer to, GLXPbuffer from, const Area& area, GLbitfield buffers);
  bool showLocked(const Area& area);
  GLXPbuffer frontStoreLocked();
  Area whole() const { return {0, 0, width_, height_}; }

  Display* const display_;
  const GLXPbuffer id_;
  const GLXFBConfig config_;
  const std::shared_ptr<CopyContexts> copies_;
  std::atomic<bool> stale_ = false;
  std::mutex mutex_;

  // Guarded by mutex_.
  enum class State { untried, ready, unavailable } state_ = State::untried;
  GLXPbuffer frontStore_ = None;
  int width_ = 0;
  int height_ = 0;
  GLbitfield depthBuffers_ = 0; // those of the FBConfig, as glBlitFramebuffer names them
  bool depthInFrontStore_ = false;
  bool displayClosed_ = false;
};

} // namespace zol::softgpu
