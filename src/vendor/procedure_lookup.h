#pragma once

#include "vendor/glx_api.h"

// Which function answers for a GL or GLX name. The interposer table is filled once, before GLVND
// can ask; every lookup afterwards is without locks and allocates nothing.

// Fills the interposer table from hooks.def. Without memory a std::bad_alloc: a program that got
// some of the interposers would break. Where the table has no buckets it stays empty.
void initializeZolHooks();

// The library's interposer for `name`, null for a withheld name, else the system vendor's function.
// With `systemOnly` the interposers are passed over.
void* glXGLVNDGetProcAddressInternal(const GLubyte* name, bool systemOnly);

// The glXGetProcAddress that programs see. Its table is lookup.def, not the interposer table.
void (*zol_glXGetProcAddress(const GLubyte* name))();
void (*zol_glXGetProcAddressARB(const GLubyte* name))();
