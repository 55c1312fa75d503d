#include "softgpu/hooks.h"

#include "softgpu/driver.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <type_traits>

namespace zol::softgpu {
namespace {

struct Hook {
  std::string_view name;
  void* (*function)();
};

#define HOOK(name) ALIAS(name, name)
#define ALIAS(name, hook) static_assert(std::is_same_v<decltype(::name), decltype(hooks::hook)>);
#include "softgpu/hooks.def"
#undef ALIAS
#define ALIAS(name, hook) {#name, [] { return reinterpret_cast<void*>(&hooks::hook); }},
constexpr Hook hookTable[] = {
#include "softgpu/hooks.def"
};
#undef ALIAS
#undef HOOK

static_assert(std::is_sorted(std::begin(hookTable), std::end(hookTable),
                             [](const Hook& a, const Hook& b) { return a.name < b.name; }));

} // namespace

void* procAddress(const GLubyte* name) {
  void* const drivers = driverProcAddress(name);
  if (!drivers) return nullptr;
  const std::string_view wanted(reinterpret_cast<const char*>(name));
  const auto* hook = std::lower_bound(
      std::begin(hookTable), std::end(hookTable), wanted,
      [](const Hook& candidate, std::string_view key) { return candidate.name < key; });
  return hook != std::end(hookTable) && hook->name == wanted ? hook->function() : drivers;
}

} // namespace zol::softgpu
