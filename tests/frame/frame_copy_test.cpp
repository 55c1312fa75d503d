#include "frame/frame_copy.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace zol::gl;

namespace {

// Memory that ends where none may be touched.
class Guarded {
public:
  explicit Guarded(size_t size) : size_(size) {
    const size_t page = sysconf(_SC_PAGESIZE);
    pages_ = (size + page - 1) / page * page;
    base_ = static_cast<uint8_t*>(
        mmap(nullptr, pages_ + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base_ + pages_, page, PROT_NONE);
  }
  ~Guarded() { munmap(base_, pages_ + sysconf(_SC_PAGESIZE)); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  uint8_t* begin() const { return base_ + pages_ - size_; }
  uint8_t* end() const { return base_ + pages_; }

private:
  const size_t size_;
  size_t pages_;
  uint8_t* base_;
};

class CopiedFrame : public testing::TestWithParam<size_t> {};

TEST_P(CopiedFrame, IsTheFrameAndNoMore) {
  const size_t size = GetParam();
  const Guarded from(size + 1); // room for a byte before the one that is copied
  const Guarded to(size + 1);
  uint32_t state = 1;
  for (uint8_t* byte = from.begin(); byte != from.end(); ++byte)
    *byte = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
  const uint8_t before = *to.begin() = 0x5a;

  copyFrame(to.begin() + 1, from.begin() + 1, size);

  EXPECT_TRUE(std::equal(from.begin() + 1, from.end(), to.begin() + 1));
  EXPECT_EQ(*to.begin(), before);
}

// Of one pixel; smaller and larger than a processor's cache, as whole lines of the cache and with
// pixels over. Their beginnings are aligned as their sizes are.
INSTANTIATE_TEST_SUITE_P(OfSizes, CopiedFrame,
                         testing::Values(size_t{4}, size_t{300 * 300 * 4}, size_t{1024 * 256 * 4},
                                         size_t{1024 * 256 * 4 - 4}, size_t{1280 * 720 * 4},
                                         size_t{1284 * 721 * 4}, size_t{1283 * 721 * 4},
                                         size_t{1281 * 723 * 4}));

} // namespace
