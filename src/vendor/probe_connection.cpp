#include "vendor/probe_connection.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace {

std::atomic<Display*> probed{nullptr};
std::atomic<XIOErrorHandler> programsHandler{nullptr};
thread_local bool opening = false;

int passOnUnlessOurs(Display* display) {
  if (display == probed) return 0;
  if (opening) {
    // Xlib cannot be kept from an exit yet. It had better be one that nobody is told of.
    std::fprintf(stderr, "X connection to %s broken\n", DisplayString(display));
    std::fflush(nullptr);
    std::_Exit(1);
  }
  return programsHandler.load()(display);
}

// Takes the place of Xlib's exit().
void goOn(Display*, void*) {}

} // namespace

ProbeConnection::ProbeConnection(const char* name) {
  programsHandler = XSetIOErrorHandler(nullptr); // known before ours may be called
  XSetIOErrorHandler(passOnUnlessOurs);
  opening = true;
  display_ = XOpenDisplay(name);
  opening = false;
  if (display_ != nullptr) XSetIOErrorExitHandler(display_, goOn, nullptr);
  probed = display_;
}

ProbeConnection::~ProbeConnection() {
  if (display_ != nullptr) XCloseDisplay(display_);
  probed = nullptr;
  XSetIOErrorHandler(programsHandler);
}
