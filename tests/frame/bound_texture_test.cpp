#include "frame/frame_rig.h"

using namespace zol::rig;

namespace {

constexpr int kFrontLeft = 0x20DE; // GLX_FRONT_LEFT_EXT

class BoundTexture : public FrameRig {
protected:
  void openAndWatch() {
    open();
    bind_ = GL_OF(host(), glXBindTexImageEXT);
    countXErrors();
    forget();
  }

  decltype(&::glXBindTexImageEXT) bind_ = nullptr;
  const std::string label_ = "void zol_glXBindTexImageEXT(Display*, GLXDrawable, int, const int*)";
};

TEST_F(BoundTexture, OfAPixmapIsItsLocalCounterpart) {
  openAndWatch();
  const Pixmap pixmap = XCreatePixmap(display_, window_, 8, 6, 24);
  const GLXPixmap drawable =
      GL_OF(host(), glXCreatePixmap)(display_, configs_.doubled, pixmap, nullptr);
  forget();
  bind_(display_, drawable, kFrontLeft, nullptr);
  EXPECT_LINES(driverCalls(), {"glXBindTexImageEXT(local, glxpixmap1, 8414, NULL)"});
  XSync(display_, False);
  EXPECT_EQ(xErrors(), 0);
}

// A window has no pixmap on either display, and so no image to ask for.
TEST_F(BoundTexture, OfAWindowIsNothing) {
  openAndWatch();
  bind_(display_, window_, kFrontLeft, nullptr);
  EXPECT_LINES(logged(), {debugLine(label_, "START"), debugLine(label_, "Drawable ldi: <ptr>")});
  EXPECT_LINES(driverCalls(), {"glXBindTexImageEXT(local, 0, 8414, NULL)"});
  XSync(display_, False);
  EXPECT_EQ(xErrors(), 0);
}

TEST_F(BoundTexture, OfAnUnknownDrawableIsNothing) {
  openAndWatch();
  bind_(display_, 0x7777, kFrontLeft, nullptr);
  EXPECT_LINES(logged(),
               {debugLine(label_, "START"), debugLine(label_, "local drawable not found")});
  EXPECT_LINES(driverCalls(), {"glXBindTexImageEXT(local, 0, 8414, NULL)"});
  EXPECT_EQ(xErrors(), 0);
}

// Programs find the functions all the same: they are the library's.
TEST_F(BoundTexture, OfADriverThatHasNoneIsNothing) {
  recorder().setAbsent("glXBindTexImageEXT");
  recorder().setAbsent("glXReleaseTexImageEXT");
  openAndWatch();
  bind_(display_, window_, kFrontLeft, nullptr);
  GL_OF(host(), glXReleaseTexImageEXT)(display_, window_, kFrontLeft);
  EXPECT_EQ(driverCalls(), Lines{});
}

} // namespace
