#pragma once

#include "rig/vendor_host.h"
#include "x_connection.h"

#include <string>

namespace zol::bench {

// The vendor library above the null driver, without GLVND: the functions of both are at hand as a
// program would get them, so that GLVND's dispatch is in neither side of a comparison.
class CallRig {
public:
  // Uses so many of the application display's visuals. Throws std::runtime_error that says what is
  // missing.
  explicit CallRig(int visuals);

  Display* display() const { return connection_.get(); }
  const rig::VendorHost& ours() const { return ours_; }
  const rig::VendorHost& drivers() const { return drivers_; }

  // All windows have the same double-buffered visual and are mapped.
  Window createWindow() const;
  GLXContext createContext() const;
  void makeCurrent(Window window, GLXContext context) const;

private:
  XVisualInfo visual() const;

  XConnection connection_;
  rig::VendorHost ours_;
  rig::VendorHost drivers_;
};

} // namespace zol::bench
