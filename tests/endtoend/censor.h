#pragma once

#include "tools/unique_fd.h"

#include <string>
#include <thread>

namespace zol::endtoend {

// Stands before an X server under a display name of its own and hands everything on, but for one
// word in what the server says, which it makes unreadable.
class Censor {
public:
  Censor(const std::string& server, const std::string& word);
  ~Censor();
  Censor(const Censor&) = delete;
  Censor& operator=(const Censor&) = delete;

  const std::string& name() const { return name_; }

private:
  void serve();

  const std::string server_; // its socket
  const std::string word_;
  std::string name_;
  std::string socket_;
  tools::UniqueFd listener_;
  tools::UniqueFd stopReader_;
  tools::UniqueFd stopWriter_;
  std::thread thread_;
};

} // namespace zol::endtoend
