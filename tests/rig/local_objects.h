#pragma once

#include "rig/fixture.h"

namespace zol::rig {

// The argument of a recorded call at this place, counted from 0, as an id.
XID argument(const std::string& call, int index);

// What the local server has, seen over a connection of the test's own.
struct LocalGeometry {
  unsigned width = 0;
  unsigned height = 0;
  unsigned depth = 0;
};
LocalGeometry localGeometry(Display* local, XID drawable); // all 0: there is none
bool localExists(Display* local, XID drawable);
void fillLocal(Display* local, XID drawable, unsigned long colour);

// The children of the root window that are named as the windows of the library are.
std::vector<Window> hiddenWindows(Display* local);
std::string windowName(Display* local, Window window);

struct CardinalProperty {
  unsigned long count = 0; // of 32-bit CARDINALs; 0: there is no such property
  unsigned long value = 0; // the first
};
CardinalProperty cardinalProperty(Display* local, Window window, const char* name);

// The path of this program.
std::string ownPath();

} // namespace zol::rig
