#pragma once

#include "vendor/glx_api.h"

// The driver's functions, one process-wide pointer system_<function> each; null where the system
// vendor does not have the function. Written once by setup_sysgl(), read without locks afterwards.
#define ZOL_SYSTEM_FUNCTION(name, message) extern decltype(&::name) system_##name;
#include "vendor/system_functions.def"

// Resolves the table through the system vendor's getProcAddress. `handle` is the loader's handle of
// the system vendor library. A function that is missing is reported and stays null.
void setup_sysgl(void* handle);
