#pragma once

#include "endtoend/observer.h"
#include "endtoend/picture_program.h"

#include <functional>
#include <map>
#include <string>

namespace zol::endtoend {

using Pictures = std::map<std::string, Picture>;

// A piece of work for the program `picture`, which is played twice: straight on the local display,
// where each look at a window is kept, and through the library on an application display, where the
// window must come to show the very same pixels.
class Play {
public:
  virtual ~Play() = default;

  PictureProgram& program() { return *program_; }
  // Looks at a window that shows this frame of scene(), or of what the program alone can draw.
  virtual void look(Window window, const std::string& picture, int frame) = 0;

protected:
  explicit Play(PictureProgram* program) : program_(program) {}
  std::string nextLabel(const std::string& picture, int frame);

private:
  PictureProgram* program_;
  int looks_ = 0;
};

using Script = std::function<void(Play&)>;

// Plays it straight, once for each name, and keeps what was seen.
const Pictures& playedStraight(const std::string& name, const Script& script);

// Plays it both ways. The second with these variables, on this application display.
void playThroughLibrary(const std::string& name, const Script& script, const std::string& display,
                        const Environment& environment);

} // namespace zol::endtoend
