#pragma once

#include <X11/Xlib.h>

#include <memory>

namespace zol::softgpu {

// While it lives, X errors of requests made on one connection since its construction are kept from
// the program's error handler. Nothing process-wide is touched.
class ErrorTrap {
public:
  explicit ErrorTrap(Display* display);
  ~ErrorTrap();
  ErrorTrap(const ErrorTrap&) = delete;
  ErrorTrap& operator=(const ErrorTrap&) = delete;

  // Whether there was one. Waits for the server to have seen every request.
  bool caught();

private:
  struct Handler;
  std::unique_ptr<Handler> handler_;
};

} // namespace zol::softgpu
