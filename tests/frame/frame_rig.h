#pragma once

#include "rig/window_rig.h"

namespace zol::rig {

// Where frames begin: the window's context is current.
class FrameRig : public WindowRig {
protected:
  void open(unsigned width = 64, unsigned height = 48, int x = 0, int y = 0);
  // The same for a window and a context of this visual.
  void openFor(XVisualInfo Visuals::*visual, unsigned width = 64, unsigned height = 48);

  // One pass of the copyback thread, waited for until the condition holds.
  void deliverUntil(const std::function<bool()>& condition);
  // One pass that delivers the pending frame of this window, all pixels of it.
  void deliver(const std::vector<std::uint32_t>& expected, unsigned width, unsigned height);
  // One pass that is over when the next one, for which a frame has to be pending, is held.
  void passBy();

  // What the other threads logged and called, collected while waiting.
  Lines& otherLog();
  Lines& otherCalls();

  // The frame that the driver delivers: every pixel tells its place and the frame.
  static FramePattern picture(unsigned frame);
  static std::vector<std::uint32_t> pictureOf(unsigned frame, unsigned width, unsigned height);

private:
  Lines otherLog_;
  Lines otherCalls_;
};

} // namespace zol::rig
