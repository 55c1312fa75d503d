#include "frame/frame_rig.h"
#include "rig/local_objects.h"
#include "rig/lock_probe.h"

using namespace zol::rig;

namespace {

constexpr int kFrontLeft = 0x20DE; // GLX_FRONT_LEFT_EXT, 8414

const std::string kBind = "void zol_glXBindTexImageEXT(Display*, GLXDrawable, int, const int*)";
const std::string kRelease = "void zol_glXReleaseTexImageEXT(Display*, GLXDrawable, int)";

// A GLX pixmap of 6 by 4, and a window that is current.
class TextureFromPixmap : public FrameRig {
protected:
  void SetUp() override {
    open();
    bind_ = GL_OF(host(), glXBindTexImageEXT);
    release_ = GL_OF(host(), glXReleaseTexImageEXT);
    pixmap_ = XCreatePixmap(display_, window_, 6, 4, 24);
    forget();
    drawable_ = GL_OF(host(), glXCreatePixmap)(display_, configs_.doubled, pixmap_, nullptr);
    localPixmap_ = argument(driverCalls().back(), 2);
    local_ = XOpenDisplay(localServer().name().c_str());
    ASSERT_NE(local_, nullptr);
    forget();
  }
  ~TextureFromPixmap() override {
    if (local_ != nullptr) XCloseDisplay(local_);
  }

  void fillAppPixmap(unsigned long colour) { fillLocal(display_, pixmap_, colour); }
  std::vector<std::uint32_t> localPixels() { return pixels(local_, localPixmap_, 6, 4); }
  static std::vector<std::uint32_t> full(std::uint32_t colour) {
    return std::vector<std::uint32_t>(24, colour);
  }

  Pixmap pixmap_ = 0;
  GLXPixmap drawable_ = 0;
  XID localPixmap_ = 0;
  Display* local_ = nullptr; // the test's own connection
  decltype(&::glXBindTexImageEXT) bind_ = nullptr;
  decltype(&::glXReleaseTexImageEXT) release_ = nullptr;
};

TEST_F(TextureFromPixmap, HasThePixmapsContentsAtEachBind) {
  std::vector<std::uint32_t> atTheBind;
  recorder().setHook("glXBindTexImageEXT", [&] { atTheBind = localPixels(); });
  for (const std::uint32_t colour : {0x123456u, 0xfedcbau}) {
    fillAppPixmap(colour);
    const int images = outside::calls("XGetImage");
    const int uploads = outside::calls("XPutImage");
    const int contexts = outside::calls("XCreateGC");
    const int attributes[] = {0x8000, 1, 0};
    bind_(display_, drawable_, kFrontLeft, attributes);
    EXPECT_LINES(logged(), {debugLine(kBind, "START"), debugLine(kBind, "Drawable ldi: <ptr>")});
    EXPECT_LINES(driverCalls(), {"glXBindTexImageEXT(local, glxpixmap1, 8414, {0x8000=1, 0})"});
    EXPECT_EQ(atTheBind, full(colour)); // the upload is complete before the driver is asked
    // The program's pixmap, then the local one for the round trip; the third is the test's own.
    EXPECT_EQ(outside::calls("XGetImage"), images + 3);
    EXPECT_EQ(outside::calls("XPutImage"), uploads + 1);
    EXPECT_EQ(outside::calls("XCreateGC"), contexts + 1);
  }
}

TEST_F(TextureFromPixmap, OfNoDrawableIsBoundToNone) {
  bind_(display_, None, kFrontLeft, nullptr);
  EXPECT_LINES(logged(), {debugLine(kBind, "START")});
  release_(display_, None, kFrontLeft);
  EXPECT_LINES(logged(), {debugLine(kRelease, "START")});
  EXPECT_LINES(driverCalls(), {"glXBindTexImageEXT(local, 0, 8414, NULL)",
                               "glXReleaseTexImageEXT(local, 0, 8414)"});
}

TEST_F(TextureFromPixmap, OfAPbufferIsBoundToNone) {
  const GLXPbuffer pbuffer = GL_OF(host(), glXCreatePbuffer)(display_, configs_.doubled, nullptr);
  forget();
  bind_(display_, pbuffer, kFrontLeft, nullptr);
  EXPECT_LINES(logged(), {debugLine(kBind, "START"), debugLine(kBind, "Drawable ldi: <ptr>")});
  EXPECT_LINES(driverCalls(), {"glXBindTexImageEXT(local, 0, 8414, NULL)"});
}

TEST_F(TextureFromPixmap, WithoutAnImageIsBoundToNone) {
  fillAppPixmap(0x123456);
  const int uploads = outside::calls("XPutImage");
  outside::fail("XGetImage");
  bind_(display_, drawable_, kFrontLeft, nullptr);
  outside::fail("XCreateGC");
  bind_(display_, drawable_, kFrontLeft, nullptr);
  EXPECT_LINES(logged(), {debugLine(kBind, "START"), debugLine(kBind, "Drawable ldi: <ptr>"),
                          debugLine(kBind, "START"), debugLine(kBind, "Drawable ldi: <ptr>")});
  EXPECT_LINES(driverCalls(), {"glXBindTexImageEXT(local, 0, 8414, NULL)",
                               "glXBindTexImageEXT(local, 0, 8414, NULL)"});
  EXPECT_EQ(outside::calls("XPutImage"), uploads);
  EXPECT_NE(localPixels(), full(0x123456));
}

TEST_F(TextureFromPixmap, IsReleasedOnTheLocalDisplay) {
  release_(display_, drawable_, kFrontLeft);
  EXPECT_LINES(logged(), {debugLine(kRelease, "START")});
  release_(display_, window_, kFrontLeft); // whatever the drawable is
  EXPECT_LINES(logged(), {debugLine(kRelease, "START")});
  release_(display_, 0x777777, kFrontLeft);
  EXPECT_LINES(logged(),
               {debugLine(kRelease, "START"), debugLine(kRelease, "local drawable not found")});
  EXPECT_LINES(driverCalls(), {"glXReleaseTexImageEXT(local, glxpixmap1, 8414)",
                               "glXReleaseTexImageEXT(local, pbuffer2, 8414)",
                               "glXReleaseTexImageEXT(local, 0, 8414)"});
}

TEST_F(TextureFromPixmap, WithoutALocalDisplayIsNobodys) {
  bind_(nullptr, drawable_, kFrontLeft, nullptr);
  release_(nullptr, drawable_, kFrontLeft);
  EXPECT_LINES(logged(), {debugLine(kBind, "START"), debugLine(kRelease, "START")});
  Display* const other = openDisplay(); // one that no local display belongs to yet
  outside::fail("XOpenDisplay", 1000);
  bind_(other, drawable_, kFrontLeft, nullptr);
  release_(other, drawable_, kFrontLeft);
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(TextureFromPixmap, IsBoundAndReleasedUnderTheLocalDisplaysMutex) {
  for (const char* const step : {"XGetImage", "XCreateGC", "XPutImage", "glXBindTexImageEXT"})
    EXPECT_LOCKED(host(), display_, step, bind_(display_, drawable_, kFrontLeft, nullptr));
  EXPECT_LOCKED(host(), display_, "glXReleaseTexImageEXT",
                release_(display_, drawable_, kFrontLeft));
}

} // namespace
