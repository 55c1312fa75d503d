#include "foundation/runtime_symbols.h"

#include "foundation/sanitized.h"

#include <cstdio>
#include <dlfcn.h>

namespace zol {

constinit RuntimeSymbols runtimeSymbols{};

namespace {

constexpr int SYMBOL_COUNT = 0
#define ZOL_THREAD_SYMBOL(name) +1
#define ZOL_CLOCK_SYMBOL(name) +1
#include "foundation/runtime_symbols.def"
    ;
static_assert(SYMBOL_COUNT == 19);

void* threadLibrary = nullptr;
void* clockLibrary = nullptr;

void* threadScope() {
#ifdef ZOL_SANITIZED
  // The sanitizers see threads and locks only through their own functions, which come first in the
  // process's scope and are not in the threads library.
  return RTLD_DEFAULT;
#else
  return threadLibrary;
#endif
}

template <class Function>
bool find(void* scope, const char* name, Function& entry) {
  entry = reinterpret_cast<Function>(dlsym(scope, name));
  return entry != nullptr;
}

template <class Function>
bool loadClockSymbol(const char* name, Function& entry) {
  if (find(RTLD_DEFAULT, name, entry)) return true;
  clockLibrary = dlopen("librt.so.1", RTLD_NOW);
  if (!clockLibrary) clockLibrary = dlopen("librt.so", RTLD_NOW);
  if (!clockLibrary) {
    std::fputs("Failed to open librt\n", stderr);
    return false;
  }
  find(clockLibrary, name, entry); // not found there: not reported
  return true;
}

template <class Function>
bool loadThreadSymbol(const char* name, Function& entry) {
  if (find(threadScope(), name, entry)) return true;
  std::fprintf(stderr, "Failed to load %s\n", name);
  return false;
}

void close(void*& library) {
  if (library) dlclose(library);
  library = nullptr;
}

} // namespace

bool isMultiThreadApplication() {
  static const bool found = dlsym(RTLD_DEFAULT, "pthread_create") != nullptr;
  return found;
}

bool initRuntimeSymbols() {
  isMultiThreadApplication(); // its answer must be that of the process before anything is loaded

#define ZOL_THREAD_SYMBOL(name)
#define ZOL_CLOCK_SYMBOL(name)                                                                     \
  if (!loadClockSymbol(#name, runtimeSymbols.name)) return false;
#include "foundation/runtime_symbols.def"

  threadLibrary = dlopen("libpthread.so.0", RTLD_NOW);
  if (!threadLibrary) {
    std::fputs("Failed to open libpthread.so.0\n", stderr);
    return false;
  }

#define ZOL_THREAD_SYMBOL(name)                                                                    \
  if (!loadThreadSymbol(#name, runtimeSymbols.name)) return false;
#define ZOL_CLOCK_SYMBOL(name)
#include "foundation/runtime_symbols.def"
  return true;
}

void finiRuntimeSymbols() {
  close(threadLibrary);
  close(clockLibrary);
}

} // namespace zol
