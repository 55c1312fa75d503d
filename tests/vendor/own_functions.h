#pragma once

#include <map>
#include <string>

namespace zol::rig {

// The functions of the loaded library under test by their addresses, from the symbol table of its
// file: "zol_glXCreateContext" for zol_glXCreateContext(_XDisplay*, ...), "guarded
// zol_glXCreateContext" for what keeps its exceptions from programs. Ends the process with a
// message when the file has no symbol table.
const std::map<const void*, std::string>& ownFunctions();

// The name of the library's function at this address, "" when it has none there.
std::string ownFunctionAt(const void* address);

} // namespace zol::rig
