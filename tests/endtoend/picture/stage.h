#pragma once

#include <GL/glx.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <map>
#include <mutex>
#include <string>

namespace zol::endtoend {

// What GL draws to: a window, a GLX window, a GLX pixmap or a pbuffer.
struct StageDrawable {
  Display* display;
  XID id;               // of the X window or pixmap; None for a pbuffer
  GLXDrawable drawable; // as GLX names it
  bool doubleBuffered;
  int width;
  int height;
  int depth;
  VisualID visual = None;
};

struct StageContext {
  Display* display;
  GLXContext id;
  bool core; // without the old drawing calls
};

// The drawables, FBConfigs and contexts of the program, by the names its parent gives them. What
// cannot be done is an std::runtime_error whose text says why. Thread safety: all operations may be
// called from any thread. The threads share one connection to the X server unless they open their
// own.
class Stage {
public:
  explicit Stage(std::string displayName) : displayName_(std::move(displayName)) {}

  Display* display(); // the calling thread's; the shared one is opened at its first use
  void openOwnDisplay();
  void closeDisplay();

  // A depth of 0: what glXChooseVisual offers.
  Window createWindow(const std::string& name, int width, int height, int depth,
                      bool doubleBuffered, int x, int y);
  void destroyWindow(const std::string& name);
  void add(const std::string& name, const StageDrawable& drawable);
  StageDrawable& drawable(const std::string& name);

  // Of the drawable's visual.
  void createContext(const std::string& name, const std::string& drawable,
                     const std::string& sharedWith);
  void add(const std::string& name, const StageContext& context);
  void destroyContext(const std::string& name);
  StageContext& context(const std::string& name);

  void add(const std::string& name, GLXFBConfig config);
  GLXFBConfig config(const std::string& name);

  void makeCurrent(const std::string& drawable, const std::string& context);
  void makeCurrent(const std::string& draw, const std::string& read, const std::string& context);
  void release();
  StageDrawable& current();
  bool currentIsCore() const;

private:
  Display* open() const;

  std::string displayName_;
  std::mutex mutex_;
  Display* shared_ = nullptr;                      // guarded by mutex_
  std::map<std::string, StageDrawable> drawables_; // guarded by mutex_
  std::map<std::string, StageContext> contexts_;   // guarded by mutex_
  std::map<std::string, GLXFBConfig> configs_;     // guarded by mutex_
};

// A visual with these buffers and no others: the driver computes colours in one way or another
// depending on what other buffers there are, and pictures are compared byte for byte.
XVisualInfo searchVisual(Display* display, int depth, bool doubleBuffered);

// An FBConfig of the same kind, found the way of programs that use FBConfigs.
GLXFBConfig searchConfig(Display* display, int depth, bool doubleBuffered);

// On the root window's screen, without the window manager's help.
Window createPlainWindow(Display* display, const XVisualInfo& visual, int width, int height, int x,
                         int y);

} // namespace zol::endtoend
