#include "foundation/fakes.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <langinfo.h>
#include <locale.h>
#include <new>
#include <sys/auxv.h>
#include <sys/types.h>

Fakes fakes;
std::mutex fakesMutex;

namespace {

bool allocationFails(std::optional<int>& left) {
  if (!left) return false;
  if ((*left)-- > 0) return false;
  left.reset();
  return true;
}

std::string resolve(const char* path) {
  const std::lock_guard lock(fakesMutex);
  const auto found = fakes.paths.find(path);
  return found == fakes.paths.end() ? path : found->second;
}

} // namespace

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  if (allocationFails(fakes.newsLeft)) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

extern "C" {

int __real_access(const char*, int);
int __wrap_access(const char* path, int mode) {
  return __real_access(resolve(path).c_str(), mode);
}

FILE* __real_fopen(const char*, const char*);
FILE* __wrap_fopen(const char* path, const char* mode) {
  return __real_fopen(resolve(path).c_str(), mode);
}

int __real_dlclose(void*);
int __wrap_dlclose(void* handle) {
  fakes.dlclosed.push_back(handle);
  return fakes.closeForReal ? __real_dlclose(handle) : 0;
}

void* __real_dlopen(const char*, int);
void* __wrap_dlopen(const char* file, int flags) {
  fakes.dlopened.push_back(file);
  fakes.dlopenFlags.push_back(flags);
  if (fakes.dlopen)
    if (const auto answer = fakes.dlopen(file)) return *answer;
  return __real_dlopen(file, flags);
}

void* __real_dlsym(void*, const char*);
void* __wrap_dlsym(void* handle, const char* name) {
  fakes.dlsymed.push_back(name);
  if (fakes.dlsym)
    if (const auto answer = fakes.dlsym(handle, name)) return *answer;
  return __real_dlsym(handle, name);
}

int __real_gettimeofday(timeval*, void*);
int __wrap_gettimeofday(timeval* now, void* zone) {
  if (!fakes.now) return __real_gettimeofday(now, zone);
  *now = *fakes.now;
  return 0;
}

unsigned long __real_getauxval(unsigned long);
unsigned long __wrap_getauxval(unsigned long type) {
  return type == AT_SECURE && fakes.privileged ? 1 : __real_getauxval(type);
}

void* __real_malloc(size_t);
void* __wrap_malloc(size_t size) {
  return allocationFails(fakes.mallocsLeft) ? nullptr : __real_malloc(size);
}

char* __real_strdup(const char*);
char* __wrap_strdup(const char* text) {
  return allocationFails(fakes.strdupsLeft) ? nullptr : __real_strdup(text);
}

ssize_t __real_readlink(const char*, char*, size_t);
ssize_t __wrap_readlink(const char* path, char* buffer, size_t size) {
  if (!fakes.link) return __real_readlink(path, buffer, size);
  if (fakes.link->empty()) {
    errno = ENOENT;
    return -1;
  }
  const size_t length = std::min(size, fakes.link->size());
  std::memcpy(buffer, fakes.link->data(), length);
  return static_cast<ssize_t>(length);
}

void __wrap_sync() {
  if (fakes.sync) fakes.sync();
}

locale_t __real_uselocale(locale_t);
locale_t __wrap_uselocale(locale_t locale) {
  const locale_t previous = __real_uselocale(locale);
  if (locale) {
    const std::lock_guard lock(fakesMutex);
    fakes.radixCharacters.emplace_back(nl_langinfo(RADIXCHAR));
  }
  return previous;
}
}
