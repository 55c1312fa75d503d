// A pixmap that the X server draws, used as a texture: how compositors show windows.

#include "endtoend/delivery.h"
#include "endtoend/play.h"

namespace zol::endtoend {
namespace {

class TextureFromPixmap : public testing::TestWithParam<int> {
protected:
  void play(const std::string& name, const Script& script) const {
    playThroughLibrary(name + std::to_string(GetParam()), script, appDisplay(), {});
  }

  // A window, and a pixmap "p" of its size that can be bound.
  static Window stage(Play& play) {
    const std::string depth = std::to_string(GetParam());
    const Window window = play.program().stage("w", "120 90 " + depth + " double");
    play.tell(
        {"find-config c " + depth + " single", "config-pixmap p c 120 90 " + depth + " texture"});
    return window;
  }
};

TEST_P(TextureFromPixmap, ShowsWhatXDrew) {
  play("bound", [](Play& play) {
    const Window window = stage(play);
    for (int frame = 1; frame <= 3; ++frame) {
      const std::string number = std::to_string(frame);
      play.show({"x-draw p quadrants " + number, "sync", "bind-texture p", "draw-texture",
                 "release-texture p", "show w"},
                window, "quadrants", frame);
      play.show({"x-draw p bar " + number, "bind-texture p", "draw-texture", "show w",
                 "release-texture p"},
                window, "bar", frame);
    }
    EXPECT_EQ(play.same("gl-error"), "0x0");
  });
}

TEST_P(TextureFromPixmap, IsMadeOfSeveralPixmapsInTurn) {
  play("several", [](Play& play) {
    const Window window = stage(play);
    const std::string depth = std::to_string(GetParam());
    play.show({"config-pixmap q c 30 20 " + depth + " texture", "x-draw q bar 5", "x-draw p bar 6",
               "bind-texture q", "draw-texture", "show w"},
              window, "a small pixmap", 5);
    play.tell(
        {"release-texture q", "bind-texture p", "draw-texture", "release-texture p", "show w"});
    play.look(window, "bar", 6);
    play.show({"destroy-pixmap q", "x-draw p quadrants 7", "bind-texture p", "draw-texture",
               "release-texture p", "destroy-pixmap p", "show w"},
              window, "quadrants", 7);
  });
}

INSTANTIATE_TEST_SUITE_P(, TextureFromPixmap, testing::Values(24, 32),
                         [](const auto& test) { return "OfDepth" + std::to_string(test.param); });

} // namespace
} // namespace zol::endtoend
