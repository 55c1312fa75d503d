#include "rig/fixture.h"
#include "rig/lock_probe.h"

#include <X11/Xatom.h>

#include <filesystem>
#include <fstream>

using namespace zol::rig;

namespace {

const std::string kUseXFont = "void zol_glXUseXFont(Font, int, int, int)";
const std::string kOwnFont = "-zol-test-medium-r-normal--8-80-75-75-c-80-iso8859-1";

// Writes a folder of fonts for a server: the one above, or none at all.
std::string fontFolder(bool withFont) {
  const std::string folder = testDirectory() + (withFont ? "/fonts" : "/no-fonts");
  std::filesystem::create_directory(folder);
  std::ofstream directory(folder + "/fonts.dir");
  if (!withFont) {
    directory << "0\n";
    return folder + "/";
  }
  directory << "1\ntest.bdf " << kOwnFont << "\n";
  std::ofstream font(folder + "/test.bdf");
  font << "STARTFONT 2.1\nFONT " << kOwnFont << "\nSIZE 8 75 75\nFONTBOUNDINGBOX 8 8 0 0\n"
       << "STARTPROPERTIES 2\nFONT_ASCENT 8\nFONT_DESCENT 0\nENDPROPERTIES\nCHARS 1\n"
       << "STARTCHAR A\nENCODING 65\nSWIDTH 1000 0\nDWIDTH 8 0\nBBX 8 8 0 0\nBITMAP\n"
       << "18\n24\n42\n42\n7E\n42\n42\n00\nENDCHAR\nENDFONT\n";
  return folder + "/";
}

void setFontPath(Display* display, std::vector<std::string> path) {
  std::vector<char*> elements;
  for (std::string& element : path)
    elements.push_back(element.data());
  XSetFontPath(display, elements.data(), static_cast<int>(elements.size()));
  XSync(display, False);
}

class UseXFont : public Rig {
protected:
  void startUnpaired() {
    start();
    display_ = openDisplay();
    font_ = XLoadFont(display_, "fixed");
    XSync(display_, False);
    useXFont_ = GL_OF(host(), glXUseXFont);
    queryVersion_ = GL_OF(host(), glXQueryVersion);
    countXErrors();
    forget();
  }
  void open() {
    startUnpaired();
    pair();
    local_ = XOpenDisplay(localServer().name().c_str());
    ASSERT_NE(local_, nullptr);
  }
  ~UseXFont() override {
    if (local_ != nullptr) XCloseDisplay(local_);
  }
  void TearDown() override {
    EXPECT_EQ(xErrors(), 0);
    Rig::TearDown();
  }
  void pair() {
    int first = 0, second = 0;
    queryVersion_(display_, &first, &second);
    forget();
  }
  std::string fontLine(Font font, const std::string& rest) {
    return debugLine(kUseXFont, "Font " + std::to_string(font) + ", " + rest);
  }
  // The font of the driver's last call, by its name on the local server.
  std::string usedFont() {
    const Lines calls = driverCalls();
    if (calls.empty()) return "none";
    const std::string call = calls.back();
    const Font font = std::stoul(call.substr(call.find('(') + 1), nullptr, 0);
    XFontStruct* const info = XQueryFont(local_, font);
    if (info == nullptr) return "an unknown font";
    unsigned long atom = None;
    XGetFontProperty(info, XA_FONT, &atom);
    char* const text = XGetAtomName(local_, atom);
    const std::string name(text);
    XFree(text);
    XFreeFontInfo(nullptr, info, 1);
    return name;
  }

  Display* display_ = nullptr;
  Display* local_ = nullptr; // the test's own connection
  Font font_ = 0;
  decltype(&::glXUseXFont) useXFont_ = nullptr;
  decltype(&::glXQueryVersion) queryVersion_ = nullptr;
  const std::string done_ = debugLine(kUseXFont, "DONE");
  const std::string fixed_ = "-Misc-Fixed-Medium-R-SemiCondensed--13-120-75-75-C-60-ISO8859-1";
};

TEST_F(UseXFont, TakesTheFontOfTheSameNameOnTheLocalServer) {
  open();
  useXFont_(font_, 65, 10, 100);
  EXPECT_LINES(logged(), {fontLine(font_, "[65, 10], base: 100"), done_});
  EXPECT_EQ(usedFont(), fixed_); // and it is still loaded
  EXPECT_EQ(outside::fontsAskedOn().front(), display_);
}

TEST_F(UseXFont, PassesTheRangeOn) {
  open();
  useXFont_(font_, 1, 255, -3);
  EXPECT_LINES(driverCalls(), {"glXUseXFont(0x<hex>, 1, 255, -3)"});
}

TEST_F(UseXFont, FallsBackToFixedForAFontThatTheLocalServerLacks) {
  open();
  setFontPath(display_, {fontFolder(true), "built-ins"});
  const Font own = XLoadFont(display_, kOwnFont.c_str());
  XSync(display_, False);
  ASSERT_EQ(xErrors(), 0) << "the application server does not take the test's font";
  useXFont_(own, 65, 1, 100);
  EXPECT_LINES(logged(), {fontLine(own, "[65, 1], base: 100"),
                          "W " + kUseXFont + ": failed to load font " + kOwnFont +
                              ". Falling back to 'fixed'",
                          done_});
  EXPECT_EQ(usedFont(), fixed_);
}

TEST_F(UseXFont, MakesNothingWithoutFixed) {
  open();
  setFontPath(local_, {fontFolder(false)});
  useXFont_(font_, 65, 1, 100);
  EXPECT_LINES(logged(),
               {fontLine(font_, "[65, 1], base: 100"),
                "W " + kUseXFont + ": failed to load font " + fixed_ + ". Falling back to 'fixed'",
                "W " + kUseXFont + ": failed to load even fixed font.", done_});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(UseXFont, OfAFontThatIsNoneFails) {
  open();
  testing::internal::CaptureStderr();
  useXFont_(0x777777, 65, 1, 100);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("glXUseXFont failed."), std::string::npos);
  EXPECT_LINES(logged(), {fontLine(0x777777, "[65, 1], base: 100"),
                          "E " + kUseXFont + ": glXUseXFont failed."});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(UseXFont, OfAFontWithoutANameFails) {
  open();
  outside::fail("font properties");
  useXFont_(font_, 65, 1, 100);
  outside::fail("XGetAtomName");
  useXFont_(font_, 65, 1, 100);
  EXPECT_LINES(logged(), {fontLine(font_, "[65, 1], base: 100"),
                          "W " + kUseXFont + ": Could not get fontname.",
                          fontLine(font_, "[65, 1], base: 100"),
                          "W " + kUseXFont + ": Could not get fontname."});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(UseXFont, UsesTheLocalDisplayUnderItsMutex) {
  open();
  const auto use = [this] { useXFont_(font_, 65, 1, 100); };
  EXPECT_UNLOCKED(host(), display_, "XQueryFont", use());
  EXPECT_UNLOCKED(host(), display_, "XGetAtomName", use());
  EXPECT_LOCKED(host(), display_, "XLoadQueryFont", use());
  EXPECT_LOCKED(host(), display_, "glXUseXFont", use());
}

// The connection that is asked -----------------------------------------------------------------

TEST_F(UseXFont, AsksOnTheProgramsConnectionWhateverElseIsSet) {
  set("ZOL_GL_USEXFONT_MODE", "7");
  open();
  useXFont_(font_, 65, 1, 100);
  EXPECT_EQ(outside::fontsAskedOn(), std::vector<Display*>{display_});
  EXPECT_EQ(logged().back(), done_);
}

TEST_F(UseXFont, MayAskOnTheSecondConnection) {
  set("ZOL_GL_USEXFONT_MODE", "1");
  open();
  const int opened = outside::calls("XOpenDisplay");
  useXFont_(font_, 65, 1, 100);
  ASSERT_EQ(outside::fontsAskedOn().size(), 1u);
  Display* const asked = outside::fontsAskedOn()[0];
  EXPECT_NE(asked, display_);
  EXPECT_STREQ(XDisplayString(asked), appServer().name().c_str());
  EXPECT_EQ(outside::calls("XOpenDisplay"), opened);
  EXPECT_EQ(usedFont(), fixed_);
}

TEST_F(UseXFont, MayAskOnAConnectionOfItsOwn) {
  set("ZOL_GL_USEXFONT_MODE", "2");
  open();
  const auto opened = outside::openedDisplays();
  const int closed = outside::calls("XCloseDisplay");
  useXFont_(font_, 65, 1, 100);
  ASSERT_EQ(outside::openedDisplays().size(), opened.size() + 1);
  EXPECT_EQ(outside::openedDisplays().back(), XDisplayString(display_));
  EXPECT_EQ(outside::calls("XCloseDisplay"), closed + 1);
  ASSERT_EQ(outside::fontsAskedOn().size(), 1u);
  EXPECT_NE(outside::fontsAskedOn()[0], display_);
  EXPECT_EQ(usedFont(), fixed_);
}

TEST_F(UseXFont, ClosesAConnectionOfItsOwnWhenItFails) {
  set("ZOL_GL_USEXFONT_MODE", "2");
  open();
  const int closed = outside::calls("XCloseDisplay");
  outside::fail("XQueryFont");
  useXFont_(font_, 65, 1, 100);
  EXPECT_EQ(outside::calls("XCloseDisplay"), closed + 1);
  outside::fail("XGetAtomName");
  useXFont_(font_, 65, 1, 100);
  EXPECT_EQ(outside::calls("XCloseDisplay"), closed + 2);
  setFontPath(local_, {fontFolder(false)});
  useXFont_(font_, 65, 1, 100);
  EXPECT_EQ(outside::calls("XCloseDisplay"), closed + 3);
  outside::fail("XOpenDisplay"); // no connection at all
  forget();
  useXFont_(font_, 65, 1, 100);
  EXPECT_LINES(logged(), {fontLine(font_, "[65, 1], base: 100")});
  EXPECT_EQ(outside::calls("XCloseDisplay"), closed + 3);
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(UseXFont, MayDoNothing) {
  set("ZOL_GL_USEXFONT_MODE", "3");
  open();
  useXFont_(font_, 65, 1, 100);
  EXPECT_LINES(logged(), {fontLine(font_, "[65, 1], base: 100")});
  EXPECT_EQ(outside::fontsAskedOn(), std::vector<Display*>{});
  EXPECT_EQ(driverCalls(), Lines{});
}

// Without displays -----------------------------------------------------------------------------

class UseXFontUnpaired : public UseXFont, public testing::WithParamInterface<const char*> {};

TEST_P(UseXFontUnpaired, DoesNothing) {
  set("ZOL_GL_USEXFONT_MODE", GetParam());
  startUnpaired();
  useXFont_(font_, 65, 1, 100);
  EXPECT_LINES(logged(), {fontLine(font_, "[65, 1], base: 100")});
  EXPECT_EQ(outside::fontsAskedOn(), std::vector<Display*>{});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_P(UseXFontUnpaired, DoesNothingWithoutALocalDisplayEither) {
  set("ZOL_GL_USEXFONT_MODE", GetParam());
  startUnpaired();
  outside::fail("XOpenDisplay", 1000, 1); // the thread's second connection is had
  pair();
  const bool opens = std::string(GetParam()) == "2";
  outside::fail("XOpenDisplay", 1000, opens ? 1 : 0);
  const int closed = outside::calls("XCloseDisplay");
  useXFont_(font_, 65, 1, 100);
  EXPECT_LINES(logged(),
               {fontLine(font_, "[65, 1], base: 100"),
                "E " + kGetLocalDisplayLabel + ": Cannot open connection to local display <any>."});
  EXPECT_EQ(outside::calls("XCloseDisplay"), closed + opens);
  EXPECT_EQ(outside::fontsAskedOn(), std::vector<Display*>{});
  EXPECT_EQ(driverCalls(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Modes, UseXFontUnpaired, testing::Values("0", "1", "2"));

} // namespace
