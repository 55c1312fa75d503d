// Loaded before a program, it makes calls that the vendor library makes fail, as where memory,
// shared memory or threads have run out. The variable ZOLTEST_FAIL says which: "NAME" all of them,
// "NAME FIRST COUNT" as many from that one on. NAME is a function, "memory" (every way to
// allocate), "malloc:BYTES", "dlopen:FILE", or a function that the library looks up while it runs.
// How many calls there were is said on standard error at the end when COUNT is 0.
#include <X11/Xlib.h>
#include <X11/extensions/XShm.h>

#include <dlfcn.h>
#include <errno.h>
#include <link.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/shm.h>

#define EXPORTED __attribute__((visibility("default")))

// Not by their plain names, which the loader itself uses before it can be asked for the next ones.
#ifdef ZOL_SANITIZED
#define ALLOCATOR(function) __interceptor_##function
#else
#define ALLOCATOR(function) __libc_##function
#endif
extern void* ALLOCATOR(malloc)(size_t);
extern void* ALLOCATOR(calloc)(size_t, size_t);
extern void* ALLOCATOR(realloc)(void*, size_t);

static char wanted[64];
static int first = 1;
static int count = 1 << 30;
static size_t wantedSize;
static atomic_int calls;

__attribute__((constructor)) static void readWish(void) {
  const char* const wish = getenv("ZOLTEST_FAIL");
  if (wish == NULL) return;
  sscanf(wish, "%63s %d %d", wanted, &first, &count);
  sscanf(wanted, "malloc:%zu", &wantedSize);
}

__attribute__((destructor)) static void report(void) {
  if (count == 0) fprintf(stderr, "%s was called %d times\n", wanted, atomic_load(&calls));
}

static bool isVendorLibrary(void* address) {
  struct dl_find_object found;
  if (_dl_find_object(address, &found) != 0) return false;
  const char* const name = found.dlfo_link_map->l_name;
  return name != NULL && strstr(name, "/libGLX_zol.so") != NULL;
}

static bool counts(void) {
  const int call = atomic_fetch_add(&calls, 1) + 1;
  return call >= first && call - first < count;
}

#define FAILS(name)                                                                                \
  (strcmp(wanted, name) == 0 && isVendorLibrary(__builtin_return_address(0)) && counts())

typedef void* (*Dlsym)(void*, const char*);

static Dlsym nextDlsym(void) {
  static Dlsym found;
  if (found == NULL) found = (Dlsym)dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.34");
  return found;
}

#define NEXT(function)                                                                             \
  ({                                                                                               \
    static __typeof__(&function) found;                                                            \
    if (found == NULL) found = (__typeof__(&function))nextDlsym()(RTLD_NEXT, #function);           \
    found;                                                                                         \
  })

// What the library looks up -------------------------------------------------------------------

EXPORTED int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                            void* (*run)(void*), void* argument) {
  return FAILS("pthread_create") ? EAGAIN : NEXT(pthread_create)(thread, attributes, run, argument);
}

EXPORTED int pthread_key_create(pthread_key_t* key, void (*destructor)(void*)) {
  return FAILS("pthread_key_create") ? EAGAIN : NEXT(pthread_key_create)(key, destructor);
}

EXPORTED int pthread_setspecific(pthread_key_t key, const void* value) {
  return FAILS("pthread_setspecific") ? ENOMEM : NEXT(pthread_setspecific)(key, value);
}

EXPORTED int sem_init(sem_t* semaphore, int shared, unsigned value) {
  if (!FAILS("sem_init")) return NEXT(sem_init)(semaphore, shared, value);
  errno = ENOSPC;
  return -1;
}

// The library looks in the threads library, past the functions above. Built with sanitizers it does
// not, and their runtime would look up its own functions in place of the next ones through this.
#ifndef ZOL_SANITIZED
EXPORTED void* dlsym(void* library, const char* name) {
  const bool ours = strcmp(wanted, name) == 0 && isVendorLibrary(__builtin_return_address(0));
  return nextDlsym()(ours ? RTLD_DEFAULT : library, name);
}
#endif

EXPORTED void* dlopen(const char* file, int mode) {
  const bool named = file != NULL && strncmp(wanted, "dlopen:", 7) == 0 &&
                     strcmp(wanted + 7, file) == 0 &&
                     isVendorLibrary(__builtin_return_address(0)) && counts();
  return NEXT(dlopen)(named ? "/nonexistent/made-to-fail" : file, mode);
}

// Memory --------------------------------------------------------------------------------------

static void* noMemory(void) {
  errno = ENOMEM;
  return NULL;
}

EXPORTED void* malloc(size_t size) {
  if (FAILS("memory")) return noMemory();
  if (size == wantedSize && isVendorLibrary(__builtin_return_address(0)) && counts())
    return noMemory();
  return ALLOCATOR(malloc)(size);
}

EXPORTED void* calloc(size_t number, size_t size) {
  return FAILS("memory") ? noMemory() : ALLOCATOR(calloc)(number, size);
}

EXPORTED void* realloc(void* memory, size_t size) {
  return FAILS("memory") ? noMemory() : ALLOCATOR(realloc)(memory, size);
}

EXPORTED char* strdup(const char* text) {
  return FAILS("memory") ? noMemory() : NEXT(strdup)(text);
}

EXPORTED char* strndup(const char* text, size_t size) {
  return FAILS("memory") ? noMemory() : NEXT(strndup)(text, size);
}

// C++ allocates with malloc(), but for the sanitizers' own way, which fails by an exception.
#ifdef ZOL_SANITIZED
extern void* _Znwm(size_t);
extern _Noreturn void _ZSt17__throw_bad_allocv(void);

EXPORTED void* _Znwm(size_t size) {
  if (FAILS("memory")) NEXT(_ZSt17__throw_bad_allocv)();
  return NEXT(_Znwm)(size);
}
#endif

// Shared memory -------------------------------------------------------------------------------

EXPORTED int shmget(key_t key, size_t size, int flags) {
  if (!FAILS("shmget")) return NEXT(shmget)(key, size, flags);
  errno = ENOSPC;
  return -1;
}

EXPORTED void* shmat(int id, const void* address, int flags) {
  return FAILS("shmat") ? (noMemory(), (void*)-1) : NEXT(shmat)(id, address, flags);
}

EXPORTED Bool XShmAttach(Display* display, XShmSegmentInfo* segment) {
  return FAILS("XShmAttach") ? False : NEXT(XShmAttach)(display, segment);
}

// Xlib ----------------------------------------------------------------------------------------

EXPORTED Display* XOpenDisplay(const char* name) {
  if (FAILS("XOpenDisplay")) return NULL;
  // The library's default: it may be anybody's.
  if (name != NULL && strcmp(name, ":0.0") == 0 && isVendorLibrary(__builtin_return_address(0)))
    return NULL;
  return NEXT(XOpenDisplay)(name);
}
