#include "frame/frame_rig.h"

namespace zol::rig {

void FrameRig::open(unsigned width, unsigned height, int x, int y) {
  WindowRig::open(width, height);
  moveWindow(window_, x, y);
  bind(window_, context_);
}

void FrameRig::openFor(XVisualInfo Visuals::*visual, unsigned width, unsigned height) {
  WindowRig::openFor(visual, width, height);
  bind(window_, context_);
}

void FrameRig::deliverUntil(const std::function<bool()>& condition) {
  ASSERT_TRUE(eventually(outside::deliveryIsHeld)) << "no pass was begun";
  outside::letOneDeliveryPass();
  ASSERT_TRUE(eventually(condition)) << "the pass did not do what was waited for";
}

void FrameRig::deliver(const std::vector<std::uint32_t>& expected, unsigned width,
                       unsigned height) {
  deliverUntil([&] { return pixels(display_, window_, width, height) == expected; });
}

void FrameRig::passBy() {
  deliverUntil(outside::deliveryIsHeld);
}

Lines& FrameRig::otherLog() {
  return otherLog_ = otherLog_ + loggedByOthers();
}

Lines& FrameRig::otherCalls() {
  return otherCalls_ = otherCalls_ + driverCallsOfOthers();
}

FramePattern FrameRig::picture(unsigned frame) {
  return [frame](int x, int y) {
    return 0xff000000u | (frame << 16) | (static_cast<unsigned>(y) << 8) | static_cast<unsigned>(x);
  };
}

std::vector<std::uint32_t> FrameRig::pictureOf(unsigned frame, unsigned width, unsigned height) {
  std::vector<std::uint32_t> pixels;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      pixels.push_back(picture(frame)(static_cast<int>(x), static_cast<int>(y)) & 0xffffff);
    }
  }
  return pixels;
}

} // namespace zol::rig
