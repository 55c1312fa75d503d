#include "drawable/local_pixmap_window.h"

#include "foundation/process.h"
#include "foundation/strings.h"

#include <X11/Xatom.h>

#include <unistd.h>

namespace {

// Guarded by the local display mutex.
Window window = None;
Display* madeOn = nullptr;

} // namespace

Window getLocalPixmapWindow(Display* local) {
  if (window != None) return window;

  const long pid = getpid(); // format 32 means longs
  madeOn = local;
  const Atom pidProperty = XInternAtom(local, "_NET_WM_PID", False);
  window = XCreateSimpleWindow(local, DefaultRootWindow(local), 0, 0, 10, 10, 0, 0, 0);
  char exe[256];
  if (zolGetCurrentProcessExe(exe, sizeof exe) > 0) {
    char name[512];
    zolSprintf(name, sizeof name, "%s (ZOL-GL)", exe);
    XStoreName(local, window, name);
  }
  XChangeProperty(local, window, pidProperty, XA_CARDINAL, 32, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(&pid), 1);
  XFlush(local);
  return window;
}

void forgetLocalPixmapWindow(Display* local) {
  if (local == madeOn) window = None;
}
