#pragma once

#include "endtoend/displays.h"
#include "endtoend/observer.h"
#include "endtoend/picture_program.h"

#include <functional>
#include <initializer_list>
#include <map>
#include <string>

namespace zol::endtoend {

// What was seen and answered when a piece of work was played straight.
struct Record {
  std::map<std::string, Picture> pictures;
  std::map<std::string, std::string> answers;
};

// A piece of work for the program `picture`, which is played twice: straight on the local display,
// where each look at a window and each answer is kept, and through the library on an application
// display, where the window must come to show the very same pixels and the program to learn the
// same.
class Play {
public:
  virtual ~Play() = default;

  PictureProgram& program() { return *program_; }
  // Looks at a window that shows this frame of scene(), or of what the program alone can draw.
  virtual void look(Window window, const std::string& picture, int frame) = 0;
  // Performs a step whose answer must be the same; the answer.
  virtual std::string same(const std::string& step) = 0;
  // The same for a step that answers with the pixels of a picture ("gl-read", "x-read").
  virtual void read(const std::string& step, const std::string& picture, int frame, int depth) = 0;
  void tell(std::initializer_list<std::string> steps);
  // Performs steps and looks at what they show.
  void show(std::initializer_list<std::string> steps, Window window, const std::string& picture,
            int frame);

protected:
  explicit Play(PictureProgram* program) : program_(program) {}
  std::string nextLabel(const std::string& what);

private:
  PictureProgram* program_;
  int labels_ = 0;
};

// What a step answers with that reads pixels: "WIDTH HEIGHT PIXELS", eight hexadecimal digits each.
Picture parsePicture(const std::string& text);

using Script = std::function<void(Play&)>;

// Plays it straight, once for each name, and keeps what was seen.
const Record& playedStraight(const std::string& name, const Script& script,
                             const std::string& display = localDisplay());

// Plays it both ways. The second with these variables, on this application display. What the
// library logged above INFO, but for functions that the driver does not have.
rig::Lines playThroughLibrary(const std::string& name, const Script& script,
                              const std::string& display, const Environment& environment,
                              const std::string& straightDisplay = localDisplay());

} // namespace zol::endtoend
