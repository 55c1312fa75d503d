#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <vector>

// An X server and a system of shared memory without either: every call is recorded, what they
// answer is data of the test.
namespace fake {

extern Display* const display;

// The handler that is installed before the code under test installs one.
int applicationErrorHandler(Display*, XErrorEvent*);

struct Server {
  bool makesGC = true;
  int visuals = 1; // that XGetVisualInfo finds
  int depth = 24;
  int bitsPerPixel = 32;
  bool hasShm = true;
  bool makesImages = true;
  bool makesSegments = true;
  bool mapsSegments = true;
  bool attaches = true; // XShmAttach can be sent
  bool puts = true;     // XShmPutImage can be sent
  int attachError = 0;  // error code that the server answers XShmAttach with, at the next XSync
  int putError = 0;     // the same for XShmPutImage
  int plainError = 0;   // raised by the XSync that ends a set-up without shared memory

  int mappedSegments = 0;
  int liveImages = 0;
  std::vector<unsigned char> painted; // the bytes of the last image put
};

Server& resetServer();
XErrorHandler installedErrorHandler();

} // namespace fake
