#include "vendor/own_functions.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <fstream>
#include <link.h>
#include <string_view>
#include <vector>

namespace zol::rig {
namespace {

[[noreturn]] void giveUp(const char* reason) {
  std::fprintf(stderr, "%s: %s\n", ZOL_LIBRARY, reason);
  std::abort();
}

std::uintptr_t loadAddress() {
  void* const library = dlopen(ZOL_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr) giveUp("not loaded");
  const link_map* map = nullptr;
  if (dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) giveUp("no link map");
  dlclose(library);
  return map->l_addr;
}

// "zol_glClear" for "_Z11zol_glClearj", "guarded zol_glClear" for its Guarded<>::call.
std::string plainName(const char* symbol) {
  int status = 0;
  char* const demangled = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
  const std::string name(demangled != nullptr ? demangled : symbol);
  std::free(demangled);
  constexpr std::string_view guard = "zol::Guarded<&(";
  if (name.starts_with(guard)) {
    const std::string guarded = name.substr(guard.size());
    return "guarded " + guarded.substr(0, guarded.find('('));
  }
  return name.substr(0, name.find('('));
}

std::map<const void*, std::string> readSymbols() {
  std::ifstream stream(ZOL_LIBRARY, std::ios::binary);
  const std::vector<char> file{std::istreambuf_iterator<char>(stream), {}};
  if (file.size() < sizeof(ElfW(Ehdr))) giveUp("not to be read");
  const auto* const header = reinterpret_cast<const ElfW(Ehdr)*>(file.data());
  const auto* const sections = reinterpret_cast<const ElfW(Shdr)*>(file.data() + header->e_shoff);
  const std::uintptr_t base = loadAddress();
  std::map<const void*, std::string> result;
  for (int i = 0; i < header->e_shnum; ++i) {
    if (sections[i].sh_type != SHT_SYMTAB) continue;
    const char* const names = file.data() + sections[sections[i].sh_link].sh_offset;
    const auto* const symbols =
        reinterpret_cast<const ElfW(Sym)*>(file.data() + sections[i].sh_offset);
    for (std::size_t j = 0; j < sections[i].sh_size / sizeof(ElfW(Sym)); ++j) {
      if (ELF64_ST_TYPE(symbols[j].st_info) != STT_FUNC || symbols[j].st_value == 0) continue;
      result[reinterpret_cast<const void*>(base + symbols[j].st_value)] =
          plainName(names + symbols[j].st_name);
    }
  }
  if (result.empty()) giveUp("has no symbol table to test with: it was stripped");
  return result;
}

} // namespace

const std::map<const void*, std::string>& ownFunctions() {
  static const auto functions = readSymbols();
  return functions;
}

std::string ownFunctionAt(const void* address) {
  const auto found = ownFunctions().find(address);
  return found != ownFunctions().end() ? found->second : "";
}

} // namespace zol::rig
