#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace zol {

// An object that is never destroyed, for a static variable: what the library shares between threads
// is used until the process is gone. It is not on the heap, so that its first use cannot fail for
// want of memory; destructors ask for some of these.
template <class T>
class Immortal {
public:
  template <class... Arguments>
  explicit Immortal(Arguments&&... arguments)
      : object_(new (room_) T(std::forward<Arguments>(arguments)...)) {}
  Immortal(const Immortal&) = delete;
  Immortal& operator=(const Immortal&) = delete;

  T* get() { return object_; }

private:
  alignas(T) std::byte room_[sizeof(T)];
  T* const object_;
};

} // namespace zol
