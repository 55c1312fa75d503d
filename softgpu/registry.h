#pragma once

#include "softgpu/context.h"
#include "softgpu/pbuffer.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <unordered_map>
#include <utility>

namespace zol::softgpu {

// The mended pbuffers of the process and the contexts that have met one. Never destroyed.
// Thread safety: all operations. No driver function is called with the registry locked.
class Registry {
public:
  // Takes charge of a double-buffered pbuffer that the driver has just made.
  void addPbuffer(Display* display, GLXPbuffer id, GLXFBConfig config);
  // Only keeps its presentation from troubling the program.
  void addSingleBuffered(Display* display);
  // Lets go of all that is kept for the display when it closes. Throws std::bad_alloc.
  void watch(Display* display);
  // Forgets a pbuffer, whose id is then free for others; null when it was never added.
  std::shared_ptr<Pbuffer> removePbuffer(Display* display, GLXPbuffer id);
  std::shared_ptr<Pbuffer> findPbuffer(Display* display, GLXDrawable id) const;

  // The record of a context, made now when `create` is set; null when there is none, for a context
  // that renders in the server, and when there is no memory.
  std::shared_ptr<Context> findContext(Display* display, GLXContext handle, bool create);
  // Forgets a context that the program destroys; null when it was never met.
  std::shared_ptr<Context> removeContext(GLXContext handle);

private:
  using DrawableKey = std::pair<Display*, GLXDrawable>;
  using ConfigKey = std::pair<Display*, GLXFBConfig>;

  std::shared_ptr<CopyContexts> copyContexts(Display* display, GLXFBConfig config);
  void displayCloses(Display* display);

  // Whether there has ever been a pbuffer: without one, every look-up is this flag.
  std::atomic<bool> used_ = false;
  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::map<DrawableKey, std::shared_ptr<Pbuffer>> pbuffers_;
  std::map<ConfigKey, std::weak_ptr<CopyContexts>> copyContexts_;
  std::unordered_map<GLXContext, std::shared_ptr<Context>> contexts_;
  std::set<Display*> watched_;
};

Registry& registry();

} // namespace zol::softgpu
