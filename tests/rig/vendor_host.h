#pragma once

#include "vendor/glx_api.h"

#include <glvnd/libglxabi.h>

#include <string>
#include <vector>

namespace zol::rig {

// Stands where GLVND's GLX front end stands: loads the vendor library under test, calls its
// __glx_Main with records like GLVND's, and asks it for functions by name.
// Thread safety: get() may be called from any thread once enter() has returned.
class VendorHost {
public:
  // Loads the library; ends the process with a message when that fails.
  explicit VendorHost(const char* library = ZOL_LIBRARY);
  VendorHost(const VendorHost&) = delete;
  VendorHost& operator=(const VendorHost&) = delete;

  // Calls __glx_Main; its result. The imports record is made anew for each call: slot 0 to 8 hold
  // the addresses that slotAsGiven() returns.
  int enter(std::uint32_t version = 1u << 16);

  const __GLXapiImports& imports() const { return imports_; }
  const __GLXapiExports* exports() const;
  __GLXvendorInfo* vendorInfo() const;
  // One of the nine slots, as it is now and as it was handed over.
  void* slot(int index) const;
  static void* slotAsGiven(int index);
  static std::vector<void*> slotsAsGiven();

  // The function GLVND would dispatch to, null when the library does not have it.
  void* find(const char* name) const;
  // The same, typed; fails the process with a message on null.
  template <class Function>
  Function get(const char* name) const {
    return reinterpret_cast<Function>(require(name));
  }

private:
  void* require(const char* name) const;

  void* library_;
  __GLXapiImports imports_{};
};

// GL_OF(host, glXMakeCurrent)(dpy, window, context)
#define GL_OF(host, function) (host).get<decltype(&::function)>(#function)

} // namespace zol::rig
