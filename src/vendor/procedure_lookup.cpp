#include "vendor/procedure_lookup.h"

#include "display/contexts.h"
#include "display/make_current.h"
#include "drawable/glx_drawables.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "foundation/map.h"
#include "frame/frame_triggers.h"
#include "frame/front_buffer.h"
#include "frame/other_entry_points.h"
#include "frame/texture_from_pixmap.h"
#include "frame/x_font.h"
#include "vendor/glx_strings.h"
#include "vendor/guarded.h"
#include "vendor/system_functions.h"
#include "vendor/vendor_state.h"
#include "visual/fbconfig_queries.h"
#include "visual/visual_queries.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>

namespace {

using zol::text;

using InterposerTable = zol::Map<const char*, void*>;

// Emptied at exit but not destroyed: a program may look names up while it ends, and then gets the
// driver's functions.
alignas(InterposerTable) std::byte interposerStorage[sizeof(InterposerTable)];
InterposerTable& interposerTable = *new (interposerStorage) InterposerTable;
struct InterposerTableEnd {
  ~InterposerTableEnd() { interposerTable.release(); }
} const interposerTableEnd;

const char* asText(const GLubyte* name) {
  return reinterpret_cast<const char*>(name);
}

consteval std::uint32_t hashOf(const char* name) {
  return zol::Hash<const char*>()(name);
}

struct Interposer {
  std::uint32_t hash; // of the name: most names need no closer look
  const char* name;
  void (*address)();
};

// The functions that answer 0 for success say without memory what they say without a display.
template <auto function>
constexpr int kFailure = 0;
template <>
constexpr int kFailure<&zol_glXGetConfig> = GLX_BAD_VISUAL;
template <>
constexpr int kFailure<&zol_glXQueryContext> = -1;

template <auto function>
constexpr auto kHandedOut = &zol::Guarded<function, kFailure<function>>::call;

constexpr std::size_t kHookRows = 0
#define ZOL_HOOK(name) +1
#define ZOL_WITHHELD(name) +1
#include "vendor/hooks.def"
    ;
static_assert(kHookRows == 94);

} // namespace

void initializeZolHooks() {
  if (interposerTable.bucketCount() == 0) return;
#define ZOL_HOOK(name) interposerTable[#name] = reinterpret_cast<void*>(kHandedOut<&zol_##name>);
#define ZOL_WITHHELD(name) interposerTable[#name] = nullptr;
#include "vendor/hooks.def"
}

void* glXGLVNDGetProcAddressInternal(const GLubyte* name, bool systemOnly) {
  ZOLGL_INFO("Requested %s function address", text(asText(name)));
  if (!systemOnly) {
    if (void** const found = interposerTable.find(asText(name))) {
      ZOLGL_DEBUG("%s function address was internally resolved", text(asText(name)));
      return *found;
    }
  }
  if (vendorState.systemVendorHandle == nullptr ||
      vendorState.systemImports.getProcAddress == nullptr) {
    ZOLGL_ERROR("FATAL ERROR - no system glVND library was detected!");
    return nullptr;
  }
  void* const address = vendorState.systemImports.getProcAddress(name);
  if (address == nullptr) {
    ZOLGL_DEBUG("Could not resolve %s internally or at the system level - this is going to be NULL",
                text(asText(name)));
  } else {
    ZOLGL_DEBUG("%s function address was resolved at the system level", text(asText(name)));
  }
  return address;
}

void (*zol_glXGetProcAddress(const GLubyte* name))() {
  static const Interposer kTable[] = {
#define ZOL_LOOKUP(name)                                                                           \
  {hashOf(#name), #name, reinterpret_cast<void (*)()>(kHandedOut<&zol_##name>)},
#include "vendor/lookup.def"
  };
  static_assert(std::size(kTable) == 89);

  const char* const wanted = asText(name);
  ZOLGL_DEBUG("procname: %s", text(wanted));
  if (wanted == nullptr) {
    ZOLGL_DEBUG("failed");
    return nullptr;
  }
  const std::uint32_t hash = zol::Hash<const char*>()(wanted);
  for (const Interposer& row : kTable) {
    if (row.hash == hash && std::strcmp(row.name, wanted) == 0) return row.address;
  }
  // Sharing an X fence with GL needs both on one server; here they live on two.
  if (std::strcmp(wanted, "glImportSyncEXT") == 0) {
    ZOLGL_DEBUG("excluded");
    return nullptr;
  }
  if (std::strncmp(wanted, "gl", 2) == 0 && wanted[2] != 'X') {
    return system_glXGetProcAddress != nullptr ? system_glXGetProcAddress(name) : nullptr;
  }
  ZOLGL_DEBUG("failed");
  return nullptr;
}

void (*zol_glXGetProcAddressARB(const GLubyte* name))() {
  return zol_glXGetProcAddress(name);
}
