#include "rig/fixture.h"

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

class HostileAnswer : public Rig {
protected:
  // A look at the current window, of which the server says this.
  Lines lookAt(std::size_t offset, std::uint32_t value) {
    start();
    outside::holdDeliveries();
    Display* const display = openDisplay();
    const Window window = createWindow(display, visuals_.doubled, 64, 48);
    EXPECT_EQ(makeCurrent(display, window, createContext(display, visuals_.doubled)), True);
    const auto viewport = GL_OF(host(), glViewport);
    swap(display, window); // the first viewport after a frame looks at the window
    forget();
    lie = {offset, value};
    viewport(0, 0, 64, 48);
    EXPECT_EQ(told, 1);
    EXPECT_LINES(driverCalls(), {"glViewport(0, 0, 64, 48)"});
    return logged();
  }
  const Lines refused_ = {
      debugLine("void zol_glViewport(GLint, GLint, GLsizei, GLsizei)", "0 0 64 48"),
      debugLine(kCheckForResizeLabel, "START"),
      debugLine(kCheckForResizeLabel, "failed to update window info")};
};

TEST_F(HostileAnswer, WithAWidthThatNoWindowHasIsNone) {
  EXPECT_TRUE(sameLines(refused_, lookAt(kWidthOffset, 65536)));
}

TEST_F(HostileAnswer, WithAHeightThatNoWindowHasIsNone) {
  EXPECT_TRUE(sameLines(refused_, lookAt(kHeightOffset, 0xFFFFFFFF)));
}

// A window keeps the visual that it was made with.
TEST_F(HostileAnswer, WithAnotherVisualLeavesTheFirstOne) {
  const Lines lines = lookAt(kVisualOffset, 0x99);
  EXPECT_TRUE(hasLine(lines, debugLine(kUpdateWindowInfoLabel, "Pbuffer needs update: 0")));
  EXPECT_FALSE(hasLine(lines, "<any>VisualID set<any>"));
}

} // namespace
