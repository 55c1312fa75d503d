#pragma once

#include "tools/unique_fd.h"

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zol::endtoend {

using Environment = std::map<std::string, std::string>;

inline Environment joined(Environment one, const Environment& other) {
  one.insert(other.begin(), other.end());
  return one;
}

// Whether a library that GLVND has let go of stays in the process: where it was built with
// sanitizers, which need that.
constexpr bool kStaysLoaded = sizeof ZOL_SANITIZER_RUNTIME > 1;

// For a program in a build with sanitizers that leaves memory behind by right.
const Environment kMayLeak = {{"LSAN_OPTIONS", "detect_leaks=0"}};

// The command of a program that was not built here, with what it shall preload besides. Where our
// libraries were built with sanitizers, it needs their runtime to load them; what it leaks itself
// is its own affair.
std::vector<std::string> foreignCommand(std::vector<std::string> command,
                                        std::vector<std::string> preloaded = {});

// All of a file; nothing when there is none.
std::string readFile(const std::filesystem::path& path);

// A folder that vanishes with the object: where a program under test runs and writes its logs.
class Folder {
public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::filesystem::path& path() const { return path_; }

private:
  std::filesystem::path path_;
};

// How long a test waits for what must happen. Far longer than it ever takes.
constexpr std::chrono::seconds kPatience{ZOL_PATIENCE};

// A program started by a test, with an environment that has nothing of the library's or GLVND's in
// it but what the test sets, and finds the vendor libraries of this build. Its process group is
// killed with the object, and with the thread that made it. What goes wrong is an
// std::runtime_error.
// Thread safety: one thread at a time per object.
class Program {
public:
  Program(const Folder& folder, std::vector<std::string> command, const Environment& environment);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t pid() const { return pid_; }
  void write(const std::string& text);
  void closeInput() { input_.reset(); }
  // The next line of standard output, waited for.
  std::string readLine();
  // All that is left of standard output, until the program closes it.
  std::string readRest();
  void signal(int number) const;
  // Waits for the end: the exit status, or minus the number of the signal that killed it.
  int wait();
  // What it has written to standard error so far.
  std::string errors() const;
  // Whether a file of this name is mapped into the process.
  bool hasLoaded(const std::string& fileName) const;

private:
  // Waits for some more of standard output; false when it is closed.
  bool takeOutput(std::chrono::steady_clock::time_point deadline, const char* complaint);

  std::filesystem::path errorFile_;
  pid_t pid_ = 0; // 0 once reaped
  int status_ = 0;
  tools::UniqueFd input_;
  tools::UniqueFd output_;
  std::string read_;
};

} // namespace zol::endtoend
