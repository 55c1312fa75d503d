#pragma once

#include "child_process.h"
#include "frame_counter.h"
#include "size.h"
#include "x_connection.h"

#include <X11/Xlib.h>

#include <chrono>
#include <optional>
#include <string>

namespace zol::bench {

using Clock = std::chrono::steady_clock;

// Waits for a program's window and counts the frames that reach it. Every wait throws
// std::runtime_error, with a sentence that says what did not happen, when the program ends, when
// its window goes away, when the patience runs out, or when this program is interrupted.
class WindowWatch {
public:
  // Windows that are mapped from here on are the program's.
  explicit WindowWatch(XConnection& connection);

  // Waits for the first window that the program maps.
  void awaitWindow(ChildProcess& program, Clock::duration patience);
  void resize(Size size);
  // Starts to count; what was painted before does not count.
  void startCounting();
  // Waits for the first frame, and returns when it came.
  Clock::time_point awaitFrame(ChildProcess& program, Clock::duration patience);
  // Counts on until that time.
  void countUntil(Clock::time_point end, ChildProcess& program);

  Window window() const { return window_; }
  std::string title() const;
  Size windowSize() const;
  int frames() const { return counter_.frames(); }

private:
  template <class Done>
  bool waitUntil(Clock::time_point end, ChildProcess& program, const Done& done);
  void take(const XEvent& event);
  bool isProgramWindow(Window window) const;

  XConnection& connection_;
  Display* const display_;
  const Window root_;
  int damageEvents_ = 0;
  Window window_ = None;
  bool windowGone_ = false;
  FrameCounter counter_;
};

// SIGINT, SIGTERM and SIGHUP end the waits, so that the program watched is ended too.
void catchInterrupts();

} // namespace zol::bench
