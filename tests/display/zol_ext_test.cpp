// The client side of the extension, asked on a real server.

#include "display/zol_ext.h"
#include "rig/fixture.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <vector>

// After everything else, whose names its macros would change.
#include <X11/Xlibint.h>

using namespace zol::rig;

namespace {

// The question that was asked last, as it went out.
std::array<std::uint8_t, 12> question{};

// Told instead of the length of the name; -1: the truth.
std::int64_t toldLength = -1;

std::vector<long> namesRead; // bytes of each name that was read
bool mallocFails = false;
int syncHandlers = 0;
int errors = 0;

template <class Function>
Function* realFunction(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// Xlib's own, which these stand before, and what the linker puts before malloc.
extern "C" {
__attribute__((visibility("default"))) int _XReply(Display* display, xReply* reply, int extra,
                                                   int discard) {
  static auto* const real = realFunction<int(Display*, xReply*, int, int)>("_XReply");
  const std::size_t waiting = static_cast<std::size_t>(display->bufptr - display->last_req);
  question.fill(0xee);
  std::memcpy(question.data(), display->last_req, (std::min)(waiting, question.size()));
  const int result = real(display, reply, extra, discard);
  if (toldLength >= 0 && result != 0) {
    const auto bytes = static_cast<std::uint32_t>(toldLength);
    std::memcpy(reinterpret_cast<char*>(reply) + 8, &bytes, sizeof bytes);
  }
  return result;
}

__attribute__((visibility("default"))) void _XReadPad(Display* display, char* data, long bytes) {
  static auto* const real = realFunction<void(Display*, char*, long)>("_XReadPad");
  namesRead.push_back(bytes);
  real(display, data, bytes);
}

void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size) {
  return mallocFails ? nullptr : __real_malloc(size);
}
}

namespace {

class ZolExt : public testing::Test {
protected:
  void open(const std::string& glDisplay = ":10.1") {
    server_ = startApplicationServer(glDisplay).name();
    connect();
  }
  void connect() {
    display_ = XOpenDisplay(server_.c_str());
    ASSERT_NE(display_, nullptr);
    codes_ = *XInitExtension(display_, ZOL_EXT_NAME);
    XSetAfterFunction(display_, [](Display*) { return ++syncHandlers; });
    syncHandlers = 0;
  }
  Window window(int x, int y, unsigned width, unsigned height) {
    const Window made =
        XCreateSimpleWindow(display_, DefaultRootWindow(display_), x, y, width, height, 0, 0, 0);
    XSync(display_, False);
    return made;
  }
  int ask(Window window) {
    syncHandlers = 0;
    return XZolExtGetWindowInfo(display_, &codes_, window, &visible_, &visual_, rect_);
  }
  int askName() {
    syncHandlers = 0;
    return XZolExtGetGLDisplay(display_, &codes_, &name_);
  }
  void expectUntouched() {
    EXPECT_EQ(visible_, 7);
    EXPECT_EQ(visual_, 8U);
    EXPECT_EQ(std::vector<int>(rect_, rect_ + 4), (std::vector<int>{1, 2, 3, 4}));
  }
  std::vector<std::uint8_t> sent(std::size_t bytes) const {
    return {question.begin(), question.begin() + static_cast<long>(bytes)};
  }
  std::uint8_t opcode() const { return static_cast<std::uint8_t>(codes_.major_opcode); }

  static inline char untouched_[] = "untouched";

  std::string server_;
  static inline Display* display_ = nullptr; // kept to the end: one that is out of step cannot be
                                             // closed
  XExtCodes codes_{};
  Bool visible_ = 7;
  VisualID visual_ = 8;
  int rect_[4] = {1, 2, 3, 4};
  char* name_ = untouched_;
};

TEST_F(ZolExt, IsThereOrNot) {
  open();
  Bool present = 7;
  EXPECT_EQ(XZolExtQueryExtension(display_, &present), True);
  EXPECT_EQ(present, True);
  Display* const plain = XOpenDisplay(startPlainServer().name().c_str());
  EXPECT_EQ(XZolExtQueryExtension(plain, &present), False);
  EXPECT_EQ(present, False);
  XCloseDisplay(plain);
}

TEST_F(ZolExt, TellsPlaceSizeVisualAndVisibilityOfAWindow) {
  open();
  const Window asked = window(-5, 6, 70, 80);
  EXPECT_EQ(ask(asked), 1);
  EXPECT_EQ(std::vector<int>(rect_, rect_ + 4), (std::vector<int>{-5, 6, 70, 80}));
  EXPECT_EQ(visual_, XVisualIDFromVisual(DefaultVisual(display_, DefaultScreen(display_))));
  EXPECT_EQ(visible_, False);
  EXPECT_EQ(syncHandlers, 1);

  const auto* const id = reinterpret_cast<const std::uint8_t*>(&asked);
  EXPECT_EQ(sent(12),
            (std::vector<std::uint8_t>{opcode(), 0, 3, 0, id[0], id[1], id[2], id[3], 0, 0, 0, 0}));

  XMapWindow(display_, asked);
  XSync(display_, False);
  EXPECT_EQ(ask(asked), 1);
  EXPECT_EQ(visible_, True);
  EXPECT_EQ(XZolExtGetWindowInfo(display_, &codes_, asked, nullptr, &visual_, rect_), 1);
}

TEST_F(ZolExt, LeavesTheOutputsAloneForWhatIsNoWindow) {
  open();
  const Window gone = window(0, 0, 10, 10);
  XDestroyWindow(display_, gone);
  const Pixmap pixmap = XCreatePixmap(display_, DefaultRootWindow(display_), 10, 10, 24);
  for (const XID id : {XID{gone}, XID{pixmap}, XID{None}}) {
    EXPECT_EQ(ask(id), 0);
    EXPECT_EQ(syncHandlers, 1);
    expectUntouched();
  }
}

TEST_F(ZolExt, AsksNothingWithoutRoomForTheAnswer) {
  open();
  const Window root = DefaultRootWindow(display_);
  const unsigned long next = NextRequest(display_);
  EXPECT_EQ(XZolExtGetWindowInfo(display_, &codes_, root, &visible_, nullptr, rect_), 0);
  EXPECT_EQ(XZolExtGetWindowInfo(display_, &codes_, root, &visible_, &visual_, nullptr), 0);
  EXPECT_EQ(XZolExtGetGLDisplay(display_, &codes_, nullptr), 0);
  EXPECT_EQ(NextRequest(display_), next);
  expectUntouched();
}

TEST_F(ZolExt, ReadsANameOfFiveBytesAndWhatItIsPaddedWith) {
  open();
  EXPECT_EQ(askName(), 1);
  EXPECT_STREQ(name_, ":10.1");
  EXPECT_EQ(syncHandlers, 1);
  EXPECT_EQ(sent(4), (std::vector<std::uint8_t>{opcode(), 1, 1, 0}));
  EXPECT_EQ(namesRead, std::vector<long>{5});
  std::free(name_);
  EXPECT_EQ(ask(DefaultRootWindow(display_)), 1); // the connection is in step
}

TEST_F(ZolExt, HasNoNameWhereTheServerHasNone) {
  open("");
  EXPECT_EQ(askName(), 0);
  EXPECT_EQ(name_, untouched_);
  EXPECT_EQ(namesRead, std::vector<long>{});
}

TEST_F(ZolExt, LeavesAnEmptyNameToTheCaller) {
  open();
  toldLength = 0;
  EXPECT_EQ(askName(), 1);
  EXPECT_EQ(name_, untouched_);
  EXPECT_EQ(namesRead, std::vector<long>{});
  toldLength = -1;
  EXPECT_EQ(ask(DefaultRootWindow(display_)), 1);
}

TEST_F(ZolExt, ReadsNoNameThatFindsNoMemory) {
  open();
  mallocFails = true;
  errno = 0;
  const int status = askName();
  mallocFails = false;
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(name_, untouched_);
  EXPECT_EQ(syncHandlers, 1);
  EXPECT_EQ(namesRead, std::vector<long>{});
}

TEST_F(ZolExt, FailsWhenTheServerDoesNotAnswer) {
  open();
  XSetErrorHandler([](Display*, XErrorEvent*) { return ++errors; });
  codes_.major_opcode = 255;
  EXPECT_EQ(ask(DefaultRootWindow(display_)), 0);
  EXPECT_EQ(syncHandlers, 1);
  expectUntouched();
  EXPECT_EQ(askName(), 0);
  EXPECT_EQ(syncHandlers, 1);
  EXPECT_EQ(name_, untouched_);
  EXPECT_EQ(errors, 2);
}

} // namespace
