#include "delivery_watch.h"

#include "frame_number.h"

#include <X11/extensions/Xdamage.h>

#include <algorithm>
#include <poll.h>
#include <stdexcept>

namespace zol::bench {

namespace {

constexpr int kCheckInterval = 20; // milliseconds that the end may go unnoticed
constexpr auto kPatience = std::chrono::seconds(10);

} // namespace

DeliveryWatch::DeliveryWatch(const std::vector<Window>& windows, Size size) : size_(size) {
  Display* const display = connection_.get();
  int errors = 0;
  int major = 1;
  int minor = 1;
  if (!XDamageQueryExtension(display, &damageEvents_, &errors) ||
      !XDamageQueryVersion(display, &major, &minor)) {
    throw std::runtime_error("the display '" + connection_.name() + "' has no DAMAGE extension");
  }
  for (const Window window : windows) {
    windows_.push_back({window});
    XDamageCreate(display, window, XDamageReportRawRectangles);
  }
  XSync(display, False);
  thread_ = std::thread([this] { run(); });
}

DeliveryWatch::~DeliveryWatch() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  thread_.join();
}

void DeliveryWatch::swapping(size_t window, int number) {
  const std::lock_guard lock(mutex_);
  windows_[window].swapped[static_cast<size_t>(number) % kRemembered] = Clock::now();
}

void DeliveryWatch::awaitShown(size_t window, int number) {
  std::unique_lock lock(mutex_);
  if (!news_.wait_for(lock, kPatience, [&] { return windows_[window].shown >= number; }))
    throw std::runtime_error("a frame did not reach its window");
}

DeliveryWatch::Delivered DeliveryWatch::take() {
  const std::lock_guard lock(mutex_);
  Delivered delivered;
  for (Watched& watched : windows_) {
    delivered.frames.push_back(watched.counter.frames() - watched.counted);
    watched.counted = watched.counter.frames();
  }
  delivered.delays.swap(delays_);
  return delivered;
}

void DeliveryWatch::run() {
  std::vector<bool> painted(windows_.size());
  for (;;) {
    pollfd events{ConnectionNumber(connection_.get()), POLLIN, 0};
    // Looking at a window may have read the events that came meanwhile.
    if (XEventsQueued(connection_.get(), QueuedAlready) == 0) poll(&events, 1, kCheckInterval);
    painted.assign(windows_.size(), false);
    takeEvents(&painted);
    for (size_t i = 0; i < windows_.size(); ++i)
      if (painted[i]) look(windows_[i]);
    const std::lock_guard lock(mutex_);
    if (stopped_) return;
  }
}

void DeliveryWatch::takeEvents(std::vector<bool>* painted) {
  Display* const display = connection_.get();
  while (XPending(display) > 0) {
    XEvent event;
    XNextEvent(display, &event);
    if (event.type != damageEvents_ + XDamageNotify) continue;
    const auto& damage = reinterpret_cast<const XDamageNotifyEvent&>(event);
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(windows_.begin(), windows_.end(), [&](const Watched& watched) {
      return watched.window == damage.drawable;
    });
    if (found == windows_.end()) continue;
    found->counter.paint(damage.area);
    (*painted)[static_cast<size_t>(found - windows_.begin())] = true;
  }
}

void DeliveryWatch::look(Watched& watched) {
  const auto number = shownFrameNumber(connection_.get(), watched.window, size_);
  const auto now = Clock::now();
  const std::lock_guard lock(mutex_);
  if (!number || *number <= watched.shown) return;
  watched.shown = *number;
  const auto swapped = watched.swapped[static_cast<size_t>(*number) % kRemembered];
  delays_.push_back(std::chrono::duration<double, std::milli>(now - swapped).count());
  news_.notify_all();
}

} // namespace zol::bench
