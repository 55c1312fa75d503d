#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace zol::gl {

inline constexpr int bytesPerPixel = 4;

// Bytes of a frame: rows without gaps. A frame that no memory could hold has the largest size.
constexpr size_t frameBytes(int width, int height) {
  const uint64_t bytes = uint64_t(uint32_t(width)) * uint32_t(height);
  constexpr uint64_t most = std::numeric_limits<ptrdiff_t>::max();
  return bytes > most / bytesPerPixel ? size_t(most) : size_t(bytes * bytesPerPixel);
}

} // namespace zol::gl
