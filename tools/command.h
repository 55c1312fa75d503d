#pragma once

#include <functional>
#include <map>
#include <signal.h>
#include <string>
#include <vector>

namespace zol::tools {

// A program to run, and what is to be set in its environment.
struct Command {
  std::vector<std::string> words;
  std::map<std::string, std::string> environment;
};

constexpr int kCannotRun = 125; // zolrun itself failed
constexpr int kNotExecutable = 126;
constexpr int kNotFound = 127;

// Becomes the program. Returns only when that fails: the reason has been written to standard error,
// the result is the exit status to end with.
int becomeCommand(const Command& command);

// While it lives, the signals that end programs wait to be taken instead of ending this one.
class EndSignals {
public:
  EndSignals();
  ~EndSignals();
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

  const sigset_t& set() const { return set_; }
  const sigset_t& before() const { return before_; }

  // The signal that asks this program to end and has not been taken; 0 when there is none.
  int pending() const;

private:
  sigset_t set_;
  sigset_t before_;
};

// Runs the program in the foreground, hands signals on to it, and returns its exit status, 128 +
// signal when one killed it. A program that does not end on SIGTERM or SIGHUP within seconds is
// killed, as are the processes that it leaves behind; `keep` tells which children are not its own.
// `tick`, if any, is called a few times a second meanwhile.
int runCommand(const Command& command, const EndSignals& signals,
               const std::function<bool(pid_t)>& keep, const std::function<void()>& tick = {});

} // namespace zol::tools
