#pragma once

#include "rig/log_file.h"
#include "rig/outside.h"
#include "rig/recorder.h"
#include "rig/scenario.h"
#include "rig/servers.h"
#include "rig/vendor_host.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace zol::rig {

// "%x" and "%lx" and "%p" as the log writes them.
std::string hex(const void* pointer); // the low 32 bits
std::string hex(unsigned long value);
std::string address(const void* pointer);

// What the library says that it was built with.
inline const std::string kBanner =
    "YRSO ZOL-GL <any> (" + std::to_string(8 * sizeof(void*)) + " bit version)";

// The function labels that more than one test file meets.
inline const std::string kMainLabel =
    "int __glx_Main(uint32_t, const __GLXapiExports*, __GLXvendorInfo*, __GLXapiImports*)";
inline const std::string kSetupAppDisplayLabel = "bool _setupAppDisplay(Display*, zol::gl::TSD*)";
inline const std::string kGetLocalDisplayLabel = "Display* _getLocalDisplay(zol::gl::TSD*)";
inline const std::string kAddToContextMapLabel =
    "void addToContextMap(Display*, GLXContext, zol::gl::LocalVisualInfo*, GLXFBConfig)";
inline const std::string kMakeCurrentLabel =
    "int zol_glXMakeCurrent(Display*, GLXDrawable, GLXContext)";
inline const std::string kMakeContextCurrentLabel =
    "int zol_glXMakeContextCurrent(Display*, GLXDrawable, GLXDrawable, GLXContext)";
inline const std::string kSetCurrentLabel =
    "void setCurrent(zol::gl::TSD*, GLXContext, const zol::gl::DrawableRef&, const "
    "zol::gl::DrawableRef&)";
inline const std::string kGetDrawableInfoLabel =
    "zol::gl::DrawableRef getDrawableInfo(Display*, Window, GLXFBConfig, zol::gl::TSD*)";
inline const std::string kClearDeletedLabel = "void clearDeletedDrawables()";
inline const std::string kUpdateWindowInfoLabel =
    "bool zol::gl::DrawableInfo::updateWindowInfo(bool*, bool*, bool*)";
inline const std::string kUpdatePbufferLabel =
    "void zol::gl::DrawableInfo::updateOffscreenPbuffer()";
inline const std::string kCheckForResizeLabel = "void zol::gl::DrawableInfo::checkForResize()";
inline const std::string kDestructorLabel = "virtual zol::gl::DrawableInfo::~DrawableInfo()";
inline const std::string kFinishOrFlushLabel = "void finishOrFlush(PFVV, zol::gl::TSD*)";
inline const std::string kSwapBuffersLabel = "void zol_glXSwapBuffers(Display*, GLXDrawable)";
inline const std::string kReadbackLabel = "void zol::gl::DrawableInfo::readback()";
inline const std::string kSetupReadbackLabel =
    "bool zol::gl::DrawableInfo::setupReadbackContexts()";
inline const std::string kGPUReadbackLabel =
    "bool zol::gl::ReadbackContext::performGPUReadback(int, int)";

// A record at DEBUG as tests write it.
inline std::string debugLine(const std::string& label, const std::string& message) {
  return "D " + label + ": " + message;
}

// A record of another configuration stays where there is no window to make it anew for.
inline const std::string kRecordKeptLine =
    debugLine(kGetDrawableInfoLabel, "Cannot invalidate fbconfig if the drawable is not valid");
// How the end of a record begins on a thread that has nothing current.
inline const Lines kUnboundEndLines = {
    debugLine(kDestructorLabel, "Destroying DrawableInfo <ptr>"),
    debugLine(kDestructorLabel, "No GLXContext bound while destroying pbuffer/pixmap"),
    debugLine(kDestructorLabel, "No GLXDrawable bound while destroying pbuffer/pixmap")};

inline Lines operator+(Lines first, const Lines& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// What finding out about visuals and configurations asks the driver; most tests look elsewhere.
inline const Lines kQueries = {"glXGetConfig", "glXGetFBConfigAttrib", "glXGetVisualFromFBConfig",
                               "glXQueryExtensionsString", "glXChooseFBConfig"};

// Waits until the condition holds; false when it does not within half a minute.
[[nodiscard]] bool eventually(const std::function<bool()>& condition);

// From here on X errors that nobody else wants are counted and do no harm.
void countXErrors();
int xErrors();

// A pair of servers, the recording driver as the local display's driver, and the library under
// test between them. The steps are taken one by one, so that a test can set something before each:
//   startServers(); enter(); then openDisplay(), createWindow(), GL_OF(host(), glX...)...
class Rig : public testing::Test {
protected:
  // The application's visuals that the driver knows, and the local configurations behind them.
  struct Visuals {
    XVisualInfo doubled{}; // depth 24, double-buffered: fb1, then fb3
    XVisualInfo single{};  // depth 24, single-buffered: fb2
    XVisualInfo alpha{};   // depth 32, double-buffered: fb3
  };
  struct Configs {
    GLXFBConfig doubled = nullptr; // "fb1"
    GLXFBConfig single = nullptr;  // "fb2"
    GLXFBConfig alpha = nullptr;   // "fb3"
  };

  Rig();
  ~Rig() override;
  void TearDown() override;

  // A setting of the library, by its environment variable.
  static void set(const char* variable, const std::string& value);

  // The local display (Xvfb) and the application display (Xzol); DISPLAY names the latter.
  void startServers(const std::vector<std::string>& appOptions = {},
                    const std::vector<std::string>& localOptions = {});
  // The same with a local display of two screens, of which the library uses the second.
  void startServersWithSecondScreen();
  // Tells the recording driver about both servers' visuals.
  void describeVisuals();
  // __glx_Main of the library.
  int enter(std::uint32_t version = 1u << 16);
  // enter() and lookUp().
  void begin();
  // Finds the functions below; forgets what was logged and called so far.
  void lookUp();
  // All of the above; serverOptions_ are the application server's.
  void start();

  Display* openDisplay(); // of the application; closed at the end
  Window createWindow(Display* display, const XVisualInfo& visual, unsigned width, unsigned height,
                      bool mapped = true);
  // The window's pixels as the server has them, row by row, 0x00RRGGBB.
  static std::vector<std::uint32_t> pixels(Display* display, Window window, unsigned width,
                                           unsigned height);

  VendorHost& host() { return *host_; }
  LogFile& log() { return log_; }
  const std::string& appName() const { return app_->name(); }
  const std::string& localName() const { return local_->name(); }
  tools::DisplayServer& appServer() { return *app_; }
  tools::DisplayServer& localServer() { return *local_; }

  // The library's functions that most tests call, for after lookUp().
  GLXContext createContext(Display* display, XVisualInfo& visual, GLXContext share = nullptr);
  Bool makeCurrent(Display* display, GLXDrawable drawable, GLXContext context);
  void swap(Display* display, GLXDrawable drawable);

  // Forgets what was logged and recorded so far.
  void forget();
  // What this thread logged, and called in the driver, since the last time.
  Lines logged();
  Lines driverCalls(const std::vector<std::string>& without = {});
  // The same for the other threads. Both kinds are kept until asked for.
  Lines loggedByOthers();
  Lines driverCallsOfOthers(const std::vector<std::string>& without = {});

  std::vector<std::string> serverOptions_;
  Visuals visuals_;
  Configs configs_;

private:
  void collect();

  tools::DisplayServer* local_ = nullptr;
  tools::DisplayServer* app_ = nullptr;
  std::unique_ptr<VendorHost> host_;
  LogFile log_;
  std::vector<Display*> displays_;
  std::vector<LogRecord> records_;
  std::vector<RecordedCall> calls_;
  decltype(&::glXCreateContext) createContext_ = nullptr;
  decltype(&::glXMakeCurrent) makeCurrent_ = nullptr;
  decltype(&::glXSwapBuffers) swapBuffers_ = nullptr;
};

} // namespace zol::rig
