#include "endtoend/picture/stage.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

namespace zol::endtoend {
namespace {

thread_local Display* ownDisplay = nullptr;
thread_local StageDrawable* threadDrawable = nullptr;
thread_local bool threadIsCore = false;

struct FreeWithX {
  void operator()(void* memory) const { XFree(memory); }
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

constexpr Attribute kExact[] = {
    {GLX_RED_SIZE, 8},    {GLX_GREEN_SIZE, 8},   {GLX_BLUE_SIZE, 8},      {GLX_ALPHA_SIZE, 8},
    {GLX_DEPTH_SIZE, 24}, {GLX_STENCIL_SIZE, 8}, {GLX_ACCUM_RED_SIZE, 0}, {GLX_SAMPLE_BUFFERS, 0},
};

bool isExact(Display* display, XVisualInfo* visual, bool doubleBuffered) {
  return attributeOf(display, visual, GLX_USE_GL) && attributeOf(display, visual, GLX_RGBA) &&
         attributeOf(display, visual, GLX_DOUBLEBUFFER) == doubleBuffered &&
         std::all_of(std::begin(kExact), std::end(kExact), [=](const Attribute& wanted) {
           return attributeOf(display, visual, wanted.name) == wanted.value;
         });
}

bool isExact(Display* display, GLXFBConfig config) {
  return std::all_of(std::begin(kExact), std::end(kExact), [=](const Attribute& wanted) {
    int value = 0;
    return glXGetFBConfigAttrib(display, config, wanted.name, &value) == Success &&
           value == wanted.value;
  });
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

GLXFBConfig searchConfig(Display* display, int depth, bool doubleBuffered) {
  const int wanted[] = {GLX_DRAWABLE_TYPE,
                        GLX_WINDOW_BIT | GLX_PIXMAP_BIT | GLX_PBUFFER_BIT,
                        GLX_RENDER_TYPE,
                        GLX_RGBA_BIT,
                        GLX_X_RENDERABLE,
                        True,
                        GLX_X_VISUAL_TYPE,
                        GLX_TRUE_COLOR,
                        GLX_DOUBLEBUFFER,
                        doubleBuffered,
                        GLX_RED_SIZE,
                        8,
                        GLX_ALPHA_SIZE,
                        8,
                        GLX_DEPTH_SIZE,
                        24,
                        None};
  int count = 0;
  const std::unique_ptr<GLXFBConfig, FreeWithX> all(
      glXChooseFBConfig(display, DefaultScreen(display), wanted, &count));
  for (int i = 0; i < count; ++i) {
    GLXFBConfig const config = all.get()[i];
    const VisualList visual(glXGetVisualFromFBConfig(display, config));
    if (visual && visual->depth == depth && isExact(display, config)) return config;
  }
  throw std::runtime_error("no FBConfig of depth " + std::to_string(depth));
}

Window createPlainWindow(Display* display, const XVisualInfo& visual, int width, int height, int x,
                         int y) {
  const Window root = RootWindow(display, visual.screen);
  XSetWindowAttributes attributes{};
  attributes.colormap = XCreateColormap(display, root, visual.visual, AllocNone);
  attributes.override_redirect = True;
  const Window id =
      XCreateWindow(display, root, x, y, static_cast<unsigned>(width),
                    static_cast<unsigned>(height), 0, visual.depth, InputOutput, visual.visual,
                    CWBorderPixel | CWBackPixel | CWColormap | CWOverrideRedirect, &attributes);
  XFreeColormap(display, attributes.colormap);
  XMapWindow(display, id);
  XSync(display, False);
  return id;
}

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
  const Window id = createPlainWindow(connection, visual, width, height, x, y);
  add(name, StageDrawable{connection, id, id, doubleBuffered, width, height, visual.depth,
                          visual.visualid});
  return id;
}

void Stage::destroyWindow(const std::string& name) {
  const StageDrawable gone = drawable(name);
  XDestroyWindow(gone.display, gone.id);
  XSync(gone.display, False);
}

void Stage::add(const std::string& name, const StageDrawable& drawable) {
  const std::lock_guard lock(mutex_);
  drawables_[name] = drawable;
}

StageDrawable& Stage::drawable(const std::string& name) {
  const std::lock_guard lock(mutex_);
  return find(drawables_, name, "drawable");
}

void Stage::createContext(const std::string& name, const std::string& drawableName,
                          const std::string& sharedWith) {
  const StageDrawable& target = drawable(drawableName);
  GLXContext const shared = sharedWith.empty() ? nullptr : context(sharedWith).id;
  XVisualInfo wanted{};
  wanted.visualid = target.visual;
  int count = 0;
  const VisualList visual(XGetVisualInfo(target.display, VisualIDMask, &wanted, &count));
  GLXContext const id = glXCreateContext(target.display, visual.get(), shared, True);
  if (id == nullptr) throw std::runtime_error("no context");
  add(name, StageContext{target.display, id, false});
}

void Stage::add(const std::string& name, const StageContext& context) {
  const std::lock_guard lock(mutex_);
  contexts_[name] = context;
}

void Stage::destroyContext(const std::string& name) {
  const StageContext gone = context(name);
  glXDestroyContext(gone.display, gone.id);
}

StageContext& Stage::context(const std::string& name) {
  const std::lock_guard lock(mutex_);
  return find(contexts_, name, "context");
}

void Stage::add(const std::string& name, GLXFBConfig config) {
  const std::lock_guard lock(mutex_);
  configs_[name] = config;
}

GLXFBConfig Stage::config(const std::string& name) {
  const std::lock_guard lock(mutex_);
  return find(configs_, name, "FBConfig");
}

void Stage::makeCurrent(const std::string& drawableName, const std::string& contextName) {
  StageDrawable& target = drawable(drawableName);
  const StageContext& user = context(contextName);
  if (!glXMakeCurrent(target.display, target.drawable, user.id)) {
    throw std::runtime_error("glXMakeCurrent failed");
  }
  threadDrawable = &target;
  threadIsCore = user.core;
}

void Stage::makeCurrent(const std::string& drawName, const std::string& readName,
                        const std::string& contextName) {
  StageDrawable& draw = drawable(drawName);
  const StageContext& user = context(contextName);
  if (!glXMakeContextCurrent(draw.display, draw.drawable, drawable(readName).drawable, user.id)) {
    throw std::runtime_error("glXMakeContextCurrent failed");
  }
  threadDrawable = &draw;
  threadIsCore = user.core;
}

void Stage::release() {
  if (!glXMakeCurrent(display(), None, nullptr)) throw std::runtime_error("release failed");
  threadDrawable = nullptr;
}

StageDrawable& Stage::current() {
  if (threadDrawable == nullptr) throw std::runtime_error("nothing is current");
  return *threadDrawable;
}

bool Stage::currentIsCore() const {
  return threadIsCore;
}

} // namespace zol::endtoend
