// Loaded before a program, it makes calls that the vendor library makes fail, as where memory,
// shared memory or threads have run out. The variable ZOLTEST_FAIL says which: "NAME" all of them,
// "NAME FIRST COUNT" as many from that one on. NAME is a function, "memory" (every way to
// allocate), "dlopen:FILE", or a function that the library looks up while it runs. How many calls
// there were is said on standard error at the end when COUNT is 0.
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

extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void* __libc_realloc(void*, size_t);

static char wanted[64];
static int first = 1;
static int count = 1 << 30;
static atomic_int calls;

__attribute__((constructor)) static void readWish(void) {
  const char* const wish = getenv("ZOLTEST_FAIL");
  if (wish != NULL) sscanf(wish, "%63s %d %d", wanted, &first, &count);
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

#define NEXT(function) ((__typeof__(&function))nextDlsym()(RTLD_NEXT, #function))

// What the library looks up -------------------------------------------------------------------

static int failingCreate(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                         void* argument) {
  return counts() ? EAGAIN : pthread_create(thread, attributes, run, argument);
}

static int failingKeyCreate(pthread_key_t* key, void (*destructor)(void*)) {
  return counts() ? EAGAIN : pthread_key_create(key, destructor);
}

static int failingSetSpecific(pthread_key_t key, const void* value) {
  return counts() ? ENOMEM : pthread_setspecific(key, value);
}

static int failingSemInit(sem_t* semaphore, int shared, unsigned value) {
  if (!counts()) return sem_init(semaphore, shared, value);
  errno = ENOSPC;
  return -1;
}

static const struct {
  const char* name;
  void* address;
} lookedUp[] = {
    {"pthread_create", failingCreate},
    {"pthread_key_create", failingKeyCreate},
    {"pthread_setspecific", failingSetSpecific},
    {"sem_init", failingSemInit},
};

EXPORTED void* dlsym(void* library, const char* name) {
  if (strcmp(wanted, name) == 0 && isVendorLibrary(__builtin_return_address(0))) {
    for (size_t i = 0; i < sizeof lookedUp / sizeof *lookedUp; ++i) {
      if (strcmp(lookedUp[i].name, name) == 0) return lookedUp[i].address;
    }
  }
  return nextDlsym()(library, name);
}

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
  return FAILS("memory") ? noMemory() : __libc_malloc(size);
}

EXPORTED void* calloc(size_t number, size_t size) {
  return FAILS("memory") ? noMemory() : __libc_calloc(number, size);
}

EXPORTED void* realloc(void* memory, size_t size) {
  return FAILS("memory") ? noMemory() : __libc_realloc(memory, size);
}

EXPORTED char* strdup(const char* text) {
  return FAILS("memory") ? noMemory() : NEXT(strdup)(text);
}

EXPORTED char* strndup(const char* text, size_t size) {
  return FAILS("memory") ? noMemory() : NEXT(strndup)(text, size);
}

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
  return FAILS("XOpenDisplay") ? NULL : NEXT(XOpenDisplay)(name);
}
