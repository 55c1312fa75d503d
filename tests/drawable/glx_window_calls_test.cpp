#include "rig/lock_probe.h"
#include "rig/odd_configs.h"

#include <thread>

using namespace zol::rig;

namespace {

const std::string kCreate =
    "GLXWindow zol_glXCreateWindow(Display*, GLXFBConfig, Window, const int*)";
const std::string kDestroy = "void zol_glXDestroyWindow(Display*, GLXWindow)";
const std::string kQuery = "void zol_glXQueryDrawable(Display*, GLXDrawable, int, unsigned int*)";

class GLXWindows : public OddConfigsRig {
protected:
  void findFunctions() override {
    window_ = createWindow(display_, visuals_.doubled, 5, 48);
    create_ = GL_OF(host(), glXCreateWindow);
    destroy_ = GL_OF(host(), glXDestroyWindow);
    query_ = GL_OF(host(), glXQueryDrawable);
  }
  unsigned queried(Display* display, GLXDrawable drawable, int attribute) {
    unsigned value = 5;
    query_(display, drawable, attribute, &value);
    return value;
  }

  Window window_ = 0;
  decltype(&::glXCreateWindow) create_ = nullptr;
  decltype(&::glXDestroyWindow) destroy_ = nullptr;
  decltype(&::glXQueryDrawable) query_ = nullptr;
};

TEST_F(GLXWindows, AreTheWindowsThemselves) {
  open();
  const int attributes[] = {GLX_WIDTH, 1, 0};
  EXPECT_EQ(create_(display_, configs_.doubled, window_, attributes), window_);
  EXPECT_EQ(create_(display_, stranger_, window_, nullptr), window_);
  EXPECT_EQ(create_(display_, nullptr, 0x777777, nullptr), 0x777777u);
  EXPECT_LINES(logged(), {debugLine(kCreate, "START"), debugLine(kCreate, "START"),
                          debugLine(kCreate, "START")});
  EXPECT_EQ(driverCalls(), Lines{}); // the record is made when the window is made current
}

TEST_F(GLXWindows, PairTheThreadWithItsDisplay) {
  prepare();
  EXPECT_EQ(create_(display_, configs_.doubled, window_, nullptr), window_);
  const Lines lines = logged();
  EXPECT_EQ(lines[0], debugLine(kCreate, "START"));
  EXPECT_EQ(lines[1], debugLine(kSetupAppDisplayLabel, "setting TSD appdpy " + address(display_)));
  std::thread([&] { destroy_(display_, window_); }).join();
  EXPECT_TRUE(hasLine(loggedByOthers(),
                      debugLine(kSetupAppDisplayLabel, "setting TSD appdpy " + address(display_))));
}

TEST_F(GLXWindows, OfADisplayThatCannotBeSetUpAreNone) {
  prepare();
  EXPECT_EQ(create_(nullptr, configs_.doubled, window_, nullptr), None);
  EXPECT_LINES(logged(), {debugLine(kCreate, "START")});
  outside::fail("XOpenDisplay", 1000);
  EXPECT_EQ(create_(display_, configs_.doubled, window_, nullptr), None);
}

TEST_F(GLXWindows, LeaveTheWindowsRecordWhenTheyEnd) {
  open();
  ASSERT_EQ(makeCurrent(display_, create_(display_, configs_.doubled, window_, nullptr), context_),
            True);
  EXPECT_EQ(driverCalls().back(), "glXMakeCurrent(local, pbuffer2, ctx1)");
  forget();
  destroy_(display_, window_);
  EXPECT_LINES(logged(), {debugLine(kDestroy, "START")});
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_EQ(GL_OF(host(), glXGetCurrentDrawable)(), window_);
  EXPECT_EQ(recorder().livingPbuffers(), 2);
}

// Queries --------------------------------------------------------------------------------------

TEST_F(GLXWindows, AreAskedOfTheApplicationDisplayBeforeTheyAreUsed) {
  open();
  recorder().nameXid(window_, "window");
  create_(display_, configs_.doubled, window_, nullptr);
  forget();
  recorder().setAnswer("glXQueryDrawable", 0, {640});
  EXPECT_EQ(queried(display_, window_, GLX_WIDTH), 640u);
  EXPECT_LINES(logged(), {debugLine(kQuery, "START"), debugLine(kQuery, "querying GLX_WIDTH")});
  EXPECT_LINES(driverCalls(), {"glXQueryDrawable(app, window, GLX_WIDTH, &)"});
  unsigned value = 0;
  EXPECT_UNLOCKED(host(), display_, "glXQueryDrawable",
                  query_(display_, window_, GLX_WIDTH, &value));
}

TEST_F(GLXWindows, AreAnsweredWithTheirPbuffersWhenTheyAreUsed) {
  open();
  ASSERT_EQ(makeCurrent(display_, window_, context_), True);
  forget();
  recorder().setAnswer("glXQueryDrawable", 0, {10});
  const std::pair<int, std::string> attributes[] = {
      {GLX_FBCONFIG_ID, "querying GLX_FBCONFIG_ID"},
      {GLX_PRESERVED_CONTENTS, "querying GLX_PRESERVED_CONTENTS"},
      {GLX_LARGEST_PBUFFER, "querying GLX_LARGEST_PBUFFER"},
      {GLX_WIDTH, "querying GLX_WIDTH"},
      {GLX_HEIGHT, "querying GLX_HEIGHT"},
      {GLX_EVENT_MASK, "querying 32799"},
      {0x20F4, "querying 8436"}};
  for (const auto& [attribute, line] : attributes) {
    EXPECT_EQ(queried(display_, window_, attribute), 10u);
    EXPECT_LINES(logged(), {debugLine(kQuery, "START"), debugLine(kQuery, line)});
  }
  EXPECT_LINES(driverCalls(), {"glXQueryDrawable(local, pbuffer2, GLX_FBCONFIG_ID, &)",
                               "glXQueryDrawable(local, pbuffer2, GLX_PRESERVED_CONTENTS, &)",
                               "glXQueryDrawable(local, pbuffer2, GLX_LARGEST_PBUFFER, &)",
                               "glXQueryDrawable(local, pbuffer2, GLX_WIDTH, &)",
                               "glXQueryDrawable(local, pbuffer2, GLX_HEIGHT, &)",
                               "glXQueryDrawable(local, pbuffer2, 32799, &)",
                               "glXQueryDrawable(local, pbuffer2, 8436, &)"});
  // The narrow window has a pbuffer of the smallest size.
  int width = 0, height = 0;
  ASSERT_TRUE(recorder().pbufferSize(0x5a000002, &width, &height));
  EXPECT_EQ(width, 10);
  EXPECT_EQ(height, 48);
  unsigned value = 0;
  EXPECT_LOCKED(host(), display_, "glXQueryDrawable", query_(display_, window_, GLX_WIDTH, &value));
}

TEST_F(GLXWindows, OtherDrawablesAreAskedOnTheLocalDisplay) {
  open();
  const Pixmap pixmap = XCreatePixmap(display_, window_, 8, 8, 24);
  const GLXPixmap glxPixmap =
      GL_OF(host(), glXCreatePixmap)(display_, configs_.doubled, pixmap, nullptr);
  const GLXPbuffer pbuffer = GL_OF(host(), glXCreatePbuffer)(display_, configs_.doubled, nullptr);
  forget();
  queried(display_, glxPixmap, GLX_HEIGHT);
  queried(display_, pbuffer, GLX_HEIGHT);
  EXPECT_LINES(driverCalls(), {"glXQueryDrawable(local, glxpixmap1, GLX_HEIGHT, &)",
                               "glXQueryDrawable(local, pbuffer1, GLX_HEIGHT, &)"});
}

TEST_F(GLXWindows, AreZeroWithoutADisplay) {
  prepare();
  EXPECT_EQ(queried(nullptr, window_, GLX_WIDTH), 0u);
  EXPECT_LINES(logged(), {debugLine(kQuery, "START")});
  outside::fail("XOpenDisplay", 1000);
  EXPECT_EQ(queried(display_, window_, GLX_WIDTH), 0u);
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(GLXWindows, AreZeroWithoutALocalDisplay) {
  open();
  ASSERT_EQ(makeCurrent(display_, window_, context_), True);
  Display* const other = openDisplay(); // one that no local display belongs to yet
  forget();
  outside::fail("XOpenDisplay", 1000);
  EXPECT_EQ(queried(other, window_, GLX_WIDTH), 0u);
  EXPECT_EQ(driverCalls(), Lines{});
  outside::fail("XOpenDisplay", 0);
}

} // namespace
