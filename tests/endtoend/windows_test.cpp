// Several windows, threads and contexts of one program: each window shows its own frames.

#include "endtoend/delivery.h"
#include "endtoend/play.h"

namespace zol::endtoend {
namespace {

class Windows : public testing::TestWithParam<Delivery> {
protected:
  void play(const std::string& name, const Script& script) const {
    playThroughLibrary(name, script, GetParam().display(), GetParam().environment());
  }
};

TEST_P(Windows, OfOneThreadShowTheirOwnFrames) {
  play("two windows", [](Play& play) {
    PictureProgram& program = play.program();
    const Window left = program.stage("left", "300 300 24 double 0 0");
    const Window right = program.stage("right", "200 250 24 double 400 0");
    play.show({"draw quadrants 1", "show right"}, right, "quadrants", 1);
    play.show({"current left left", "draw gradient 2", "show left"}, left, "gradient", 2);
    play.show({"alternate left right left right 200"}, left, "bar", 200);
    play.look(right, "quadrants", 200);
  });
}

void playFourThreads(Play& play, bool ownDisplays) {
  PictureProgram& program = play.program();
  std::vector<Window> windows;
  for (int thread = 1; thread <= 4; ++thread) {
    if (ownDisplays) program.ask("own-display", thread);
    const std::string size = std::to_string(100 * thread - 50) + " 300";
    const std::string place = std::to_string(350 * (thread - 1)) + " 0";
    windows.push_back(
        program.stage("w" + std::to_string(thread), size + " 24 double " + place, thread));
  }
  for (int thread = 1; thread <= 4; ++thread)
    program.tell("frames bar 1 " + std::to_string(60 + thread), thread);
  for (int thread = 1; thread <= 4; ++thread)
    program.answer(thread);
  for (int thread = 1; thread <= 4; ++thread)
    play.look(windows[static_cast<std::size_t>(thread - 1)], "bar", 60 + thread);
}

TEST_P(Windows, OfFourThreadsShowTheirOwnFrames) {
  play("four windows", [](Play& play) { playFourThreads(play, false); });
}

TEST_P(Windows, OfFourThreadsWithADisplayEachShowTheirOwnFrames) {
  play("four displays", [](Play& play) { playFourThreads(play, true); });
}

TEST_P(Windows, OfContextsThatShareObjectsShowThem) {
  play("shared objects", [](Play& play) {
    PictureProgram& program = play.program();
    const Window maker = program.stage("maker", "200 200 24 double 0 0");
    const Window user = program.window("user", "256 256 24 double 300 0");
    play.tell({"context user user maker"});
    for (int frame = 1; frame <= 3; ++frame) {
      play.show({"current maker maker", "texture " + std::to_string(frame),
                 "draw bar " + std::to_string(frame), "show maker", "current user user",
                 "draw texture 0", "show user"},
                maker, "bar", frame);
      play.look(user, "texture", frame);
    }
  });
}

TEST_P(Windows, OfOneContextShowTheirOwnFrames) {
  play("one context", [](Play& play) {
    PictureProgram& program = play.program();
    const Window left = program.stage("left", "300 300 24 double 0 0");
    const Window right = program.window("right", "200 250 24 double 400 0");
    play.show(
        {"draw quadrants 1", "show left", "current right left", "draw quadrants 2", "show right"},
        left, "quadrants", 1);
    play.look(right, "quadrants", 2);
    play.show({"alternate left right left left 200"}, left, "bar", 200);
    play.look(right, "quadrants", 200);
  });
}

// Nothing is swapped: what was drawn into the old window is finished by leaving it.
TEST_P(Windows, ThatAreLeftShowWhatWasDrawnSoFar) {
  play("left window", [](Play& play) {
    PictureProgram& program = play.program();
    const Window left = program.stage("left", "300 300 24 single 0 0");
    const Window right = program.window("right", "200 250 24 single 400 0");
    play.show({"draw quadrants 1", "current right left"}, left, "quadrants", 1);
    play.show({"draw bar 2", "finish"}, right, "bar", 2);
  });
}

INSTANTIATE_TEST_SUITE_P(, Windows, testing::ValuesIn(allDeliveries()),
                         [](const auto& test) { return test.param.name(); });

} // namespace
} // namespace zol::endtoend
