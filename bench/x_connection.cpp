#include "x_connection.h"

#include <stdexcept>

namespace zol::bench {

namespace {

int errors = 0;

int countError(Display*, XErrorEvent*) {
  ++errors;
  return 0;
}

} // namespace

XConnection::XConnection() : display_(XOpenDisplay(nullptr)) {
  if (display_) return;
  const std::string name = XDisplayName(nullptr);
  throw std::runtime_error(name.empty() ? "DISPLAY is not set"
                                        : "cannot open the display '" + name + "'");
}

void countXErrors() {
  XSetErrorHandler(countError);
}

int xErrorCount() {
  return errors;
}

} // namespace zol::bench
