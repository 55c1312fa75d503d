#include "endtoend/scene.h"

#include <array>
#include <stdexcept>

namespace zol::endtoend {
namespace {

constexpr std::array<std::uint32_t, 4> kQuadrants = {0xffe01020, 0xc010d040, 0x802030f0,
                                                     0x40f0c008};
constexpr std::array<std::uint32_t, 4> kCorners = {0xffffffff, 0x7f00ffff, 0xbfff00ff, 0x3fffff00};

// Three columns by five rows, the top row in the highest bits.
constexpr std::array<unsigned, 10> kDigits = {
    0b111101101101111, 0b010110010010111, 0b111001111100111, 0b111001111001111, 0b101101111001001,
    0b111100111001111, 0b111100111101111, 0b111001001001001, 0b111101111101111, 0b111101111001111,
};

void addDigit(std::vector<Rect>& rects, int digit, int left, int top, int size) {
  for (int row = 0; row < 5; ++row) {
    for (int column = 0; column < 3; ++column) {
      if ((kDigits[static_cast<std::size_t>(digit)] >> (14 - 3 * row - column) & 1) == 0) continue;
      rects.push_back({left + column * size, top + row * size, size, size, 0xffffffff});
    }
  }
}

std::vector<Rect> quadrants(int frame, int width, int height) {
  const int x = width / 2, y = height / 2;
  const auto colour = [frame](int index) {
    return kQuadrants[static_cast<std::size_t>(index + frame) % kQuadrants.size()];
  };
  return {
      {0, 0, x, y, colour(0)},
      {x, 0, width - x, y, colour(1)},
      {0, y, x, height - y, colour(2)},
      {x, y, width - x, height - y, colour(3)},
      {0, 0, 1, 1, kCorners[0]},
      {width - 1, 0, 1, 1, kCorners[1]},
      {0, height - 1, 1, 1, kCorners[2]},
      {width - 1, height - 1, 1, 1, kCorners[3]},
  };
}

std::vector<Rect> bar(int frame, int width, int height) {
  std::vector<Rect> rects = {{0, 0, width, height, 0xff203040}};
  const int thickness = width / 8 + 1;
  rects.push_back({frame * 7 % width, 0, thickness, height, 0x90f08020});
  const int size = height / 16 + 1;
  const std::string number = std::to_string(frame);
  int left = size;
  for (const char digit : number) {
    addDigit(rects, digit - '0', left, size, size);
    left += 4 * size;
  }
  return rects;
}

} // namespace

std::vector<Rect> scene(const std::string& name, int frame, int width, int height) {
  if (name == "quadrants") return quadrants(frame, width, height);
  if (name == "bar") return bar(frame, width, height);
  throw std::invalid_argument("no such picture: " + name);
}

} // namespace zol::endtoend
