#include "scratch_folder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace zol::test {

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder() {
  std::string name = (fs::temp_directory_path() / "zol-packaging-test-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error(name + ": " + strerror(errno));
  path_ = name;
}

ScratchFolder::~ScratchFolder() {
  std::error_code failure;
  fs::remove_all(path_, failure);
}

std::vector<std::string> ScratchFolder::files() const {
  std::vector<std::string> found;
  for (const auto& entry : fs::recursive_directory_iterator(path_)) {
    if (!entry.is_directory()) found.push_back(fs::relative(entry.path(), path_).string());
  }
  std::sort(found.begin(), found.end());
  return found;
}

} // namespace zol::test
