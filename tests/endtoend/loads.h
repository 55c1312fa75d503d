#pragma once

#include "endtoend/observer.h"
#include "endtoend/picture_program.h"

// Turns of work that leave a program where it was before: what they make they destroy.
namespace zol::endtoend {

// One of everything that GLX draws to, and two contexts: made, used, resized and destroyed.
void turnOver(PictureProgram& program);

// So many windows at once, each with a context and frames of its own.
void turnWindows(PictureProgram& program, int count);

// So many threads at once, each with a window and a context of its own, that begin and end: on the
// program's connection, or each on one of its own.
void turnThreads(PictureProgram& program, int count);
void turnConnectedThreads(PictureProgram& program, int count);

// One context handed from thread to thread, each of which shows a frame with it in a window of its
// own. The context and the windows are made before the first turn.
void makeHandedContext(PictureProgram& program, int threads);
void handContextOn(PictureProgram& program, int threads);

// A program in a state that is the same each time: what is gone has been cleared away, and one more
// window, with a context that is current, shows its frame. Until the end of the object.
class Rest {
public:
  Rest(PictureProgram& program, const Observer& observer);
  ~Rest();
  Rest(const Rest&) = delete;
  Rest& operator=(const Rest&) = delete;

  const testing::AssertionResult& isShown() const { return isShown_; }

private:
  PictureProgram& program_;
  testing::AssertionResult isShown_;
};

} // namespace zol::endtoend
