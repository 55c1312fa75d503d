#pragma once

#include "vendor/glx_api.h"

#include <glvnd/libglxabi.h>

#include <cstdint>

// What GLVND handed over and which driver library was bound. Written on the thread that runs
// __glx_Main only, before any function of the library can be called; read without locks afterwards.
struct VendorState {
  const __GLXapiExports* glvndExports = nullptr; // GLVND's own, handed on to the system vendor
  std::uint32_t glvndVersion = 0;
  __GLXvendorInfo* glvndVendorInfo = nullptr;
  __GLXapiImports systemImports{}; // filled in by the system vendor; getProcAddress is its resolver
  void* systemVendorHandle = nullptr;
};

// The record of nine pointer-sized slots is GLVND's ABI 1.
static_assert(sizeof(__GLXapiImports) == 9 * sizeof(void*));

extern VendorState vendorState;
