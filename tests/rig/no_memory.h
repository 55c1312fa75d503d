#pragma once

namespace zol::rig {

// While one lives, the library gets no memory on this thread. The rest of the process does.
class NoMemory {
public:
  NoMemory();
  ~NoMemory();
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;
};

} // namespace zol::rig
