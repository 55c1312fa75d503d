#include "rig/window_rig.h"

#include <X11/Xproto.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

using namespace zol::rig;

namespace {

// Where the answer about a window has its size and its visual.
constexpr std::size_t kWidthOffset = 16;
constexpr std::size_t kHeightOffset = 20;
constexpr std::size_t kVisualOffset = 24;

struct Lie {
  std::size_t offset = 0; // 0: no lie
  std::uint32_t value = 0;
};

Lie lie; // about the next answer that the test's thread gets
int told = 0;

} // namespace

// Xlib's own, which this one stands before.
extern "C" __attribute__((visibility("default"))) int _XReply(Display* display, xReply* reply,
                                                              int extra, int discard) {
  static const auto real =
      reinterpret_cast<int (*)(Display*, xReply*, int, int)>(dlsym(RTLD_NEXT, "_XReply"));
  const int result = real(display, reply, extra, discard);
  if (gettid() == getpid() && lie.offset != 0 && result != 0) {
    std::memcpy(reinterpret_cast<char*>(reply) + lie.offset, &lie.value, sizeof lie.value);
    lie = {};
    ++told;
  }
  return result;
}

namespace {

class HostileAnswer : public WindowRig {
protected:
  // A look at the current window, of which the server says this.
  Lines lookAt(std::size_t offset, std::uint32_t value) {
    open();
    bind(window_, context_);
    const auto viewport = GL_OF(host(), glViewport);
    pastFrame(); // the first viewport after a frame looks at the window
    lie = {offset, value};
    viewport(0, 0, 64, 48);
    EXPECT_EQ(told, 1);
    return logged();
  }
  void expectRefusal(std::size_t offset, std::uint32_t value) {
    EXPECT_LINES(
        lookAt(offset, value),
        (started_ + Lines{debugLine(kCheckForResizeLabel, "failed to update window info")}));
    EXPECT_LINES(driverCalls(), {"glViewport(0, 0, 64, 48)"});
  }
  const Lines started_ = {
      debugLine("void zol_glViewport(GLint, GLint, GLsizei, GLsizei)", "0 0 64 48"),
      debugLine(kCheckForResizeLabel, "START")};
};

TEST_F(HostileAnswer, WithAWidthThatNoWindowHasIsNone) {
  expectRefusal(kWidthOffset, 65536);
}

TEST_F(HostileAnswer, WithAHeightThatNoWindowHasIsNone) {
  expectRefusal(kHeightOffset, 0xFFFFFFFF);
}

class EmptyWindow : public HostileAnswer, public testing::WithParamInterface<const char*> {};

// The server goes on saying that it is shown.
TEST_P(EmptyWindow, IsHidden) {
  const bool narrow = GetParam() == std::string("0x48");
  EXPECT_LINES(
      lookAt(narrow ? kWidthOffset : kHeightOffset, 0),
      (started_ +
       Lines{debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 1"),
             debugLine(kUpdateWindowInfoLabel, "Moved from (0,0) to (0,0)"),
             debugLine(kUpdateWindowInfoLabel, std::string("Resized from 64x48 to ") + GetParam()),
             debugLine(kUpdateWindowInfoLabel, "Became hidden"),
             debugLine(kUpdatePbufferLabel,
                       std::string("resized pbuffer to new geometry: ") + GetParam())}));
  int width = 0, height = 0;
  ASSERT_TRUE(recorder().pbufferSize(0x5a000003, &width, &height));
  EXPECT_EQ(width, narrow ? 10 : 64);
  EXPECT_EQ(height, narrow ? 48 : 10);
}

INSTANTIATE_TEST_SUITE_P(Sizes, EmptyWindow, testing::Values("0x48", "64x0"));

// A window keeps the visual that it was made with.
TEST_F(HostileAnswer, WithAnotherVisualLeavesTheFirstOne) {
  const Lines lines = lookAt(kVisualOffset, 0x99);
  EXPECT_TRUE(hasLine(lines, debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 0")));
  EXPECT_FALSE(hasLine(lines, "<any>VisualID set<any>"));
}

} // namespace
