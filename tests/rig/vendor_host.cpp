#include "rig/vendor_host.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace zol::rig {
namespace {

constexpr int kSlots = sizeof(__GLXapiImports) / sizeof(void*);

// Addresses that are nothing but recognisable.
char givenSlots[kSlots];
char vendorInfoMark;

// What a vendor may ask of GLVND. The library under test hands the record on and never calls it.
const __GLXapiExports kExports{};

} // namespace

VendorHost::VendorHost(const char* library) : library_(dlopen(library, RTLD_NOW)) {
  if (library_ != nullptr) return;
  std::fprintf(stderr, "the library under test cannot be loaded: %s\n", dlerror());
  std::abort();
}

int VendorHost::enter(std::uint32_t version) {
  std::memcpy(&imports_, slotsAsGiven().data(), sizeof imports_);
  const auto entry = reinterpret_cast<__PFNGLXMAINPROC>(dlsym(library_, __GLX_MAIN_PROTO_NAME));
  if (entry == nullptr) {
    std::fprintf(stderr, "the library under test has no entry: %s\n", dlerror());
    std::abort();
  }
  return entry(version, exports(), vendorInfo(), &imports_);
}

const __GLXapiExports* VendorHost::exports() const {
  return &kExports;
}

__GLXvendorInfo* VendorHost::vendorInfo() const {
  return reinterpret_cast<__GLXvendorInfo*>(&vendorInfoMark);
}

void* VendorHost::slot(int index) const {
  void* slots[kSlots];
  std::memcpy(slots, &imports_, sizeof imports_);
  return slots[index];
}

void* VendorHost::slotAsGiven(int index) {
  return &givenSlots[index];
}

std::vector<void*> VendorHost::slotsAsGiven() {
  std::vector<void*> slots;
  for (int i = 0; i < kSlots; ++i)
    slots.push_back(slotAsGiven(i));
  return slots;
}

void* VendorHost::find(const char* name) const {
  return imports_.getProcAddress(reinterpret_cast<const GLubyte*>(name));
}

void* VendorHost::require(const char* name) const {
  void* const address = find(name);
  if (address != nullptr) return address;
  std::fprintf(stderr, "the library under test does not have %s\n", name);
  std::abort();
}

} // namespace zol::rig
