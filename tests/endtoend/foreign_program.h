#pragma once

#include "endtoend/observer.h"
#include "endtoend/program.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zol::endtoend {

// The screen of the displays that programs are compared on: some take their size from it.
constexpr const char* kScreen = "2560x1600";

// A program that no one here wrote, running, and what it shows: the topmost of its windows on the
// screen. What goes wrong is an std::runtime_error.
// Thread safety: one thread at a time per object.
class ForeignProgram {
public:
  // Straight on a local display, where no other program has a window meanwhile.
  static ForeignProgram straight(const std::vector<std::string>& command,
                                 const std::string& localDisplay);
  // Through the library, started the way a newcomer starts it: zolrun --headless.
  static ForeignProgram throughLibrary(const std::vector<std::string>& command);

  // Empty while there is no window.
  Picture picture() const;
  // Waits until the window shows more than one colour; false when the program ends before.
  bool waitForPicture() const;
  bool hasEnded() const;
  // Waits until the condition holds, asked again whenever something was painted on the screen.
  bool waitFor(const std::function<bool()>& condition) const;
  // Waits for the next paint, or a moment when there is none.
  void waitForNextPaint() const;
  // Waits until something was painted on the screen this many times.
  bool seesPaints(int count) const { return observer_->seesPaints(root(), count); }

  // Whether a file of this name is mapped into one of its processes.
  bool hasLoaded(const std::string& fileName) const;
  // What the library logged as errors, but for the functions that the driver does not have and the
  // FBConfigs without a visual, of which programs that look at all of them ask.
  std::vector<std::string> libraryErrors() const;
  std::string errors() const { return program_->errors(); }

  // Asks it to end, which takes its display away: nothing can be asked any more. Its exit status,
  // or minus the number of the signal that killed it.
  int end();

private:
  ForeignProgram(std::unique_ptr<Folder> folder, std::unique_ptr<Program> program,
                 const std::string& display);
  Window root() const { return DefaultRootWindow(observer_->display()); }

  std::unique_ptr<Folder> folder_;
  std::unique_ptr<Program> program_;
  std::optional<Observer> observer_; // until end()
};

} // namespace zol::endtoend
