#include "softgpu/open_queries.h"

#include "softgpu/driver.h"

#include <new>

namespace zol::softgpu {

OpenQueries& openQueries() {
  static auto* const queries = new OpenQueries;
  return *queries;
}

void OpenQueries::opened(GLXContext context) try {
  const std::lock_guard lock(mutex_);
  ++open_[context];
  ++total_;
} catch (const std::bad_alloc&) {
  // The context is left without waiting, as the driver would.
}

void OpenQueries::closed(GLXContext context) {
  const std::lock_guard lock(mutex_);
  const auto found = open_.find(context);
  if (found == open_.end()) return;
  --total_;
  if (--found->second == 0) open_.erase(found);
}

void OpenQueries::forget(GLXContext context) {
  const std::lock_guard lock(mutex_);
  const auto found = open_.find(context);
  if (found == open_.end()) return;
  total_ -= found->second;
  open_.erase(found);
}

void OpenQueries::finishBeforeLeavingFor(GLXContext next) {
  if (total_.load(std::memory_order_acquire) == 0) return;
  GLXContext const current = driver.glXGetCurrentContext();
  if (!current || current == next) return;
  {
    const std::lock_guard lock(mutex_);
    if (open_.find(current) == open_.end()) return;
  }
  driver.glFinish();
}

} // namespace zol::softgpu
