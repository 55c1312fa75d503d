// What GL draws into a pixmap of the program is there when the X server reads or copies it.

#include "endtoend/delivery.h"
#include "endtoend/play.h"

#include <algorithm>

namespace zol::endtoend {
namespace {

constexpr const char* kSize = "60 40";

struct Kind {
  const char* name;
  int depth;
  const char* buffers;
  bool ofConfig; // made with glXCreatePixmap, otherwise with glXCreateGLXPixmap
};

class Pixmaps : public testing::TestWithParam<Kind> {
protected:
  void play(const std::string& name, const Script& script) const {
    playThroughLibrary(name + GetParam().name, script, appDisplay(), {});
  }

  // A pixmap with a context of its own that is current, both by that name.
  static void stage(Play& play, const std::string& name) {
    const auto [unused, depth, buffers, ofConfig] = GetParam();
    const std::string kind = std::to_string(depth) + " " + buffers;
    if (ofConfig) {
      play.same("find-config c " + kind);
      play.tell({"config-pixmap " + name + " c " + kSize + " " + std::to_string(depth),
                 "new-context " + name + " c"});
    } else {
      play.tell({"pixmap " + name + " " + kSize + " " + kind, "context " + name + " " + name});
    }
    play.tell({"current " + name + " " + name, "draw-buffer front"});
  }

  static void readPixmap(Play& play, const std::string& picture, int frame) {
    play.read("x-read p", picture, frame, GetParam().depth);
  }
};

TEST_P(Pixmaps, HoldWhatWasDrawnWhenGlIsFinishedOrFlushed) {
  play("drawn", [](Play& play) {
    stage(play, "p");
    play.tell({"draw quadrants 1", "finish"});
    readPixmap(play, "quadrants", 1);
    play.tell({"draw bar 2", "flush"});
    readPixmap(play, "bar", 2);
    play.tell({"clear 80336699", "bitmap 3 4 ffffffff", "finish"});
    readPixmap(play, "arrows", 3);
    play.tell({"draw-pixels quadrants 4", "flush"});
    readPixmap(play, "quadrants", 4);
    play.tell({"rect 7 8 9 10 ff00ff00", "rect 30 0 1 1 ffff0000", "finish", "finish"});
    readPixmap(play, "rectangles", 5);
    play.tell({"read-buffer front"});
    play.read(std::string("gl-read ") + kSize, "rectangles", 6, 32);
    EXPECT_EQ(play.same("gl-error"), "0x0");
  });
}

TEST_P(Pixmaps, AreCopiedToAWindow) {
  play("copied", [](Play& play) {
    const std::string depth = std::to_string(GetParam().depth);
    const Window window =
        play.program().window("w", std::string(kSize) + " " + depth + " single 300 0");
    stage(play, "p");
    for (int frame = 1; frame <= 5; ++frame) {
      play.show({"draw quadrants " + std::to_string(frame), "finish", "x-copy p w"}, window,
                "quadrants", frame);
    }
    // Drawn with X over it.
    play.show({"x-draw p bar 6", "x-copy p w"}, window, "bar", 6);
    play.show({"draw bar 7", "flush", "x-copy p w"}, window, "bar", 7);
  });
}

TEST_P(Pixmaps, AreDrawnOverWhatXDrewBefore) {
  play("before", [](Play& play) {
    stage(play, "p");
    play.tell({"x-draw p bar 1", "sync", "wait-x", "draw quadrants 2", "finish"});
    readPixmap(play, "quadrants", 2);
  });
}

TEST_P(Pixmaps, HaveTheirSizeAndAreCurrentByTheirName) {
  play("facts", [](Play& play) {
    stage(play, "p");
    EXPECT_EQ(play.same("query p 0x801d"), "60");
    EXPECT_EQ(play.same("query p 0x801e"), "40");
    EXPECT_EQ(play.same("current-draw p"), "p");
    EXPECT_EQ(play.same("current-read p"), "p");
  });
}

TEST_P(Pixmaps, AreDrawnInTurnWithWindowsAndOtherPixmaps) {
  play("turns", [](Play& play) {
    const std::string depth = std::to_string(GetParam().depth);
    const Window window = play.program().stage("w", "120 90 " + depth + " double 300 0");
    stage(play, "p");
    stage(play, "q");
    for (int frame = 1; frame <= 3; ++frame) {
      const std::string number = std::to_string(frame);
      play.tell({"current p p", "draw quadrants " + number, "finish"});
      play.tell({"current w w", "draw bar " + number, "show w"});
      play.tell({"current q q", "draw bar " + number, "flush"});
      readPixmap(play, "quadrants", frame);
      play.read("x-read q", "bar", frame, GetParam().depth);
      play.look(window, "bar", frame);
    }
    play.show({"release", "destroy-pixmap p", "current w w", "draw quadrants 9", "show w"}, window,
              "quadrants", 9);
    play.tell({"current q q", "draw quadrants 8", "finish"});
    play.read("x-read q", "quadrants", 8, GetParam().depth);
    play.tell({"release", "destroy-pixmap q", "forget q", "forget p"});
  });
}

INSTANTIATE_TEST_SUITE_P(, Pixmaps,
                         testing::Values(Kind{"Visual24", 24, "single", false},
                                         Kind{"Visual32", 32, "single", false},
                                         Kind{"Config24", 24, "single", true},
                                         Kind{"Config32", 32, "single", true},
                                         Kind{"ConfigDouble24", 24, "double", true}),
                         [](const auto& test) { return test.param.name; });

// The window that all of them belong to on the local display stays.
TEST(DestroyedPixmaps, LeaveNothingOnTheLocalDisplay) {
  const Folder folder;
  PictureProgram program(folder, appDisplay());
  const Observer observer(localDisplay());
  program.stage("w", "60 40 24 single");
  std::vector<std::string> before;
  for (int i = 0; i < 5; ++i) {
    for (const char* step :
         {"pixmap p 60 40 24 single", "current p w", "draw quadrants 1", "finish", "current w w",
          "draw bar 2", "finish", "destroy-pixmap p", "query w 0x801d"})
      program.ask(step);
    if (i == 0) before = observer.resources();
  }
  EXPECT_EQ(observer.resources(), before);
  const std::vector<Window> windows = observer.windows();
  const auto named = std::count_if(windows.begin(), windows.end(), [&](Window window) {
    char* name = nullptr;
    if (XFetchName(observer.display(), window, &name) == 0) return false;
    const bool ours = name == pictureFile() + " (ZOL-GL)";
    XFree(name);
    return ours;
  });
  EXPECT_EQ(named, 1);
  EXPECT_EQ(program.end(), 0);
}

} // namespace
} // namespace zol::endtoend
