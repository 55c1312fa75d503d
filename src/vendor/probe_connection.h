#pragma once

#include <X11/Xlib.h>

// A connection that is opened to look at a server while GLVND loads the library. A server that goes
// away meanwhile is seen as one that does not answer: Xlib would end the program, and an exit below
// GLVND waits for ever for the lock that GLVND holds.
// Thread safety: one such connection at a time, as GLVND's lock makes sure.
class ProbeConnection {
public:
  explicit ProbeConnection(const char* name); // null: the display of the environment
  ~ProbeConnection();
  ProbeConnection(const ProbeConnection&) = delete;
  ProbeConnection& operator=(const ProbeConnection&) = delete;

  Display* get() const { return display_; } // null when it could not be opened

  // Leaves it open for good: nothing may be asked on it any more, not even to close it.
  void abandon() { display_ = nullptr; }

private:
  Display* display_;
};
