#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zol::test {

// A new folder that goes with the object.
class ScratchFolder {
public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  // What is in it that is no folder, relative to it and in order.
  std::vector<std::string> files() const;

private:
  std::filesystem::path path_;
};

} // namespace zol::test
