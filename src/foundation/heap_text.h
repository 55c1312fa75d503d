#pragma once

#include <cstdlib>
#include <cstring>
#include <memory>

namespace zol {

struct HeapTextFree {
  void operator()(char* text) const { std::free(text); }
};

// A text from malloc, freed with free.
using HeapText = std::unique_ptr<char, HeapTextFree>;

// Null for null, and without memory.
inline HeapText copyText(const char* text) {
  return HeapText(text ? strdup(text) : nullptr);
}

} // namespace zol
