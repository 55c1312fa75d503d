#pragma once

#include <cstddef>
#include <utility>

namespace zol::gl {

class DrawableInfo;

// Reference counting of drawable records, for those who only pass them on.
void retain(DrawableInfo* record);
void release(DrawableInfo* record); // deletes the record with its last reference

// A counted reference to a drawable record. The registry holds one, each thread one for what it has
// current, and whoever works on a record one for that time: a record taken out of the registry
// lives until the last of them lets go. A reference belongs to one thread; the count is atomic.
class DrawableRef {
public:
  DrawableRef() = default;
  DrawableRef(std::nullptr_t) {} // NOLINT: null converts, as it does for pointers
  explicit DrawableRef(DrawableInfo* record) : record_(record) {
    if (record_ != nullptr) retain(record_);
  }
  DrawableRef(const DrawableRef& other) : DrawableRef(other.record_) {}
  DrawableRef(DrawableRef&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
  DrawableRef& operator=(DrawableRef&& other) noexcept {
    DrawableRef taken(std::move(other));
    std::swap(record_, taken.record_);
    return *this;
  }
  DrawableRef& operator=(const DrawableRef& other) noexcept {
    if (record_ != other.record_) *this = DrawableRef(other);
    return *this;
  }
  ~DrawableRef() {
    if (record_ != nullptr) release(record_);
  }

  void reset() { *this = DrawableRef(); }
  DrawableInfo* get() const { return record_; }
  DrawableInfo* operator->() const { return record_; }
  explicit operator bool() const { return record_ != nullptr; }
  friend bool operator==(const DrawableRef&, const DrawableRef&) = default;

private:
  DrawableInfo* record_ = nullptr;
};

} // namespace zol::gl
