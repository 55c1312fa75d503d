#include "rig/fixture.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace zol::rig {
namespace {

std::vector<XVisualInfo> trueColourVisuals(Display* display, int depth) {
  XVisualInfo wanted{};
  wanted.screen = DefaultScreen(display);
  wanted.depth = depth;
  wanted.c_class = TrueColor;
  int count = 0;
  XVisualInfo* const found = XGetVisualInfo(
      display, VisualScreenMask | VisualDepthMask | VisualClassMask, &wanted, &count);
  std::vector<XVisualInfo> result(found, found + count);
  if (found != nullptr) XFree(found);
  return result;
}

VisualAttributes visualAttributes(bool doubled, int alphaSize) {
  return {{GLX_USE_GL, 1},      {GLX_BUFFER_SIZE, 24 + alphaSize},
          {GLX_RGBA, 1},        {GLX_DOUBLEBUFFER, doubled},
          {GLX_RED_SIZE, 8},    {GLX_GREEN_SIZE, 8},
          {GLX_BLUE_SIZE, 8},   {GLX_ALPHA_SIZE, alphaSize},
          {GLX_DEPTH_SIZE, 24}, {GLX_STENCIL_SIZE, 8},
          {0x20, GLX_NONE},     {GLX_TRANSPARENT_TYPE, GLX_NONE}};
}

FakeConfig config(VisualID visual, int id, bool doubled, int alphaSize) {
  FakeConfig result{visual, visualAttributes(doubled, alphaSize)};
  result.attributes.erase(GLX_USE_GL);
  result.attributes.erase(GLX_RGBA); // no attribute of a configuration
  result.attributes[GLX_FBCONFIG_ID] = id;
  result.attributes[GLX_RENDER_TYPE] = GLX_RGBA_BIT;
  result.attributes[GLX_SAMPLES] = 0;
  return result;
}

std::atomic<int> countedErrors{0};

int countError(Display*, XErrorEvent*) {
  ++countedErrors;
  return 0;
}

XVisualInfo nth(const std::vector<XVisualInfo>& visuals, std::size_t index, const char* what) {
  if (index < visuals.size()) return visuals[index];
  throw std::runtime_error(std::string("too few visuals for this test on ") + what);
}

} // namespace

std::string hex(const void* pointer) {
  return hex(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer)));
}

std::string hex(unsigned long value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%lx", value);
  return buffer;
}

std::string address(const void* pointer) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%p", pointer);
  return buffer;
}

bool eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

void countXErrors() {
  XSetErrorHandler(countError);
}

int xErrors() {
  return countedErrors;
}

Rig::Rig() : log_(testDirectory()) {
  set("ZOL_GL_LOG_DIR", testDirectory());
  set("ZOL_GL_LOG_LEVEL", "debug");
  recorder();
}

Rig::~Rig() {
  // The library waits for its thread when the process ends.
  outside::letOtherLogs();
  outside::letDeliveriesPass();
  outside::endOpening(); // the servers go next
  for (Display* const display : displays_)
    XCloseDisplay(display);
}

void Rig::TearDown() {
  EXPECT_EQ(recorder().complaints(), Lines{});
}

void Rig::set(const char* variable, const std::string& value) {
  setenv(variable, value.c_str(), 1);
}

void Rig::startServers(const std::vector<std::string>& appOptions,
                       const std::vector<std::string>& localOptions) {
  local_ = &startPlainServer(localOptions);
  app_ = &startApplicationServer(local_->name(), appOptions);
  set("DISPLAY", app_->name());
  recorder().nameDisplay(app_->name(), "app");
  recorder().nameDisplay(local_->name(), "local");
}

void Rig::startServersWithSecondScreen() {
  startServers({}, {"-screen", "1", "640x480x24"});
  set("ZOL_GL_DISPLAY", local_->name() + ".1");
  recorder().nameDisplay(local_->name() + ".1", "local");
}

void Rig::describeVisuals() {
  Display* const app = XOpenDisplay(app_->name().c_str());
  Display* const local = XOpenDisplay(local_->name().c_str());
  if (app == nullptr || local == nullptr) throw std::runtime_error("a server does not answer");
  const auto app24 = trueColourVisuals(app, 24), app32 = trueColourVisuals(app, 32);
  const auto local24 = trueColourVisuals(local, 24), local32 = trueColourVisuals(local, 32);
  visuals_.doubled = nth(app24, 0, "the application display");
  visuals_.single = nth(app24, 1, "the application display");
  visuals_.alpha = nth(app32, 0, "the application display");
  const VisualID doubled = nth(local24, 0, "the local display").visualid;
  const VisualID single = nth(local24, 1, "the local display").visualid;
  const VisualID alpha = nth(local32, 0, "the local display").visualid;
  XCloseDisplay(local);
  XCloseDisplay(app);

  Recorder& r = recorder();
  r.setVisual("app", visuals_.doubled.visualid, visualAttributes(true, 0));
  r.setVisual("app", visuals_.single.visualid, visualAttributes(false, 0));
  r.setVisual("app", visuals_.alpha.visualid, visualAttributes(true, 8));
  r.setVisual("local", doubled, visualAttributes(true, 0));
  r.setVisual("local", single, visualAttributes(false, 0));
  r.setVisual("local", alpha, visualAttributes(true, 8));
  configs_.doubled = r.addConfig(config(doubled, 0x101, true, 0));
  configs_.single = r.addConfig(config(single, 0x102, false, 0));
  configs_.alpha = r.addConfig(config(alpha, 0x103, true, 8));
}

int Rig::enter(std::uint32_t version) {
  if (host_ == nullptr) host_ = std::make_unique<VendorHost>();
  return host_->enter(version);
}

void Rig::start() {
  startServers(serverOptions_);
  describeVisuals();
  begin();
}

void Rig::begin() {
  if (enter() != 1) throw std::runtime_error("the library under test did not take part");
  lookUp();
}

void Rig::lookUp() {
  createContext_ = GL_OF(host(), glXCreateContext);
  makeCurrent_ = GL_OF(host(), glXMakeCurrent);
  swapBuffers_ = GL_OF(host(), glXSwapBuffers);
  forget();
}

Display* Rig::openDisplay() {
  Display* const display = XOpenDisplay(nullptr);
  if (display == nullptr) throw std::runtime_error("the application display does not answer");
  displays_.push_back(display);
  return display;
}

Window Rig::createWindow(Display* display, const XVisualInfo& visual, unsigned width,
                         unsigned height, bool mapped) {
  const Window root = RootWindow(display, visual.screen);
  XVisualInfo wanted{};
  wanted.visualid = visual.visualid;
  int count = 0;
  XVisualInfo* const own = XGetVisualInfo(display, VisualIDMask, &wanted, &count);
  if (own == nullptr) throw std::runtime_error("the visual is unknown on this connection");
  XSetWindowAttributes attributes{};
  attributes.colormap = XCreateColormap(display, root, own->visual, AllocNone);
  attributes.override_redirect = True;
  const Window window =
      XCreateWindow(display, root, 0, 0, width, height, 0, visual.depth, InputOutput, own->visual,
                    CWBorderPixel | CWColormap | CWOverrideRedirect, &attributes);
  XFree(own);
  if (mapped) XMapWindow(display, window);
  XSync(display, False);
  return window;
}

GLXContext Rig::createContext(Display* display, XVisualInfo& visual, GLXContext share) {
  return createContext_(display, &visual, share, True);
}

Bool Rig::makeCurrent(Display* display, GLXDrawable drawable, GLXContext context) {
  return makeCurrent_(display, drawable, context);
}

void Rig::swap(Display* display, GLXDrawable drawable) {
  swapBuffers_(display, drawable);
}

std::vector<std::uint32_t> Rig::pixels(Display* display, Window window, unsigned width,
                                       unsigned height) {
  XImage* const image = XGetImage(display, window, 0, 0, width, height, AllPlanes, ZPixmap);
  if (image == nullptr) return {};
  std::vector<std::uint32_t> result;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const auto pixel = XGetPixel(image, static_cast<int>(x), static_cast<int>(y));
      result.push_back(static_cast<std::uint32_t>(pixel) & 0xffffff);
    }
  }
  XDestroyImage(image);
  return result;
}

void Rig::collect() {
  for (LogRecord& record : log_.take())
    records_.push_back(std::move(record));
  for (RecordedCall& call : recorder().take())
    calls_.push_back(std::move(call));
}

void Rig::forget() {
  collect();
  records_.clear();
  calls_.clear();
}

Lines Rig::logged() {
  collect();
  Lines lines = textsOfThread(records_, gettid());
  std::erase_if(records_, [](const LogRecord& record) { return record.thread == gettid(); });
  return lines;
}

Lines Rig::loggedByOthers() {
  collect();
  Lines lines = textsOfOtherThreads(records_, gettid());
  std::erase_if(records_, [](const LogRecord& record) { return record.thread != gettid(); });
  return lines;
}

Lines Rig::driverCalls(const std::vector<std::string>& without) {
  collect();
  Lines lines = textsOfThread(calls_, gettid(), without);
  std::erase_if(calls_, [](const RecordedCall& call) { return call.thread == gettid(); });
  return lines;
}

Lines Rig::driverCallsOfOthers(const std::vector<std::string>& without) {
  collect();
  std::vector<RecordedCall> others = calls_;
  std::erase_if(others, [](const RecordedCall& call) { return call.thread == gettid(); });
  std::erase_if(calls_, [](const RecordedCall& call) { return call.thread != gettid(); });
  return texts(others, without);
}

} // namespace zol::rig
