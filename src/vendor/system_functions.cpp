#include "vendor/system_functions.h"

#include "foundation/log.h"
#include "vendor/procedure_lookup.h"

#include <cstring>
#include <dlfcn.h>

#define ZOL_SYSTEM_FUNCTION(name, message) decltype(&::name) system_##name = nullptr;
#include "vendor/system_functions.def"

namespace {

struct Row {
  const char* name;
  const char* nullMessage; // null: absence is not reported
  void (*store)(void* address);
  bool (*missing)();
};

constexpr Row kRows[] = {
#define ZOL_SYSTEM_FUNCTION(name, message)                                                         \
  {#name, message,                                                                                 \
   [](void* address) { system_##name = reinterpret_cast<decltype(&::name)>(address); },            \
   [] { return system_##name == nullptr; }},
#include "vendor/system_functions.def"
};
static_assert(sizeof(kRows) / sizeof(kRows[0]) == 157);

// Some drivers answer this one name wrongly through getProcAddress; their library exports it.
constexpr char kExportedName[] = "glDisableVertexAttribArray";

} // namespace

void setup_sysgl(void* handle) {
  for (const Row& row : kRows) {
    row.store(
        std::strcmp(row.name, kExportedName) == 0
            ? dlsym(handle, row.name)
            : glXGLVNDGetProcAddressInternal(reinterpret_cast<const GLubyte*>(row.name), true));
  }
  for (const Row& row : kRows) {
    if (row.nullMessage != nullptr && row.missing()) ZOLGL_ERROR_STDERR("%s", row.nullMessage);
  }
}
