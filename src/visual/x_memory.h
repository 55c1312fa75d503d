#pragma once

#include <X11/Xlib.h>

#include <memory>

struct XMemoryDeleter {
  void operator()(void* memory) const { XFree(memory); }
};

// Memory that Xlib or the driver's GLX handed out.
template <class T>
using XMemory = std::unique_ptr<T, XMemoryDeleter>;
