#pragma once

#include "tools/unique_fd.h"

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zol::test {

// How a program ended and what it wrote.
struct Outcome {
  int status = -1; // its exit status; 128 + signal when one killed it
  std::string out;
  std::string err;
};

// A program that runs beside the test; killed and reaped at the latest by the destructor.
class Program {
public:
  // Changes to the environment; an empty value removes the variable.
  using Environment = std::map<std::string, std::string>;

  explicit Program(std::vector<std::string> words, const Environment& environment = {});
  // With a terminal of its own for standard input, output and error.
  static Program onTerminal(std::vector<std::string> words);
  Program(Program&& other) noexcept;
  ~Program();

  pid_t pid() const { return pid_; }
  // Reads until the output has `text` in it; throws std::runtime_error when it ends before.
  void waitForOutput(const std::string& text);
  const std::string& output() const { return outcome_.out; }
  void typeKey(char key); // only on a terminal
  void signal(int number);

  // Waits for the end.
  Outcome wait();

private:
  Program() = default;
  bool readSome();

  pid_t pid_ = 0;
  tools::UniqueFd out_;
  tools::UniqueFd err_;
  Outcome outcome_;
};

Outcome run(std::vector<std::string> words, const Program::Environment& environment = {});

// Makes processes that lose their parent children of the test.
void adoptOrphans();
// The living children of the test, or of another process; both single-threaded.
std::vector<pid_t> children();
std::vector<pid_t> childrenOf(pid_t pid);
// Waits until the test has no children.
void waitForChildren();

} // namespace zol::test
