#include "foundation/fakes.h"
#include "foundation/map.h"

#include <gtest/gtest.h>
#include <new>
#include <string>

namespace {

using zol::Map;
using TextMap = Map<const char*, int>;

std::string keysInOrder(const TextMap& map) {
  std::string keys;
  for (const auto& node : map)
    keys += std::string(keys.empty() ? "" : " ") + node.key;
  return keys;
}

TEST(Map, HasAHundredAndTwentyEightEmptyBucketsWhenBuilt) {
  TextMap map;
  EXPECT_EQ(128u, map.bucketCount());
  EXPECT_EQ(0u, map.size());
  EXPECT_TRUE(map.begin() == map.end());
}

TEST(Map, AllocatesItsBucketsAsOneBlock) {
  fakes.mallocsLeft = 1;
  TextMap map;
  EXPECT_EQ(0, fakes.mallocsLeft);
  fakes.mallocsLeft.reset();
  EXPECT_EQ(128u, map.bucketCount());
}

TEST(Map, WithoutMemoryForItsBucketsStaysEmptyAndUsable) {
  fakes.mallocsLeft = 0;
  TextMap map;
  EXPECT_EQ(0u, map.bucketCount());
  EXPECT_EQ(nullptr, map.find("a"));
  EXPECT_EQ(nullptr, map.obtain("a"));
  EXPECT_THROW(map["a"] = 5, std::bad_alloc);
  EXPECT_EQ(nullptr, map.find("a"));
  EXPECT_FALSE(map.erase("a"));
  EXPECT_EQ(0u, map.size());
  EXPECT_TRUE(map.begin() == map.end());
}

TEST(Map, SaysThatThereIsNoMemoryForANode) {
  TextMap map;
  fakes.newsLeft = 0;
  EXPECT_EQ(nullptr, map.obtain("a"));
  fakes.newsLeft = 0;
  EXPECT_THROW(map["a"] = 5, std::bad_alloc);
  EXPECT_EQ(nullptr, map.find("a"));
  EXPECT_EQ(0u, map.size());
  map["a"] = 6;
  fakes.newsLeft = 0;
  EXPECT_EQ(6, map["a"]);
  ASSERT_NE(nullptr, map.obtain("a"));
  EXPECT_EQ(6, *map.obtain("a"));
  fakes = Fakes();
}

TEST(Map, CreatesAZeroValueForAnAbsentKeyAndFindsItAgain) {
  TextMap map;
  EXPECT_EQ(0, map["one"]);
  map["one"] = 1;
  EXPECT_EQ(1, map["one"]);
  EXPECT_EQ(1u, map.size());
}

TEST(Map, ComparesTextsAndNotTheirAddresses) {
  TextMap map;
  const std::string first = "name", second = "name";
  map[first.c_str()] = 7;
  ASSERT_NE(nullptr, map.find(second.c_str()));
  EXPECT_EQ(7, *map.find(second.c_str()));
}

TEST(Map, KeepsThePointerOfTheKeyItWasGivenFirst) {
  TextMap map;
  const std::string first = "name", second = "name";
  map[first.c_str()] = 1;
  map[second.c_str()] = 2;
  EXPECT_EQ(first.c_str(), map.begin()->key);
  EXPECT_EQ(1u, map.size());
}

TEST(Map, TellsANullTextFromAnEmptyOne) {
  TextMap map;
  map[nullptr] = 1;
  EXPECT_EQ(nullptr, map.find(""));
  map[""] = 2;
  EXPECT_EQ(1, *map.find(nullptr));
  EXPECT_EQ(2, *map.find(""));
  EXPECT_EQ(2u, map.size());
}

TEST(Map, FindAllocatesNothingAndAddsNothing) {
  TextMap map;
  map["a"] = 1;
  fakes.mallocsLeft = 0;
  fakes.newsLeft = 0;
  EXPECT_EQ(nullptr, map.find("b"));
  EXPECT_NE(nullptr, map.find("a"));
  EXPECT_EQ(0, fakes.mallocsLeft);
  EXPECT_EQ(0, fakes.newsLeft);
  fakes = Fakes();
  EXPECT_EQ(1u, map.size());
}

TEST(Map, HashesTextsWithTheFactorThirteen) {
  const zol::Hash<const char*> hash;
  EXPECT_EQ(0u, hash(nullptr));
  EXPECT_EQ(0u, hash(""));
  EXPECT_EQ(13u * 'a', hash("a"));
  EXPECT_EQ(16u * 13u * 'a' + 13u * 'b', hash("ab"));
}

TEST(Map, HashesBytesAboveAHundredAndTwentySevenAsNegative) {
  // 13 * -1 = 0xFFFFFFF3; its top bits are folded back: (0xFFFFFFF3 ^ 0xF0000000) ^ 0xF0.
  EXPECT_EQ(0x0FFFFF03u, zol::Hash<const char*>()("\xFF"));
}

TEST(Map, FoldsTheTopBitsOfALongTextBack) {
  uint64_t expected = 0; // in wide arithmetic, masked at each step
  const std::string name = "glXCreateContextAttribsARB";
  bool folded = false;
  for (const char c : name) {
    expected = (expected * 16 + 13u * static_cast<unsigned char>(c)) % (1ull << 32);
    const uint64_t top = expected / (1u << 28) * (1u << 28);
    folded = folded || top != 0;
    expected = (expected - top) ^ (top >> 24);
  }
  EXPECT_TRUE(folded);
  EXPECT_EQ(expected, zol::Hash<const char*>()(name.c_str()));
}

TEST(Map, HashesPointersAndIntegersToTheirValue) {
  EXPECT_EQ(0x12345u, zol::Hash<int*>()(reinterpret_cast<int*>(0x12345)));
  EXPECT_EQ(0x600001u, zol::Hash<unsigned long>()(0x600001ul));
  int a = 0, b = 0;
  Map<int*, int> map;
  map[&a] = 1;
  map[&b] = 2;
  EXPECT_EQ(1, *map.find(&a));
  EXPECT_EQ(2, *map.find(&b));
}

TEST(Map, WalksBucketByBucketWithTheLatestEntryOfABucketFirst) {
  Map<unsigned long, int> map;
  for (const unsigned long key : {130ul, 2ul, 1ul, 127ul, 258ul, 129ul})
    map[key] = 1;
  std::string keys;
  for (const auto& node : map)
    keys += std::to_string(node.key) + " ";
  EXPECT_EQ("129 1 258 2 130 127 ", keys);
}

TEST(Map, ValuesCanBeChangedWhileWalking) {
  TextMap map;
  map["a"] = 1;
  map["b"] = 2;
  for (auto& node : map)
    node.value *= 10;
  EXPECT_EQ(10, map["a"]);
  EXPECT_EQ(20, map["b"]);
  EXPECT_EQ("a b", keysInOrder(map));
}

TEST(Map, ErasesFromTheFrontTheMiddleAndTheEndOfABucket) {
  Map<unsigned long, int> map;
  for (const unsigned long key : {0ul, 128ul, 256ul, 384ul, 512ul})
    map[key] = static_cast<int>(key);
  EXPECT_TRUE(map.erase(512));
  EXPECT_TRUE(map.erase(256));
  EXPECT_TRUE(map.erase(0));
  EXPECT_FALSE(map.erase(256));
  EXPECT_EQ(2u, map.size());
  std::string keys;
  for (const auto& node : map)
    keys += std::to_string(node.key) + " ";
  EXPECT_EQ("384 128 ", keys);
}

TEST(Map, NeverGrowsItsBuckets) {
  Map<unsigned long, int> map;
  for (unsigned long key = 0; key < 1000; ++key)
    map[key] = 1;
  EXPECT_EQ(128u, map.bucketCount());
  EXPECT_EQ(1000u, map.size());
  map.clear();
  EXPECT_EQ(0u, map.size());
  EXPECT_EQ(nullptr, map.find(5));
  EXPECT_TRUE(map.begin() == map.end());
}

} // namespace
