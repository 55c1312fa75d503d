#pragma once

#include <concepts>
#include <cstdint>

namespace zol {

// The low 32 bits of an id or a pointer, for "%x": that is all the log shows of either.
template <std::integral T>
constexpr unsigned hex32(T value) {
  return static_cast<uint32_t>(value);
}
template <class T>
unsigned hex32(T* value) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(value));
}

// For "%s" of a text that may be null: not every C library prints "(null)" by itself.
constexpr const char* text(const char* value) {
  return value ? value : "(null)";
}

} // namespace zol
