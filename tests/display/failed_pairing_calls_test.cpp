// Calls that cannot be carried out because one of the two displays does not answer as it should.

#include "rig/lock_probe.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <functional>
#include <future>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

// After everything else, whose names its macros would change.
#include <X11/Xlibint.h>

using namespace zol::rig;

namespace {

constexpr char kExtension[] = "ZOL-V1";
constexpr std::uint8_t kGetWindowInfo = 0;
constexpr std::uint8_t kGetGLDisplay = 1;

// What becomes of the answers to one of the extension's questions.
struct Lie {
  std::uint8_t question = kGetGLDisplay;
  std::size_t offset = 0; // in the answer; 0: no lie
  std::uint32_t value = 0;
  std::size_t size = 0;
};
Lie lie;
std::atomic<int> told{0};
std::atomic<bool> extensionFails{false};

template <class Function>
Function* realFunction(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int extensionOpcode = 0; // 0: not asked for yet

// Words behind an answer that nobody wants; kept from being waited for while there is a lie.
std::vector<unsigned long> discarded;
std::atomic<bool> keepsDiscarded{false};

// What happens on the way while another thread opens a connection to this display.
std::string opened;
std::function<void()> whileOpening;

bool asksAsTheLie(const Display* display) {
  const auto* const request = reinterpret_cast<const xReq*>(display->last_req);
  return request->reqType == extensionOpcode && request->data == lie.question;
}

} // namespace

// Xlib's own, which these stand before.
extern "C" {
__attribute__((visibility("default"))) int _XReply(Display* display, xReply* reply, int extra,
                                                   int discard) {
  static auto* const real = realFunction<int(Display*, xReply*, int, int)>("_XReply");
  const bool lies = lie.offset != 0 && asksAsTheLie(display);
  const int result = real(display, reply, extra, discard);
  if (gettid() != getpid() && whileOpening && DisplayString(display) == opened) {
    std::exchange(whileOpening, nullptr)();
  }
  if (lies && result != 0) {
    std::memcpy(reinterpret_cast<char*>(reply) + lie.offset, &lie.value, lie.size);
    ++told;
  }
  return result;
}

__attribute__((visibility("default"))) void _XEatDataWords(Display* display, unsigned long words) {
  static auto* const real = realFunction<void(Display*, unsigned long)>("_XEatDataWords");
  if (!keepsDiscarded) return real(display, words);
  discarded.push_back(words);
}

__attribute__((visibility("default"))) XExtCodes* XInitExtension(Display* display,
                                                                 const char* name) {
  static auto* const real = realFunction<XExtCodes*(Display*, const char*)>("XInitExtension");
  if (extensionFails && std::strcmp(name, kExtension) == 0) return nullptr;
  return real(display, name);
}
}

namespace {

const std::string kNoName = "E const char* getLocalDisplayName(zol::gl::TSD*): The local 3D "
                            "accelerated X display is not specified. Using default display "
                            "(:0.0).";
const std::string kUnopened =
    "E " + kGetLocalDisplayLabel + ": Cannot open connection to local display :0.0.";
const std::string kNoAppDisplay =
    "E " + kGetLocalDisplayLabel + ": appdpy not found for current thread";
const std::string kDestroyLabel = "void zol_glXDestroyContext(Display*, GLXContext)";

GLXContext unknownContext() {
  return reinterpret_cast<GLXContext>(0x1234);
}

class WithoutALocalDisplay : public Rig {
protected:
  // Nothing is paired yet, and no connection to the local display can be opened.
  void open() {
    set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0"); // which would open a connection at any time
    startServers();
    describeVisuals();
    begin();
    display_ = openDisplay();
    window_ = createWindow(display_, visuals_.doubled, 20, 10);
    int event = 0, error = 0;
    ASSERT_TRUE(XQueryExtension(display_, kExtension, &extensionOpcode, &event, &error));
  }
  static void failLocalDisplay() {
    outside::fail("XOpenDisplay", 2, 1); // after the thread's second connection
  }
  // A context is current; the program goes on with a connection that has no local display.
  Display* goOnElsewhere() {
    set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
    start();
    outside::holdDeliveries();
    display_ = openDisplay();
    window_ = createWindow(display_, visuals_.doubled, 64, 48);
    context_ = createContext(display_, visuals_.doubled);
    EXPECT_EQ(makeCurrent(display_, window_, context_), True);
    Display* const other = openDisplay();
    outside::fail("XOpenDisplay");
    forget();
    return other;
  }

  Display* display_ = nullptr;
  GLXContext context_ = nullptr;
  Window window_ = 0;
};

TEST_F(WithoutALocalDisplay, NoContextIsDestroyed) {
  open();
  const auto destroy = GL_OF(host(), glXDestroyContext);
  failLocalDisplay();
  destroy(display_, unknownContext());
  EXPECT_EQ(logged().back(), debugLine(kDestroyLabel, "no local display"));
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(WithoutALocalDisplay, NothingIsMadeCurrentForDrawingAndReading) {
  open();
  const auto makeContextCurrent = GL_OF(host(), glXMakeContextCurrent);
  failLocalDisplay();
  EXPECT_EQ(makeContextCurrent(display_, window_, window_, unknownContext()), False);
  EXPECT_EQ(logged().back(), debugLine(kMakeContextCurrentLabel, "no local display"));
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(WithoutALocalDisplay, NoStateIsCopied) {
  open();
  const auto copy = GL_OF(host(), glXCopyContext);
  failLocalDisplay();
  copy(display_, unknownContext(), unknownContext(), 1);
  EXPECT_EQ(logged().back(),
            debugLine("void zol_glXCopyContext(Display*, GLXContext, GLXContext, long unsigned "
                      "int)",
                      "no local display"));
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(WithoutALocalDisplay, NoContextIsDirect) {
  open();
  const auto isDirect = GL_OF(host(), glXIsDirect);
  failLocalDisplay();
  EXPECT_EQ(isDirect(display_, unknownContext()), False);
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(WithoutALocalDisplay, WhatIsCurrentStaysSo) {
  Display* const other = goOnElsewhere();
  EXPECT_EQ(makeCurrent(other, None, nullptr), False);
  EXPECT_EQ(logged().back(), debugLine(kMakeCurrentLabel, "no local display"));
  EXPECT_LINES(driverCalls(), {"glFlush()"}); // the window that it means to leave
}

TEST_F(WithoutALocalDisplay, NoFrameIsSwapped) {
  Display* const other = goOnElsewhere();
  swap(other, window_);
  EXPECT_EQ(logged().back(), debugLine(kSwapBuffersLabel, "No local display"));
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(WithoutALocalDisplay, NothingIsMadeCurrentForAContextThatIsUnknownEither) {
  start();
  display_ = openDisplay();
  window_ = createWindow(display_, visuals_.doubled, 64, 48);
  forget();
  EXPECT_EQ(makeCurrent(display_, window_, unknownContext()), False);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, "E __GLXFBConfigRec* getFBConfig(GLXContext): context not found."));
  EXPECT_EQ(lines.back(), debugLine(kMakeCurrentLabel, "failed for no drawable."));
  EXPECT_EQ(driverCalls(), Lines{});
}

// A thread that never named an application display: nobody can be asked for the local one's name.
TEST_F(WithoutALocalDisplay, OfAThreadWithoutAnApplicationDisplayTheFirstOneIsTried) {
  open();
  const auto destroy = GL_OF(host(), glXDestroyContext);
  outside::fail("XOpenDisplay");
  forget();
  destroy(nullptr, unknownContext());
  EXPECT_LINES(logged(), {debugLine(kDestroyLabel, "START"), kNoAppDisplay, kNoName, kUnopened,
                          debugLine(kDestroyLabel, "no local display")});
  EXPECT_EQ(outside::openedDisplays().back(), ":0.0");
  EXPECT_EQ(driverCalls(), Lines{});

  // That was no answer for the process: one that can ask finds the true one.
  EXPECT_NE(createContext(display_, visuals_.doubled), nullptr);
  EXPECT_EQ(outside::openedDisplays().back(), localName());
}

TEST_F(WithoutALocalDisplay, OfAThreadWithoutAnApplicationDisplayAConnectionOfItsOwnIsUsed) {
  start();
  display_ = openDisplay();
  const GLXContext context = createContext(display_, visuals_.doubled);
  const auto destroy = GL_OF(host(), glXDestroyContext);
  forget();
  std::thread([&] { destroy(nullptr, context); }).join();
  const Lines lines = loggedByOthers();
  EXPECT_LINES(Lines(lines.begin(), lines.begin() + 4),
               {debugLine(kDestroyLabel, "START"), kNoAppDisplay, kNoAppDisplay,
                debugLine(kDestroyLabel, "context " + hex(context) + " removed from the map.")});
  EXPECT_EQ(driverCallsOfOthers().back(), "glXDestroyContext(local, ctx1)");
}

// The application server knows no local display ---------------------------------------------------

class LocalDisplayName : public WithoutALocalDisplay {
protected:
  // The first local display is not there either.
  void expectTheFirstDisplayTried(const Lie& what) {
    open();
    outside::fail("XOpenDisplay", 2, 1);
    lie = what;
    EXPECT_EQ(createContext(display_, visuals_.doubled), nullptr);
    lie = {};
    EXPECT_EQ(told, 1);
    const Lines lines = logged();
    EXPECT_TRUE(hasLine(lines, kNoName));
    EXPECT_TRUE(hasLine(lines, kUnopened));
    EXPECT_EQ(outside::openedDisplays().back(), ":0.0");
    // Resolved once for the process.
    outside::fail("XOpenDisplay");
    EXPECT_EQ(createContext(display_, visuals_.doubled), nullptr);
    EXPECT_FALSE(hasLine(logged(), kNoName));
    EXPECT_EQ(outside::openedDisplays().back(), ":0.0");
  }
};

TEST_F(LocalDisplayName, ThatTheServerDoesNotTellIsTheFirst) {
  expectTheFirstDisplayTried({kGetGLDisplay, 1, 0, 1});
}

// The server leaves it to the environment.
TEST_F(LocalDisplayName, ThatIsEmptyIsTheEnvironments) {
  open();
  set("DISPLAY", localName());
  lie = {kGetGLDisplay, 8, 0, 4};
  EXPECT_NE(createContext(display_, visuals_.doubled), nullptr);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(outside::openedDisplays().back(), "(null)");
  const Lines lines = logged();
  EXPECT_FALSE(hasLine(lines, kNoName));
  EXPECT_TRUE(hasLine(lines, "I " + kGetLocalDisplayLabel +
                                 ": opened local display (null) mapped to " + address(display_)));
}

TEST_F(LocalDisplayName, ThatIsLongerThanWhatWasSentIsNone) {
  expectTheFirstDisplayTried({kGetGLDisplay, 8, 0x7ffffff0, 4});
}

TEST_F(LocalDisplayName, ThatIsLongerByOneWordThanWhatWasSentIsNone) {
  open();
  const std::uint32_t words = static_cast<std::uint32_t>(localName().size() + 3) / 4;
  outside::fail("XOpenDisplay", 2, 1);
  lie = {kGetGLDisplay, 8, words * 4 + 1, 4};
  EXPECT_EQ(createContext(display_, visuals_.doubled), nullptr);
  EXPECT_EQ(told, 1);
  EXPECT_TRUE(hasLine(logged(), kNoName));
}

// What a later server may say of a window beyond what is known today must not be taken for the next
// answer.
TEST_F(WithoutALocalDisplay, AnAnswerAboutAWindowIsReadToItsEnd) {
  open();
  const GLXContext context = createContext(display_, visuals_.doubled);
  lie = {kGetWindowInfo, 4, 3, 4}; // three words more
  keepsDiscarded = true;
  EXPECT_EQ(makeCurrent(display_, window_, context), True);
  keepsDiscarded = false;
  lie = {};
  EXPECT_EQ(told, 1);
  EXPECT_EQ(discarded, std::vector<unsigned long>{3});
}

// The second one begins while the first is still opening the connection for both.
TEST_F(WithoutALocalDisplay, TwoThreadsThatBeginAtOnceOpenOne) {
  open();
  const auto openedSoFar = [this] {
    const Lines names = outside::openedDisplays();
    return std::count(names.begin(), names.end(), localName());
  };
  const auto before = openedSoFar();
  std::atomic<pid_t> id{0};
  std::atomic<bool> done{false};
  std::thread second;
  opened = localName();
  whileOpening = [&] {
    second = std::thread([&] {
      id = gettid();
      EXPECT_NE(createContext(display_, visuals_.doubled), nullptr);
      done = true;
    });
    while (!done && (id == 0 || !waitsForLock(id)))
      std::this_thread::yield();
    EXPECT_FALSE(done);
  };
  std::thread([&] { EXPECT_NE(createContext(display_, visuals_.doubled), nullptr); }).join();
  second.join();
  EXPECT_EQ(openedSoFar(), before + 1);
}

// The other thread is still opening its connection when this one is done with its own.
TEST_F(WithoutALocalDisplay, TheSlowerOfTwoConnectionsIsClosedAgain) {
  open();
  failLocalDisplay();
  EXPECT_EQ(createContext(display_, visuals_.doubled), nullptr); // only pairs this thread
  std::promise<void> opening, done;
  opened = localName();
  whileOpening = [&] {
    opening.set_value();
    done.get_future().wait();
  };
  GLXContext others = nullptr;
  std::thread other([&] { others = createContext(display_, visuals_.doubled); });
  opening.get_future().wait();
  EXPECT_NE(createContext(display_, visuals_.doubled), nullptr);
  const int closed = outside::calls("XCloseDisplay");
  done.set_value();
  other.join();
  EXPECT_NE(others, nullptr);
  // The one to the local display and, at its end, the thread's to the application display.
  EXPECT_EQ(outside::calls("XCloseDisplay"), closed + 2);
}

// The application server's extension --------------------------------------------------------------

RIG_SCENARIO(createsAContextWithoutTheExtensionsCodes) {
  setenv("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0", 1);
  VendorHost host;
  if (host.enter() != 1) return 99;
  Display* const display = XOpenDisplay(nullptr);
  XVisualInfo visual{};
  visual.visualid = XVisualIDFromVisual(DefaultVisual(display, 0));
  extensionFails = true;
  GL_OF(host, glXCreateContext)(display, &visual, nullptr, True);
  return 98;
}

class ExtensionCodes : public Rig {};

TEST_F(ExtensionCodes, ThatAreNotToBeHadEndTheProcess) {
  startServers();
  describeVisuals();
  const ScenarioResult result = runScenario("createsAContextWithoutTheExtensionsCodes");
  EXPECT_EQ(result.exitStatus, 20);
  EXPECT_TRUE(hasLine(texts(LogFile(testDirectory(), result.process).all()),
                      "E " + kSetupAppDisplayLabel +
                          ": Could not initialized the ZOL X Extension. Please check that ZOL is "
                          "properly installed"));
}

} // namespace
