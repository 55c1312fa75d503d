#pragma once

#include "tools/unique_fd.h"

#include <string>
#include <thread>

namespace zol::endtoend {

// A word of a client that breaks its connection when it is said for this time, by whomever.
struct LastWord {
  std::string word;
  int time = 1;
};

// Stands before an X server under a display name of its own and hands everything on, but for one
// word in what the server says, which it makes unreadable, or up to a client's last word.
class Censor {
public:
  Censor(const std::string& server, const std::string& word, LastWord lastWord = {});
  ~Censor();
  Censor(const Censor&) = delete;
  Censor& operator=(const Censor&) = delete;

  const std::string& name() const { return name_; }

private:
  void serve();
  bool isLast(const std::string& said);

  const std::string server_; // its socket
  const std::string word_;
  LastWord lastWord_; // its time counts down; the serving thread's
  std::string name_;
  std::string socket_;
  tools::UniqueFd listener_;
  tools::UniqueFd stopReader_;
  tools::UniqueFd stopWriter_;
  std::thread thread_;
};

} // namespace zol::endtoend
