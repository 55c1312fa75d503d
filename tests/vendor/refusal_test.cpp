#include "rig/fixture.h"

#include <cstdlib>

using namespace zol::rig;

namespace {

const std::string kFind = "char* findSystemGLXVendor()";

Lines offLines() {
  return {"D " + kMainLabel + ": START", "I " + kMainLabel + ": " + kBanner,
          "D " + kMainLabel + ": Initiating denylist and extension checks",
          "I " + kMainLabel + ": ZOL-GL is OFF"};
}

class Refusal : public Rig {
protected:
  void expectUntouchedImports() {
    for (int slot = 0; slot < 9; ++slot) {
      EXPECT_EQ(host().slot(slot), VendorHost::slotAsGiven(slot)) << slot;
    }
  }
  void expectOff() {
    EXPECT_EQ(enter(), 0);
    EXPECT_TRUE(sameLines(offLines(), logged()));
    EXPECT_EQ(driverCalls(), Lines{});
    expectUntouchedImports();
  }
};

TEST_F(Refusal, OfAnotherMajorVersionOfTheInterface) {
  startServers();
  EXPECT_EQ(enter(2u << 16), 0);
  EXPECT_LINES(logged(), {"D " + kMainLabel + ": START", "I " + kMainLabel + ": " + kBanner,
                          "E " + kMainLabel + ": Unsupported glvnd ABI"});
  EXPECT_EQ(enter(5), 0);
  EXPECT_TRUE(hasLine(logged(), "E " + kMainLabel + ": Unsupported glvnd ABI"));
  EXPECT_EQ(outside::calls("XOpenDisplay"), 0);
  expectUntouchedImports();
  EXPECT_EQ(enter((1u << 16) | 3), 1);
}

TEST_F(Refusal, WithoutADisplay) {
  expectOff();
  set("DISPLAY", ":65000");
  expectOff();
}

TEST_F(Refusal, OfADisplayWithoutTheExtension) {
  set("DISPLAY", startPlainServer().name());
  expectOff();
}

TEST_F(Refusal, OfADisplayWithoutGLX) {
  set("DISPLAY", startApplicationServer(":65000", {"-extension", "GLX"}).name());
  expectOff();
  EXPECT_EQ(outside::calls("XCloseDisplay"), outside::calls("XOpenDisplay"));
}

TEST_F(Refusal, IsReconsideredAtTheNextCall) {
  expectOff();
  startServers();
  EXPECT_EQ(enter(), 1);
}

// No driver -----------------------------------------------------------------------------------

class NoDriver : public Refusal {
protected:
  void expectRefused(const Lines& search) {
    EXPECT_EQ(enter(), 0);
    Lines expected{"D " + kMainLabel + ": START", "I " + kMainLabel + ": " + kBanner,
                   "D " + kMainLabel + ": Initiating denylist and extension checks",
                   "D " + kMainLabel + ": Initiating glVND interface setup",
                   "D " + kMainLabel + ": Detecting local X server display vendor..."};
    expected.insert(expected.end(), search.begin(), search.end());
    expected.push_back("E " + kMainLabel + ": No supported glVND vendor found on local display");
    EXPECT_TRUE(sameLines(expected, logged()));
  }
};

TEST_F(NoDriver, WhenTheLocalDisplayIsAbsent) {
  set("DISPLAY", startApplicationServer(":65000").name());
  expectRefused({"D " + kFind + ": Searching on local 3D accelerated X display :65000...",
                 "E " + kFind + ": Could not open a connection to :65000"});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(NoDriver, WhenTheApplicationDisplayIsGoneByThen) {
  startServers();
  outside::fail("XOpenDisplay", 1, 1);
  expectRefused({"E " + kFind + ": Could not open Application display"});
}

TEST_F(NoDriver, WhenTheLocalDisplayHasNoGLX) {
  const auto& local = startPlainServer({"-extension", "GLX"});
  set("DISPLAY", startApplicationServer(local.name()).name());
  expectRefused(
      {"D " + kFind + ": Searching on local 3D accelerated X display " + local.name() + "...",
       "W char* queryXServerString(Display*, int, int): Could not get the GLX query "
       "server string",
       "E " + kFind + ": ERROR: glVND not supported on X display " + local.name()});
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_EQ(outside::calls("XCloseDisplay"), outside::calls("XOpenDisplay"));
}

TEST_F(NoDriver, WhenTheDriverDeclines) {
  recorder().setAbsent("__glx_Main");
  startServers();
  expectRefused(
      {"D " + kFind + ": Searching on local 3D accelerated X display " + localName() + "...",
       "D " + kFind +
           ": Attempting to load detected system glVND vendor library 'libGLX_mesa.so.0'...",
       "W " + kFind +
           ": System vendor 'libGLX_mesa.so.0' does not support local screen on the given display "
           "or incorrect ABI"});
  EXPECT_LINES(driverCalls(), {"__glx_Main(0x10000, exports, NULL, imports)"});
}

TEST_F(NoDriver, LeavesTheLibrarysOwnCallbacksInTheImports) {
  recorder().setAbsent("__glx_Main");
  startServers();
  ASSERT_EQ(enter(), 0);
  forget();
  const auto name = reinterpret_cast<const GLubyte*>("glXFoo");
  EXPECT_EQ(host().imports().isScreenSupported(nullptr, 7), True);
  EXPECT_EQ(host().imports().getDispatchAddress(name), nullptr);
  host().imports().setDispatchIndex(name, 1);
  EXPECT_EQ(host().imports().getProcAddress(name), nullptr);
  EXPECT_LINES(
      logged(),
      {"D void* __glXGLVNDGetDispatchAddress(const GLubyte*): Logging get dispatch address for "
       "glXFoo",
       "D void __glXGLVNDSetDispatchIndex(const GLubyte*, int): Logging set dispatch index for "
       "call glXFoo",
       "I void* glXGLVNDGetProcAddressInternal(const GLubyte*, bool): Requested glXFoo function "
       "address",
       "E void* glXGLVNDGetProcAddressInternal(const GLubyte*, bool): FATAL ERROR - no system "
       "glVND library was detected!"});
  for (const int slot : {4, 5, 6})
    EXPECT_EQ(host().slot(slot), nullptr);
  for (const int slot : {7, 8})
    EXPECT_EQ(host().slot(slot), VendorHost::slotAsGiven(slot));
}

// The set-up is tried once: a second call finds it done and takes part.
TEST_F(NoDriver, IsNotLookedForASecondTime) {
  recorder().setAbsent("__glx_Main");
  startServers();
  ASSERT_EQ(enter(), 0);
  forget();
  EXPECT_EQ(enter(), 1);
  EXPECT_LINES(logged(), {"D " + kMainLabel + ": START", "I " + kMainLabel + ": " + kBanner,
                          "D " + kMainLabel + ": Initiating denylist and extension checks",
                          "D " + kMainLabel + ": DONE"});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(NoDriver, IsLookedForOnTheFirstDisplayWhenTheServerNamesNone) {
  set("DISPLAY", startApplicationServer("").name());
  outside::fail("XOpenDisplay", 1, 2); // there may be such a display, of somebody else
  expectRefused({"W " + kFind +
                     ": The local 3D accelerated X display is not specified. Using default display "
                     "(:0.0).",
                 "D " + kFind + ": Searching on local 3D accelerated X display :0.0...",
                 "E " + kFind + ": Could not open a connection to :0.0"});
}

// Excluded programs ---------------------------------------------------------------------------

RIG_SCENARIO(asksToTakePart) {
  VendorHost host;
  const int takesPart = host.enter();
  std::printf("%d display connections", outside::calls("XOpenDisplay"));
  for (int slot = 0; slot < 9; ++slot) {
    if (host.slot(slot) != VendorHost::slotAsGiven(slot)) return 98;
  }
  return takesPart;
}

class ExcludedProgram : public Rig {
protected:
  // Runs without a display: a program that is not excluded goes on to look for one.
  void expectExcluded(bool excluded, const std::string& executable,
                      const std::map<std::string, std::string>& settings = {}) {
    SCOPED_TRACE(executable);
    ScenarioOptions options;
    options.executable = executable;
    options.environment = settings;
    const ScenarioResult result = runScenario("asksToTakePart", options);
    const std::string message = "ZOL-GL GLVND: " + result.path + " is excluded, ZOL-GL disabled.";
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.err, excluded ? "INFO: " + message + "\n" : "");
    EXPECT_EQ(result.out, excluded ? "0 display connections" : "1 display connections");
    Lines expected = offLines();
    if (excluded) expected.insert(expected.end() - 1, "I bool isExcluded(): " + message);
    EXPECT_TRUE(sameLines(expected, texts(LogFile(testDirectory(), result.process).all())));
  }
};

TEST_F(ExcludedProgram, IsAnySystemTool) {
  expectExcluded(true, "usr/bin/nvidia-settings");
  expectExcluded(true, "Xorg");
  expectExcluded(true, "usr/bin/X");
  expectExcluded(true, "zolagent");
}

TEST_F(ExcludedProgram, IsToldByTheEndOfItsPathAlone) {
  expectExcluded(true, "myXorg");
  expectExcluded(true, "the-zolagent");
  expectExcluded(false, "Xorg-7");
  expectExcluded(false, "nvidia-settings");
  expectExcluded(false, "X");
}

TEST_F(ExcludedProgram, IsAnyOfTheKnownBrowsers) {
  for (const char* browser : {"chrome", "nacl_helper", "chromium-browser", "chromium", "firefox"}) {
    expectExcluded(true, browser);
  }
  expectExcluded(false, "chrome-2");
}

TEST_F(ExcludedProgram, IsNoBrowserThatTheAllowlistNames) {
  expectExcluded(false, "firefox", {{"ZOL_GL_ALLOWLIST", "firefox"}});
  expectExcluded(false, "firefox", {{"ZOL_GL_ALLOWLIST", "chrome fox"}});
  expectExcluded(true, "firefox", {{"ZOL_GL_ALLOWLIST", "chrome"}});
}

TEST_F(ExcludedProgram, IsNoAllowedBrowserEvenWhenTheDenylistNamesIt) {
  expectExcluded(false, "firefox",
                 {{"ZOL_GL_ALLOWLIST", "firefox"}, {"ZOL_GL_DENYLIST", "firefox"}});
  expectExcluded(true, "firefox", {{"ZOL_GL_DENYLIST", "firefox"}});
}

TEST_F(ExcludedProgram, StaysOutWhateverTheAllowlistSaysWhenItIsNoBrowser) {
  expectExcluded(true, "zolagent", {{"ZOL_GL_ALLOWLIST", "zolagent"}});
  expectExcluded(true, "gears", {{"ZOL_GL_DENYLIST", "gears"}, {"ZOL_GL_ALLOWLIST", "gears"}});
}

TEST_F(ExcludedProgram, IsNamedByEitherOfTheTwoLists) {
  expectExcluded(true, "gears", {{"ZOL_GL_DENYLIST", "gears"}});
  expectExcluded(true, "gears", {{"ZOL_GL_BLACKLIST", "gears"}});
  expectExcluded(true, "gears", {{"ZOL_GL_BLACKLIST", "ears"}, {"ZOL_GL_DENYLIST", "other"}});
  expectExcluded(false, "gears", {{"ZOL_GL_BLACKLIST", "other"}, {"ZOL_GL_DENYLIST", "gear"}});
}

TEST_F(ExcludedProgram, IsFoundInAListOfMixedSeparators) {
  // Each separator once after another name than the first.
  const std::map<std::string, std::string> list{
      {"ZOL_GL_DENYLIST", "one two:three four\tfive\nsix"}};
  for (const char* name : {"one", "two", "three", "four", "five", "six"}) {
    expectExcluded(true, name, list);
  }
  expectExcluded(false, "seven", list);
}

} // namespace
