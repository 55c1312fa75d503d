#include "endtoend/picture/stage.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

namespace zol::endtoend {
namespace {

thread_local Display* ownDisplay = nullptr;
thread_local StageWindow* threadWindow = nullptr;

struct FreeWithX {
  void operator()(XVisualInfo* visuals) const { XFree(visuals); }
};
using VisualList = std::unique_ptr<XVisualInfo, FreeWithX>;

int attributeOf(Display* display, XVisualInfo* visual, int attribute) {
  int value = 0;
  return glXGetConfig(display, visual, attribute, &value) == Success ? value : 0;
}

struct Attribute {
  int name;
  int value;
};

// To the last buffer: the driver computes colours in one way or another depending on what other
// buffers there are, and pictures are compared byte for byte.
constexpr Attribute kExact[] = {
    {GLX_USE_GL, 1},         {GLX_RGBA, 1},           {GLX_RED_SIZE, 8},    {GLX_GREEN_SIZE, 8},
    {GLX_BLUE_SIZE, 8},      {GLX_ALPHA_SIZE, 8},     {GLX_DEPTH_SIZE, 24}, {GLX_STENCIL_SIZE, 8},
    {GLX_ACCUM_RED_SIZE, 0}, {GLX_SAMPLE_BUFFERS, 0},
};

bool isExact(Display* display, XVisualInfo* visual, bool doubleBuffered) {
  return attributeOf(display, visual, GLX_DOUBLEBUFFER) == doubleBuffered &&
         std::all_of(std::begin(kExact), std::end(kExact), [=](const Attribute& wanted) {
           return attributeOf(display, visual, wanted.name) == wanted.value;
         });
}

XVisualInfo searchVisual(Display* display, int depth, bool doubleBuffered) {
  XVisualInfo wanted{};
  wanted.screen = DefaultScreen(display);
  wanted.depth = depth;
  wanted.c_class = TrueColor;
  int count = 0;
  const VisualList all(XGetVisualInfo(display, VisualScreenMask | VisualDepthMask | VisualClassMask,
                                      &wanted, &count));
  for (int i = 0; i < count; ++i) {
    if (isExact(display, all.get() + i, doubleBuffered)) return all.get()[i];
  }
  throw std::runtime_error("no visual of depth " + std::to_string(depth));
}

// The way most programs take.
XVisualInfo chooseVisual(Display* display, bool doubleBuffered) {
  std::vector<int> wanted = {GLX_RGBA, GLX_RED_SIZE, 8, GLX_GREEN_SIZE, 8, GLX_BLUE_SIZE, 8};
  if (doubleBuffered) wanted.push_back(GLX_DOUBLEBUFFER);
  wanted.push_back(None);
  const VisualList found(glXChooseVisual(display, DefaultScreen(display), wanted.data()));
  if (!found) throw std::runtime_error("glXChooseVisual has no visual");
  return *found;
}

template <class Value>
Value& find(std::map<std::string, Value>& values, const std::string& name, const char* what) {
  const auto found = values.find(name);
  if (found == values.end()) throw std::runtime_error(std::string("no ") + what + " " + name);
  return found->second;
}

} // namespace

Display* Stage::open() const {
  Display* const display = XOpenDisplay(displayName_.empty() ? nullptr : displayName_.c_str());
  if (display == nullptr) throw std::runtime_error("no display");
  return display;
}

Display* Stage::display() {
  if (ownDisplay != nullptr) return ownDisplay;
  const std::lock_guard lock(mutex_);
  if (shared_ == nullptr) shared_ = open();
  return shared_;
}

void Stage::openOwnDisplay() {
  ownDisplay = open();
}

void Stage::closeDisplay() {
  XCloseDisplay(display());
  if (ownDisplay == nullptr) {
    const std::lock_guard lock(mutex_);
    shared_ = nullptr;
  }
  ownDisplay = nullptr;
}

Window Stage::createWindow(const std::string& name, int width, int height, int depth,
                           bool doubleBuffered, int x, int y) {
  Display* const connection = display();
  const XVisualInfo visual = depth == 0 ? chooseVisual(connection, doubleBuffered)
                                        : searchVisual(connection, depth, doubleBuffered);
  const Window root = RootWindow(connection, visual.screen);
  XSetWindowAttributes attributes{};
  attributes.colormap = XCreateColormap(connection, root, visual.visual, AllocNone);
  attributes.override_redirect = True;
  const Window id =
      XCreateWindow(connection, root, x, y, static_cast<unsigned>(width),
                    static_cast<unsigned>(height), 0, visual.depth, InputOutput, visual.visual,
                    CWBorderPixel | CWBackPixel | CWColormap | CWOverrideRedirect, &attributes);
  XFreeColormap(connection, attributes.colormap);
  XMapWindow(connection, id);
  XSync(connection, False);
  const std::lock_guard lock(mutex_);
  windows_[name] = {connection, id, visual, doubleBuffered, width, height};
  return id;
}

void Stage::destroyWindow(const std::string& name) {
  const StageWindow gone = window(name);
  XDestroyWindow(gone.display, gone.id);
  XSync(gone.display, False);
}

StageWindow& Stage::window(const std::string& name) {
  const std::lock_guard lock(mutex_);
  return find(windows_, name, "window");
}

void Stage::createContext(const std::string& name, const std::string& windowName,
                          const std::string& sharedWith) {
  StageWindow& target = window(windowName);
  const GLXContext shared = sharedWith.empty() ? nullptr : context(sharedWith).id;
  const GLXContext id = glXCreateContext(target.display, &target.visual, shared, True);
  if (id == nullptr) throw std::runtime_error("no context");
  const std::lock_guard lock(mutex_);
  contexts_[name] = {target.display, id};
}

void Stage::destroyContext(const std::string& name) {
  const StageContext gone = context(name);
  glXDestroyContext(gone.display, gone.id);
}

StageContext& Stage::context(const std::string& name) {
  const std::lock_guard lock(mutex_);
  return find(contexts_, name, "context");
}

void Stage::makeCurrent(const std::string& windowName, const std::string& contextName) {
  StageWindow& target = window(windowName);
  if (!glXMakeCurrent(target.display, target.id, context(contextName).id)) {
    throw std::runtime_error("glXMakeCurrent failed");
  }
  threadWindow = &target;
}

void Stage::release() {
  if (!glXMakeCurrent(display(), None, nullptr)) throw std::runtime_error("release failed");
  threadWindow = nullptr;
}

StageWindow& Stage::current() {
  if (threadWindow == nullptr) throw std::runtime_error("nothing is current");
  return *threadWindow;
}

} // namespace zol::endtoend
