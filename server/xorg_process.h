#pragma once

#include "xzol_options.h"

namespace zol::server {

// Runs the X.Org server as the options ask for until it ends, and returns its exit status
// (128 + signal when one killed it, 1 when it could not be started). The caller's signals to end
// are passed on to it; it does not outlive the caller. No file is written.
int runXorg(const XzolOptions& options);

} // namespace zol::server
