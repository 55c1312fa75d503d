// The driver's functions as the code under test sees them: null until a test sets them.
#include "vendor/system_functions.h"

#define ZOL_SYSTEM_FUNCTION(name, message) decltype(&::name) system_##name;
#include "vendor/system_functions.def"
