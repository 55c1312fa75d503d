#include "rig/odd_configs.h"

#include <stdexcept>
#include <thread>

namespace zol::rig {
namespace {

const std::string kGetLVI =
    "zol::gl::LocalVisualInfo* _getLVI(Display*, GLXFBConfig, zol::gl::TSD*)";

GLXFBConfig addConfig(VisualID visual, int id, bool fitsTheFirstVisual) {
  return recorder().addConfig({visual,
                               {{GLX_FBCONFIG_ID, id},
                                {GLX_RENDER_TYPE, GLX_RGBA_BIT},
                                {GLX_BUFFER_SIZE, 24},
                                {GLX_DOUBLEBUFFER, fitsTheFirstVisual},
                                {GLX_STEREO, !fitsTheFirstVisual}, // asked for by no visual
                                {GLX_RED_SIZE, 8},
                                {GLX_GREEN_SIZE, 8},
                                {GLX_BLUE_SIZE, 8},
                                {GLX_ALPHA_SIZE, 0},
                                {GLX_DEPTH_SIZE, 24},
                                {GLX_STENCIL_SIZE, 8},
                                {GLX_CONFIG_CAVEAT, GLX_NONE},
                                {GLX_TRANSPARENT_TYPE, GLX_NONE},
                                {GLX_SAMPLES, 0}}});
}

} // namespace

void OddConfigsRig::prepare() {
  startServers();
  describeVisuals();
  const std::vector<VisualID> free = freeLocalVisuals();
  if (free.size() < 2) throw std::runtime_error("too few visuals on the local display");
  candidateVisual_ = free[0];
  strangerVisual_ = free[1];
  candidate_ = addConfig(candidateVisual_, 0x104, true);
  stranger_ = addConfig(strangerVisual_, 0x105, false);
  blind_ = addConfig(0, 0x106, false);
  begin();
  display_ = openDisplay();
  findFunctions();
  forget();
}

void OddConfigsRig::open() {
  prepare();
  outside::holdDeliveries();
  context_ = createContext(display_, visuals_.doubled);
  forget();
}

// Those of depth 24 that no configuration has so far.
std::vector<VisualID> OddConfigsRig::freeLocalVisuals() {
  Display* const local = XOpenDisplay(localServer().name().c_str());
  if (local == nullptr) throw std::runtime_error("the local display does not answer");
  XVisualInfo wanted{};
  wanted.depth = 24;
  wanted.c_class = TrueColor;
  int count = 0;
  XVisualInfo* const found =
      XGetVisualInfo(local, VisualDepthMask | VisualClassMask, &wanted, &count);
  std::vector<VisualID> result;
  for (int i = 2; i < count; ++i)
    result.push_back(found[i].visualid);
  if (found != nullptr) XFree(found);
  XCloseDisplay(local);
  return result;
}

Lines OddConfigsRig::lookUpCalls(const std::string& config) {
  const std::string call = "glXGetFBConfigAttrib(local, " + config;
  return {call + ", GLX_VISUAL_ID, &)", call + ", 4, &)", call + ", 11, &)"};
}

std::string OddConfigsRig::foundLine(GLXFBConfig config) {
  return debugLine(kGetLVI, "LVI found for fbconfig " + address(config) + " (local visual <hex>).");
}

Lines OddConfigsRig::candidateLines(GLXFBConfig config) {
  return {debugLine(kGetLVI, "LVI not found for fbconfig " + address(config) +
                                 " (local visual <hex>). Trying another way..."),
          debugLine(kGetLVI, "LVI found <ptr> - app visual: 0x<hex>, local visual: 0x<hex>")};
}

Lines OddConfigsRig::notFoundLines(GLXFBConfig config) {
  return {debugLine(kGetLVI, "LVI not found for fbconfig " + address(config) +
                                 " (local visual <hex>). Trying another way..."),
          debugLine(kGetLVI, "LVI for fbconfig " + address(config) + " not found (again)")};
}

void OddConfigsRig::onCutOffThread(const std::function<void()>& work) {
  std::thread([&] {
    outside::fail("XOpenDisplay", 1000);
    work();
    outside::fail("XOpenDisplay", 0);
  }).join();
}

bool OddConfigsRig::isOfAnotherConfig(GLXDrawable drawable) {
  forget();
  EXPECT_EQ(makeCurrent(display_, drawable, context_), True);
  return hasLine(logged(), kRecordKeptLine);
}

} // namespace zol::rig
