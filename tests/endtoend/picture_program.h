#pragma once

#include "endtoend/program.h"
#include "endtoend/x11.h"
#include "rig/log_file.h"

#include <deque>
#include <map>
#include <string>

namespace zol::endtoend {

struct Command {
  std::vector<std::string> words;
};

// The program `picture`, step by step. Each step is a line that its commands.cpp lists; without
// another thread named, the main thread performs it. What fails is an std::runtime_error.
class PictureProgram : public Program {
public:
  PictureProgram(const Folder& folder, const std::string& display,
                 const Environment& environment = {});
  // A copy of it, or one told to use another display than that of its environment.
  PictureProgram(const Folder& folder, Command command, const Environment& environment);

  // Performs the step; what it answered after "ok".
  std::string ask(const std::string& step, int thread = 0);
  // The two halves of it, for threads that shall be at work together.
  void tell(const std::string& step, int thread = 0);
  std::string answer(int thread = 0);
  // Performs the step and expects it to fail; the reason it gave.
  std::string askInVain(const std::string& step);

  Window window(const std::string& name, const std::string& sizeDepthKindPlace, int thread = 0);
  // A window with a context of its own that is current, both by that name.
  Window stage(const std::string& name, const std::string& sizeDepthKindPlace, int thread = 0);

  // Ends it the usual way; its exit status.
  int end();

  rig::LogFile& log() { return log_; }

private:
  std::string rawAnswer(int thread);

  rig::LogFile log_;
  std::map<int, std::deque<std::string>> answers_;
};

// The file itself, to be copied or linked: this build's, or what the variable ZOLTEST_PICTURE
// names, which is of another word size.
std::string pictureFile();

} // namespace zol::endtoend
