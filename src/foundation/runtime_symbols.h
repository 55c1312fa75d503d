#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

namespace zol {

// The library lives in programs that may not be linked with the threads library, so it links none
// of these functions: every lock, semaphore, thread, once-control, thread-local key and clock reads
// its function from here.
struct RuntimeSymbols {
#define ZOL_THREAD_SYMBOL(name) decltype(&::name) name;
#define ZOL_CLOCK_SYMBOL(name) decltype(&::name) name;
#include "foundation/runtime_symbols.def"
};

// Filled by initRuntimeSymbols() before any other work of the library, constant afterwards; all
// entries are null before that.
extern RuntimeSymbols runtimeSymbols;

// Fills the table. False, with one line on standard error, at the first thing that is missing; the
// entries after it stay null. Call once.
bool initRuntimeSymbols();

// Closes the libraries that initRuntimeSymbols() opened. The table keeps its entries.
void finiRuntimeSymbols();

// Whether the application itself brought the threads library. Fixed at the first call.
bool isMultiThreadApplication();

} // namespace zol
