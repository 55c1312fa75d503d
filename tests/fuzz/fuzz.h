#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// What every fuzz target defines: one input, run to its end. A target judges what it sees with
// FUZZ_CHECK; memory errors and undefined behaviour are the sanitizers' to find.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#define FUZZ_CHECK(condition)                                                                      \
  do {                                                                                             \
    if (!(condition)) {                                                                            \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);          \
      std::abort();                                                                                \
    }                                                                                              \
  } while (false)

namespace zol::fuzz {

// Takes an input apart from the front.
class Input {
public:
  Input(const std::uint8_t* data, std::size_t size) : at(data), end(data + size) {}

  std::size_t left() const { return static_cast<std::size_t>(end - at); }

  std::uint8_t byte() { return left() > 0 ? *at++ : 0; }

  // In the machine's order; what is missing is 0.
  std::uint32_t word() {
    std::uint32_t value = 0;
    const std::size_t count = left() < sizeof value ? left() : sizeof value;
    std::memcpy(&value, at, count);
    at += count;
    return value;
  }

  // Up to the next line feed, which is dropped, or to the end. Ends at a NUL too.
  std::string line() {
    const auto* const stop =
        left() > 0 ? static_cast<const std::uint8_t*>(std::memchr(at, '\n', left())) : nullptr;
    const std::string text(at, stop != nullptr ? stop : end);
    at = stop != nullptr ? stop + 1 : end;
    return text.c_str();
  }

  std::string rest() {
    const std::string text(at, end);
    at = end;
    return text;
  }

private:
  const std::uint8_t* at;
  const std::uint8_t* end;
};

// A text in memory of exactly its size, so that a byte read behind it is found.
class ExactText {
public:
  explicit ExactText(const std::string& text)
      : memory(static_cast<char*>(std::malloc(text.size() + 1))) {
    std::memcpy(memory, text.c_str(), text.size() + 1);
  }
  ~ExactText() { std::free(memory); }
  ExactText(const ExactText&) = delete;
  ExactText& operator=(const ExactText&) = delete;

  operator char*() const { return memory; }
  char* get() const { return memory; }

private:
  char* memory;
};

} // namespace zol::fuzz
