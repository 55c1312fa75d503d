#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zol::bench {

// A program that runs beside this one, in a process group of its own, until it ends or is stopped;
// stopped at the latest by the destructor. It ends with this process, however that ends.
class ChildProcess {
public:
  // Runs `command` (program and arguments), found through PATH. Throws std::runtime_error that
  // names the program when it cannot be run.
  explicit ChildProcess(const std::vector<std::string>& command);
  ~ChildProcess() { stop(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // How it ended ("status 1", "signal 11 (Segmentation fault)"); nothing while it runs.
  std::optional<std::string> ending();

  // SIGTERM to the group, and SIGKILL when that does not end the program within some seconds.
  void stop();

private:
  pid_t pid_ = 0;
  std::optional<std::string> ending_;
};

} // namespace zol::bench
