#include "rig/shared_segments.h"

#include <fstream>
#include <ios>
#include <sstream>
#include <string>

namespace zol::rig {

std::vector<int> sharedSegmentsOf(pid_t process) {
  std::ifstream stream("/proc/sysvipc/shm");
  std::string line;
  std::getline(stream, line); // the columns' names
  std::vector<int> permissions;
  while (std::getline(stream, line)) {
    std::istringstream words(line);
    long key = 0, id = 0, size = 0;
    int mode = 0;
    pid_t creator = 0;
    words >> key >> id >> std::oct >> mode >> std::dec >> size >> creator;
    if (creator == process) permissions.push_back(mode & 0777);
  }
  return permissions;
}

} // namespace zol::rig
