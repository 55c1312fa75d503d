#include "frame/frame_copy.h"

#include "foundation/sanitized.h"

#include <cstdint>
#include <cstring>

// The sanitizers see into memcpy(), but not what these stores do.
#if defined(__SSE2__) && !defined(ZOL_SANITIZED)
#include <emmintrin.h>
#define ZOL_STREAMS_FRAMES
#endif

namespace zol::gl {

#ifdef ZOL_STREAMS_FRAMES

namespace {

constexpr size_t kLine = 64; // bytes of the cache
constexpr size_t kWord = sizeof(__m128i);
constexpr size_t kLarge = 1 << 20; // about what a processor's own cache holds

// Stores past the cache, which need not read there first what they overwrite, and leave the cache
// to those who draw meanwhile. Whole lines only; returns how many bytes.
size_t streamLines(char* to, const char* from, size_t size) {
  const size_t whole = size - size % kLine;
  for (size_t at = 0; at < whole; at += kLine) {
    __m128i line[kLine / kWord];
    for (size_t i = 0; i < kLine / kWord; ++i)
      line[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + at) + i);
    for (size_t i = 0; i < kLine / kWord; ++i)
      _mm_stream_si128(reinterpret_cast<__m128i*>(to + at) + i, line[i]);
  }
  _mm_sfence(); // before the X server is told
  return whole;
}

bool isAligned(const void* address) {
  return reinterpret_cast<uintptr_t>(address) % kWord == 0;
}

} // namespace

void copyFrame(void* to, const void* from, size_t size) {
  auto* const target = static_cast<char*>(to);
  const auto* const source = static_cast<const char*>(from);
  const size_t done = size >= kLarge && isAligned(to) ? streamLines(target, source, size) : 0;
  std::memcpy(target + done, source + done, size - done);
}

#else

void copyFrame(void* to, const void* from, size_t size) {
  std::memcpy(to, from, size);
}

#endif

} // namespace zol::gl
