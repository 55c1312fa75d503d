#include "window_watch.h"

#include <X11/Xutil.h>
#include <X11/extensions/Xdamage.h>

#include <algorithm>
#include <csignal>
#include <poll.h>
#include <stdexcept>

namespace zol::bench {

namespace {

// How long the end of the program may go unnoticed.
constexpr auto kCheckInterval = std::chrono::milliseconds(20);

volatile sig_atomic_t interrupted = 0;

void noteInterrupt(int signal) {
  interrupted = signal;
}

std::string inSeconds(Clock::duration duration) {
  return std::to_string(std::chrono::round<std::chrono::seconds>(duration).count()) + " seconds";
}

} // namespace

void catchInterrupts() {
  struct sigaction action {};
  action.sa_handler = noteInterrupt;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    sigaction(signal, &action, nullptr);
}

WindowWatch::WindowWatch(XConnection& connection)
    : connection_(connection), display_(connection.get()), root_(DefaultRootWindow(display_)) {
  int errors = 0;
  int major = 1;
  int minor = 1;
  if (!XDamageQueryExtension(display_, &damageEvents_, &errors) ||
      !XDamageQueryVersion(display_, &major, &minor)) {
    throw std::runtime_error("the display '" + connection.name() + "' has no DAMAGE extension");
  }
  XSelectInput(display_, root_, SubstructureNotifyMask);
  XSync(display_, False);
}

// True when done() came true, false when the time came first.
template <class Done>
bool WindowWatch::waitUntil(Clock::time_point end, ChildProcess& program, const Done& done) {
  for (;;) {
    // Asked before the events are read, so that nothing the program did at last is missed.
    const auto ending = program.ending();
    while (XPending(display_) > 0) {
      XEvent event;
      XNextEvent(display_, &event);
      take(event);
      if (done()) return true;
    }
    if (interrupted) throw std::runtime_error("interrupted");
    if (ending) throw std::runtime_error("the program ended too early, with " + *ending);
    if (windowGone_) throw std::runtime_error("the program closed its window");
    const auto now = Clock::now();
    if (now >= end) return false;
    const auto wait =
        std::min<Clock::duration>(kCheckInterval, end - now) + std::chrono::milliseconds(1);
    pollfd events{ConnectionNumber(display_), POLLIN, 0};
    poll(&events, 1, static_cast<int>(std::chrono::floor<std::chrono::milliseconds>(wait).count()));
  }
}

void WindowWatch::take(const XEvent& event) {
  if (event.type == MapNotify && window_ == None && isProgramWindow(event.xmap.window)) {
    window_ = event.xmap.window;
  } else if ((event.type == UnmapNotify && event.xunmap.window == window_) ||
             (event.type == DestroyNotify && event.xdestroywindow.window == window_)) {
    windowGone_ = window_ != None;
  } else if (event.type == damageEvents_ + XDamageNotify) {
    counter_.paint(reinterpret_cast<const XDamageNotifyEvent&>(event).area);
  }
}

bool WindowWatch::isProgramWindow(Window window) const {
  XWindowAttributes attributes;
  return XGetWindowAttributes(display_, window, &attributes) && attributes.root == root_ &&
         attributes.c_class == InputOutput;
}

void WindowWatch::awaitWindow(ChildProcess& program, Clock::duration patience) {
  if (!waitUntil(Clock::now() + patience, program, [this] { return window_ != None; })) {
    throw std::runtime_error("no window appeared on the display '" + connection_.name() +
                             "' within " + inSeconds(patience));
  }
}

void WindowWatch::resize(Size size) {
  XResizeWindow(display_, window_, static_cast<unsigned>(size.width),
                static_cast<unsigned>(size.height));
  XSync(display_, False);
  if (windowSize() != size) {
    throw std::runtime_error("the window did not take the size " + std::to_string(size.width) +
                             "x" + std::to_string(size.height));
  }
}

void WindowWatch::startCounting() {
  // A new record of damage begins with the whole window as damaged, which is no paint; with the
  // server grabbed it cannot be mistaken for one.
  const ServerGrab grab(display_);
  XDamageCreate(display_, window_, XDamageReportRawRectangles);
  XSync(display_, False);
  XEvent event;
  while (XCheckTypedEvent(display_, damageEvents_ + XDamageNotify, &event)) {
  }
}

Clock::time_point WindowWatch::awaitFrame(ChildProcess& program, Clock::duration patience) {
  if (!waitUntil(Clock::now() + patience, program, [this] { return counter_.frames() > 0; })) {
    throw std::runtime_error("nothing was painted into the window within " + inSeconds(patience));
  }
  return Clock::now();
}

void WindowWatch::countUntil(Clock::time_point end, ChildProcess& program) {
  waitUntil(end, program, [] { return false; });
}

std::string WindowWatch::title() const {
  char* name = nullptr;
  if (!XFetchName(display_, window_, &name) || !name) return {};
  std::string title = name;
  XFree(name);
  return title;
}

Size WindowWatch::windowSize() const {
  XWindowAttributes attributes;
  if (!XGetWindowAttributes(display_, window_, &attributes)) return {};
  return {attributes.width, attributes.height};
}

} // namespace zol::bench
