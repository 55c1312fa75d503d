#pragma once

#include "softgpu/gl_headers.h"

#include <mutex>
#include <vector>

namespace zol::softgpu {

// Private contexts of one FBConfig, to copy between pbuffers without touching the state of a
// program's context. As many are made as threads copy at once, and kept for the next time.
// Thread safety: all operations.
class CopyContexts {
public:
  CopyContexts(Display* display, GLXFBConfig config) : display_(display), config_(config) {}
  ~CopyContexts();
  CopyContexts(const CopyContexts&) = delete;
  CopyContexts& operator=(const CopyContexts&) = delete;

  // One context on loan; null when the driver made none.
  class Loan {
  public:
    explicit Loan(CopyContexts& from) : from_(from), context_(from.take()) {}
    ~Loan();
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    GLXContext context() const { return context_; }

  private:
    CopyContexts& from_;
    GLXContext context_;
  };

  // Makes ready to wait, before the display closes or when the last pbuffer of the FBConfig goes,
  // for what contexts that were let go of have still to draw. To be called with a context made.
  void prepareToFinishLater();
  // Whether that is so, and letting go of a context need not wait.
  bool canFinishLater();

  // The display is about to close: destroys those at hand; nothing is destroyed later.
  void displayCloses();

private:
  GLXContext take();
  GLXContext create() const;
  GLXPbuffer createPlace() const;
  void finish();
  void destroyIdle();

  Display* const display_;
  const GLXFBConfig config_;
  std::mutex mutex_;
  std::vector<GLXContext> idle_; // guarded by mutex_
  std::size_t created_ = 0;      // guarded by mutex_
  bool closed_ = false;          // guarded by mutex_
  bool placeTried_ = false;      // guarded by mutex_
  GLXPbuffer place_ = None;      // to finish on; guarded by mutex_
};

} // namespace zol::softgpu
