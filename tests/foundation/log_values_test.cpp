#include "foundation/log_values.h"

#include <gtest/gtest.h>

namespace {

TEST(LogValues, IdsAndPointersLoseAllButTheirLowThirtyTwoBits) {
  EXPECT_EQ(0x600001u, zol::hex32(0x600001ul));
  EXPECT_EQ(0x9abcdef0u, zol::hex32(0x123456789abcdef0ul));
  EXPECT_EQ(0xffffffffu, zol::hex32(-1));
  EXPECT_EQ(0x9abcdef0u, zol::hex32(reinterpret_cast<void*>(0x123456789abcdef0ul)));
  EXPECT_EQ(0x1234u, zol::hex32(reinterpret_cast<const struct Unknown*>(0x1234)));
}

TEST(LogValues, ANullTextIsNamed) {
  EXPECT_STREQ("(null)", zol::text(nullptr));
  EXPECT_STREQ("", zol::text(""));
  EXPECT_STREQ(":0", zol::text(":0"));
}

} // namespace
