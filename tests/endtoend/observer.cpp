#include "endtoend/observer.h"

#include "endtoend/program.h"
#include "endtoend/scene.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <poll.h>
#include <stdexcept>

namespace zol::endtoend {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kAlpha = 0xff000000;

int ignoreXError(Display*, XErrorEvent*) {
  return 0;
}

struct DestroyImage {
  void operator()(XImage* image) const { XDestroyImage(image); }
};

// Reports of what is painted into a window, for as long as it lives.
class Watch {
public:
  Watch(Display* display, Window window)
      : display_(display), damage_(XDamageCreate(display, window, XDamageReportNonEmpty)) {}
  ~Watch() {
    XDamageDestroy(display_, damage_);
    XSync(display_, True);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  // Reports what is painted from now on.
  void rearm() const {
    XDamageSubtract(display_, damage_, None, None);
    XSync(display_, False);
  }

private:
  Display* const display_;
  const Damage damage_;
};

// Waits for a report, or a while: a window that is mapped again reports nothing.
bool takeReport(Display* display, int eventType) {
  constexpr int kWhile = 200; // milliseconds
  if (XPending(display) == 0) {
    pollfd wanted{ConnectionNumber(display), POLLIN, 0};
    poll(&wanted, 1, kWhile);
  }
  bool reported = false;
  while (XPending(display) > 0) {
    XEvent event;
    XNextEvent(display, &event);
    reported |= event.type == eventType;
  }
  return reported;
}

std::string describe(std::uint32_t pixel) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", pixel);
  return text;
}

} // namespace

Picture paintedScene(const std::string& name, int frame, int width, int height, int depth) {
  Picture result{width, height,
                 std::vector<std::uint32_t>(static_cast<std::size_t>(width * height))};
  for (const Rect& rect : scene(name, frame, width, height)) {
    for (int y = std::max(rect.y, 0); y < std::min(rect.y + rect.height, height); ++y) {
      for (int x = std::max(rect.x, 0); x < std::min(rect.x + rect.width, width); ++x) {
        result.pixels[static_cast<std::size_t>(y * width + x)] =
            depth == 32 ? rect.colour : rect.colour & ~kAlpha;
      }
    }
  }
  return result;
}

testing::AssertionResult samePicture(const Picture& expected, const Picture& found) {
  if (expected == found) return testing::AssertionSuccess();
  if (expected.width != found.width || expected.height != found.height) {
    return testing::AssertionFailure()
           << "a picture of " << found.width << "x" << found.height << " in place of one of "
           << expected.width << "x" << expected.height;
  }
  std::size_t differing = 0, first = 0;
  for (std::size_t i = expected.pixels.size(); i-- > 0;) {
    if (expected.pixels[i] == found.pixels[i]) continue;
    first = i;
    ++differing;
  }
  const auto width = static_cast<std::size_t>(expected.width);
  return testing::AssertionFailure()
         << differing << " of " << expected.pixels.size() << " pixels of a picture of "
         << expected.width << "x" << expected.height << " differ, the first at (" << first % width
         << "," << first / width << "): " << describe(found.pixels[first]) << " in place of "
         << describe(expected.pixels[first]);
}

Observer::Observer(const std::string& display) : display_(XOpenDisplay(display.c_str())) {
  if (display_ == nullptr) throw std::runtime_error("no X server at " + display);
  XSetErrorHandler(ignoreXError);
  int errors = 0, major = 1, minor = 1;
  if (!XDamageQueryExtension(display_, &damageEvents_, &errors) ||
      !XDamageQueryVersion(display_, &major, &minor)) {
    throw std::runtime_error("no DAMAGE extension at " + display);
  }
}

Observer::~Observer() {
  XCloseDisplay(display_);
}

Picture Observer::picture(Window window) const {
  XWindowAttributes attributes;
  if (!XGetWindowAttributes(display_, window, &attributes)) return {};
  const std::unique_ptr<XImage, DestroyImage> image(
      XGetImage(display_, window, 0, 0, static_cast<unsigned>(attributes.width),
                static_cast<unsigned>(attributes.height), AllPlanes, ZPixmap));
  if (image == nullptr) return {};
  Picture result{image->width, image->height, {}};
  result.pixels.reserve(static_cast<std::size_t>(image->width * image->height));
  const std::uint32_t meaning = attributes.depth == 32 ? ~0u : ~kAlpha;
  for (int y = 0; y < image->height; ++y) {
    for (int x = 0; x < image->width; ++x)
      result.pixels.push_back(static_cast<std::uint32_t>(XGetPixel(image.get(), x, y)) & meaning);
  }
  return result;
}

testing::AssertionResult Observer::shows(Window window, const Picture& expected) const {
  Picture found;
  const auto isEqual = [&] {
    found = picture(window);
    return found == expected;
  };
  return waitFor(window, isEqual) ? testing::AssertionSuccess() : samePicture(expected, found);
}

bool Observer::waitFor(Window window, const std::function<bool()>& condition) const {
  const Clock::time_point deadline = Clock::now() + kPatience / 2;
  const Watch watch(display_, window);
  for (;;) {
    watch.rearm();
    if (condition()) return true;
    if (Clock::now() > deadline) return false;
    takeReport(display_, damageEvents_);
  }
}

bool Observer::seesPaints(Window window, int count) const {
  const Clock::time_point deadline = Clock::now() + kPatience / 2;
  const Watch watch(display_, window);
  for (watch.rearm(); count > 0; watch.rearm()) {
    if (Clock::now() > deadline) return false;
    if (takeReport(display_, damageEvents_)) --count;
  }
  return true;
}

std::vector<Window> Observer::windows() const {
  Window root = None, parent = None, *children = nullptr;
  unsigned count = 0;
  if (!XQueryTree(display_, DefaultRootWindow(display_), &root, &parent, &children, &count)) {
    return {};
  }
  std::vector<Window> result(children, children + count);
  if (children != nullptr) XFree(children);
  return result;
}

std::map<std::string, unsigned> Observer::resourceCounts() const {
  std::map<std::string, unsigned> counts;
  int number = 0;
  XResClient* clients = nullptr;
  if (!XResQueryClients(display_, &number, &clients)) {
    throw std::runtime_error("no X-Resource extension");
  }
  for (int i = 0; i < number; ++i) {
    int types = 0;
    XResType* owned = nullptr;
    if (!XResQueryClientResources(display_, clients[i].resource_base, &types, &owned)) continue;
    for (int j = 0; j < types; ++j) {
      char* const name = XGetAtomName(display_, owned[j].resource_type);
      counts[name] += owned[j].count;
      XFree(name);
    }
    XFree(owned);
  }
  XFree(clients);
  return counts;
}

std::vector<std::string> Observer::resources() const {
  std::vector<std::string> result;
  for (const auto& [name, count] : resourceCounts())
    result.push_back(name + " " + std::to_string(count));
  return result;
}

} // namespace zol::endtoend
