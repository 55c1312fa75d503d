#pragma once

#include "tools/display_server.h"

#include <string>
#include <vector>

namespace zol::rig {

// Servers for tests, up and answering on free display numbers. A server that cannot be had is an
// exception whose text says which and why. They live until the process ends, so that the library's
// own connections end before them, or until stop().

// A server with "ZOL-V1" that names `glDisplay` as its local display ("": none). Further options
// are those of Xzol and Xorg.
tools::DisplayServer& startApplicationServer(const std::string& glDisplay,
                                             const std::vector<std::string>& options = {});

// A server with GLX and MIT-SHM and without "ZOL-V1". Further options are Xvfb's.
tools::DisplayServer& startPlainServer(const std::vector<std::string>& options = {});

// A server with GLX that announces these vendors, for example "missing recorder".
tools::DisplayServer& startAnnouncingServer(const std::string& vendorNames,
                                            const std::vector<std::string>& options = {});

} // namespace zol::rig
