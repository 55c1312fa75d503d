#pragma once

#include <X11/Xlib.h>

// Whether two connections, or two display names, lead to the same X server. Names are compared as
// host and display part; hosts are resolved. A name without a colon never equals the same name with
// ":0.0" behind it: deliberate.
bool zolIsSameXDisplay(Display* a, Display* b);
bool zolIsSameXDisplayName(const char* a, const char* b);

// Whether two host names or dotted IPv4 addresses designate one machine; the empty name is this
// one.
bool sameHost(const char* a, const char* b);
