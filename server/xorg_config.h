#pragma once

#include "tools/arguments.h"

#include <string>

namespace zol::server {

// The text of an xorg.conf for a server without GPU, console and input devices whose one screen
// starts with exactly the given size and takes others by RANDR. An empty name leaves its option
// out.
std::string xorgConfig(const tools::Geometry& geometry, const std::string& glDisplay,
                       const std::string& vendorNames);

} // namespace zol::server
