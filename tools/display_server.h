#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zol::tools {

// One X server run as a child process: started on a free display number of its own choosing, known
// to be answering once start() has returned, stopped and reaped at the latest by the destructor.
// The server ends with the thread that called start(), also when the whole process is killed: start
// servers from a thread that lives as long as they shall.
// Thread safety: one thread at a time per object.
class DisplayServer {
public:
  // Runs `command` (program and arguments) with "-displayfd N" appended, and waits until the server
  // has said which display number it took. Null on failure, with a sentence that names the program
  // and what went wrong in *error.
  static std::unique_ptr<DisplayServer>
  start(std::vector<std::string> command, std::string* error,
        std::chrono::seconds patience = std::chrono::seconds(30));
  ~DisplayServer();
  DisplayServer(const DisplayServer&) = delete;
  DisplayServer& operator=(const DisplayServer&) = delete;

  const std::string& name() const { return name_; } // ":7"
  pid_t pid() const { return pid_; }                // 0 once stopped

  // SIGTERM, and SIGKILL when that does not end it in time; removes the socket that a killed server
  // leaves. May be called again.
  void stop();

  using SocketId = std::array<long long, 3>; // inode and time of its making

private:
  DisplayServer(pid_t pid, std::string name);

  pid_t pid_;
  std::string name_;
  SocketId socket_;
};

} // namespace zol::tools
