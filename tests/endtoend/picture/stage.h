#pragma once

#include <GL/glx.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <map>
#include <mutex>
#include <string>

namespace zol::endtoend {

struct StageWindow {
  Display* display;
  Window id;
  XVisualInfo visual;
  bool doubleBuffered;
  int width;
  int height;
};

struct StageContext {
  Display* display;
  GLXContext id;
};

// The windows and contexts of the program, by the names its parent gives them. What cannot be done
// is an std::runtime_error whose text says why.
// Thread safety: all operations may be called from any thread. The threads share one connection to
// the X server unless they open their own.
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
  StageWindow& window(const std::string& name);

  void createContext(const std::string& name, const std::string& window,
                     const std::string& sharedWith);
  void destroyContext(const std::string& name);
  StageContext& context(const std::string& name);

  void makeCurrent(const std::string& window, const std::string& context);
  void release();
  StageWindow& current();

private:
  Display* open() const;

  std::string displayName_;
  std::mutex mutex_;
  Display* shared_ = nullptr;                    // guarded by mutex_
  std::map<std::string, StageWindow> windows_;   // guarded by mutex_
  std::map<std::string, StageContext> contexts_; // guarded by mutex_
};

} // namespace zol::endtoend
