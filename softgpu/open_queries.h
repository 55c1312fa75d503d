#pragma once

#include "softgpu/gl_headers.h"

#include <atomic>
#include <mutex>
#include <unordered_map>

namespace zol::softgpu {

// Which contexts have a query open. llvmpipe's rasterizer threads write into an open query, and a
// context that goes takes its queries along without waiting for those threads. So no context with
// an open query is left before its drawing is done. Never destroyed. Thread safety: all operations.
class OpenQueries {
public:
  void opened(GLXContext context);
  void closed(GLXContext context);
  void forget(GLXContext context);

  // To be called before the thread makes `next` current, null for none.
  void finishBeforeLeavingFor(GLXContext next);

private:
  std::atomic<int> total_ = 0; // without any, nothing is looked up
  std::mutex mutex_;
  std::unordered_map<GLXContext, int> open_; // guarded by mutex_
};

OpenQueries& openQueries();

} // namespace zol::softgpu
