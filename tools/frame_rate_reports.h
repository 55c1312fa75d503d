#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace zol::tools {

// Prints on standard error what the library writes into its logs about frame rates.
class FrameRateReports {
public:
  // Follows the logs in this folder from now on. Without one, a private folder is made for them:
  // warnings and errors in it are printed too, as they would be without a folder, and it goes with
  // this object. Throws RunError when it cannot be made.
  explicit FrameRateReports(std::filesystem::path folder);
  ~FrameRateReports();
  FrameRateReports(const FrameRateReports&) = delete;
  FrameRateReports& operator=(const FrameRateReports&) = delete;

  const std::filesystem::path& folder() const { return folder_; }

  // Prints what has been added since the last time.
  void poll();

private:
  struct Log {
    std::uintmax_t read = 0; // bytes
    std::string unfinished;  // the line that has no end yet
  };
  void follow(const std::filesystem::path& path, Log& log);
  void print(const std::string& record) const;

  const bool isPrivate_;
  std::filesystem::path folder_;
  std::map<std::filesystem::path, Log> logs_;
};

} // namespace zol::tools
