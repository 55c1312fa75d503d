#include "endtoend/likeness.h"

#include <algorithm>

namespace zol::endtoend {
namespace {

constexpr int kEqualLooks = 8;

} // namespace

void Colours::add(const Picture& picture) {
  for (const std::uint32_t pixel : picture.pixels) {
    const std::size_t red = pixel >> 22 & 3, green = pixel >> 14 & 3, blue = pixel >> 6 & 3;
    ++counts_[(red * kShades + green) * kShades + blue];
  }
  pixels_ += static_cast<double>(picture.pixels.size());
}

double Colours::likeness(const Colours& other) const {
  if (pixels_ == 0 || other.pixels_ == 0) return 0;
  const auto background = std::max_element(counts_.begin(), counts_.end()) - counts_.begin();
  double here = 0, there = 0, common = 0;
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    if (i == static_cast<std::size_t>(background)) continue;
    const double share = counts_[i] / pixels_, otherShare = other.counts_[i] / other.pixels_;
    here += share;
    there += otherShare;
    common += std::min(share, otherShare);
  }
  return std::max(here, there) == 0 ? 1 : common / std::max(here, there);
}

Picture cut(const Picture& picture, const Area& area) {
  if (area.width == 0) return picture;
  Picture result{area.width, area.height, {}};
  if (area.x + area.width > picture.width || area.y + area.height > picture.height) return {};
  for (int y = area.y; y < area.y + area.height; ++y) {
    const auto row = picture.pixels.begin() + y * picture.width + area.x;
    result.pixels.insert(result.pixels.end(), row, row + area.width);
  }
  return result;
}

bool isBlank(const Picture& picture) {
  return std::all_of(picture.pixels.begin(), picture.pixels.end(),
                     [&](std::uint32_t pixel) { return pixel == picture.pixels.front(); });
}

Comparison compareStill(const ForeignProgram& straight, const ForeignProgram& through,
                        const Area& area) {
  Comparison result;
  int equalLooks = 0;
  through.waitFor([&] {
    Picture found = cut(through.picture(), area);
    const bool isSteady = found == result.through;
    result.straight = cut(straight.picture(), area);
    result.through = std::move(found);
    const bool isEqual = !isBlank(result.through) && result.straight == result.through;
    equalLooks = isEqual && (equalLooks == 0 || isSteady) ? equalLooks + 1 : 0;
    result.isEqual = equalLooks == kEqualLooks;
    return result.isEqual || straight.hasEnded() || through.hasEnded();
  });
  Colours expected, found;
  expected.add(result.straight);
  found.add(result.through);
  result.likeness = expected.likeness(found);
  return result;
}

Comparison compareMoving(const ForeignProgram& straight, const ForeignProgram& through,
                         int frames) {
  Comparison result;
  Colours expected, found;
  for (int frame = 0; frame < frames; ++frame) {
    // In turn: what moves by the clock is then at the same place in both.
    result.straight = straight.picture();
    result.through = through.picture();
    expected.add(result.straight);
    found.add(result.through);
    through.waitForNextPaint();
  }
  result.likeness = expected.likeness(found);
  return result;
}

} // namespace zol::endtoend
