#pragma once

#include <sys/types.h>
#include <vector>

namespace zol::rig {

// The permissions of the System V shared memory segments that the process has made. They live on
// until the X server, too, has let go of them.
std::vector<int> sharedSegmentsOf(pid_t process);

} // namespace zol::rig
