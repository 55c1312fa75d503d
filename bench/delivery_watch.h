#pragma once

#include "frame_counter.h"
#include "size.h"
#include "x_connection.h"

#include <X11/Xlib.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace zol::bench {

// Watches numbered frames reach windows of this process, on a thread and a connection of its own.
class DeliveryWatch {
public:
  DeliveryWatch(const std::vector<Window>& windows, Size size);
  ~DeliveryWatch();
  DeliveryWatch(const DeliveryWatch&) = delete;
  DeliveryWatch& operator=(const DeliveryWatch&) = delete;

  // The frame is about to be swapped. The numbers of each window count up from 1.
  void swapping(size_t window, int number);
  // Waits until the window shows the frame or a later one. Throws std::runtime_error when it does
  // not within some seconds.
  void awaitShown(size_t window, int number);

  struct Delivered {
    std::vector<int> frames;    // that reached each window
    std::vector<double> delays; // from swap to window, milliseconds, where the number was seen
  };
  // Since the last time.
  Delivered take();

private:
  using Clock = std::chrono::steady_clock;
  static constexpr size_t kRemembered = 4096; // frames that may be on their way

  struct Watched {
    Window window;
    FrameCounter counter = {};
    int counted = 0; // of the counter's frames
    int shown = 0;
    std::array<Clock::time_point, kRemembered> swapped = {};
  };

  void run();
  void takeEvents(std::vector<bool>* painted);
  void look(Watched& watched);

  XConnection connection_;
  const Size size_;
  int damageEvents_ = 0;

  std::mutex mutex_;
  std::condition_variable news_;
  std::vector<Watched> windows_; // guarded by mutex_, but for the names of the windows
  std::vector<double> delays_;   // guarded by mutex_
  bool stopped_ = false;         // guarded by mutex_
  std::thread thread_;
};

} // namespace zol::bench
