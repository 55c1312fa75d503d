// Programs that draw off the screen: pbuffers read back, and beside windows.

#include "endtoend/delivery.h"
#include "endtoend/play.h"

namespace zol::endtoend {
namespace {

struct Kind {
  const char* name;
  const char* buffers;
  const char* context; // the command that makes it, and its last words
  const char* version;
};

class Pbuffers : public testing::TestWithParam<Kind> {
protected:
  void play(const std::string& name, const Script& script) const {
    playThroughLibrary(name + GetParam().name, script, appDisplay(), {});
  }

  static void stage(Play& play, const std::string& name, const std::string& size) {
    play.same(std::string("find-config c 24 ") + GetParam().buffers);
    play.tell({"pbuffer " + name + " c " + size,
               std::string(GetParam().context) + " " + name + " c " + GetParam().version,
               "current " + name + " " + name});
  }
};

TEST_P(Pbuffers, HoldWhatWasDrawn) {
  play("drawn", [](Play& play) {
    stage(play, "p", "60 40");
    for (int frame = 1; frame <= 3; ++frame) {
      play.tell({"draw quadrants " + std::to_string(frame)});
      play.read("gl-read 60 40", "quadrants", frame, 32);
    }
    play.tell({"draw bar 4", "finish"});
    play.read("gl-read 60 40", "bar", 4, 32);
    play.tell({"clear 40807060", "flush"});
    play.read("gl-read 60 40", "a colour", 5, 32);
    EXPECT_EQ(play.same("gl-error"), "0x0");
  });
}

TEST_P(Pbuffers, AnswerForTheirSizeAndKind) {
  play("facts", [](Play& play) {
    stage(play, "p", "77 33");
    EXPECT_EQ(play.same("query p 0x801d"), "77");
    EXPECT_EQ(play.same("query p 0x801e"), "33");
    play.same("query p 0x801b"); // GLX_PRESERVED_CONTENTS
    play.same("query p 0x801c"); // GLX_LARGEST_PBUFFER
    EXPECT_EQ(play.same("current-draw p"), "p");
    EXPECT_EQ(play.same("current-read p"), "p");
    play.tell({"release"});
    EXPECT_EQ(play.same("current-draw p"), "none");
  });
}

TEST_P(Pbuffers, AreManyAndGo) {
  play("many", [](Play& play) {
    for (int i = 1; i <= 4; ++i) {
      const std::string name = "p" + std::to_string(i);
      stage(play, name, std::to_string(10 * i) + " 20");
      play.tell({"draw bar " + std::to_string(i)});
    }
    for (int i = 1; i <= 4; ++i) {
      const std::string name = "p" + std::to_string(i);
      play.tell({"current " + name + " " + name});
      play.read("gl-read " + std::to_string(10 * i) + " 20", "bar", i, 32);
      // Destroyed while it is current, as is allowed.
      play.tell({"destroy-pbuffer " + name, "release", "forget " + name});
    }
    stage(play, "last", "30 20");
    play.tell({"draw quadrants 5"});
    play.read("gl-read 30 20", "quadrants", 5, 32);
  });
}

TEST_P(Pbuffers, AreDrawnInTurnWithAWindow) {
  play("turns", [](Play& play) {
    const Window window = play.program().stage("w", "120 90 24 double");
    stage(play, "p", "60 40");
    for (int frame = 1; frame <= 3; ++frame) {
      const std::string number = std::to_string(frame);
      play.tell({"current p p", "draw quadrants " + number, "flush", "current w w",
                 "draw bar " + number, "show w", "current p p"});
      play.read("gl-read 60 40", "quadrants", frame, 32);
      play.look(window, "bar", frame);
    }
  });
}

INSTANTIATE_TEST_SUITE_P(, Pbuffers,
                         testing::Values(Kind{"Double", "double", "new-context", ""},
                                         Kind{"Single", "single", "new-context", ""},
                                         Kind{"CoreDouble", "double", "version-context",
                                              "3 3 core"}),
                         [](const auto& test) { return test.param.name; });

void play(const std::string& name, const Script& script) {
  playThroughLibrary(name, script, appDisplay(), {});
}

TEST(TwoBuffers, OfAPbufferAreSwapped) {
  play("swap", [](Play& play) {
    play.tell({"find-config c 24 double", "pbuffer p c 60 40", "new-context p c", "current p p"});
    play.tell({"draw quadrants 1", "show p", "draw bar 2", "read-buffer front"});
    play.read("gl-read 60 40", "quadrants", 1, 32);
    play.tell({"read-buffer back"});
    play.read("gl-read 60 40", "bar", 2, 32);
    play.tell({"show p", "read-buffer front"});
    play.read("gl-read 60 40", "bar", 2, 32);
    play.tell({"draw-buffer front", "draw quadrants 3", "flush"});
    play.read("gl-read 60 40", "quadrants", 3, 32);
  });
}

TEST(TwoDrawables, AreDrawnToAndReadFrom) {
  play("two", [](Play& play) {
    play.tell({"find-config c 24 double"});
    const Window window = std::stoul(play.program().ask("glx-window w c 120 90 0 0"), nullptr, 16);
    play.tell(
        {"pbuffer p c 120 90", "new-context x c", "current p x", "draw quadrants 1", "finish"});
    // From the pbuffer into the window.
    for (int frame = 1; frame <= 3; ++frame) {
      play.tell({"current p x", "draw quadrants " + std::to_string(frame), "current-both w p x"});
      EXPECT_EQ(play.same("current-draw w p"), "w");
      EXPECT_EQ(play.same("current-read w p"), "p");
      play.show({"clear ff000000", "copy-pixels 0 0 120 90 0 0", "show w"}, window, "quadrants",
                frame);
      // The pair is still bound.
      play.read("gl-read 120 90", "quadrants", frame, 32);
      play.show({"copy-pixels 0 0 40 30 60 50", "show w"}, window, "a copy", frame);
    }
    // From the window into the pbuffer.
    play.tell({"current w x", "draw bar 4", "current-both p w x", "copy-pixels 0 0 120 90 0 0",
               "current p x"});
    play.read("gl-read 120 90", "bar", 4, 32);
    play.show({"current w x", "draw bar 5", "show w"}, window, "bar", 5);
  });
}

TEST(TwoDrawables, OfWhichOneIsAWindowThatIsDrawnInFront) {
  play("front", [](Play& play) {
    play.tell({"find-config c 24 single"});
    const Window window = std::stoul(play.program().ask("glx-window w c 120 90 0 0"), nullptr, 16);
    play.show({"pbuffer p c 120 90", "new-context x c", "current p x", "draw quadrants 1",
               "current-both w p x", "copy-pixels 0 0 120 90 0 0", "flush"},
              window, "quadrants", 1);
    play.show(
        {"current p x", "draw bar 2", "current-both w p x", "copy-pixels 0 0 120 90 0 0", "finish"},
        window, "bar", 2);
  });
}

// FBConfigs, pixmaps and pbuffers of one connection among those of others.
TEST(Connections, OfOneProgramEachHaveTheirDrawables) {
  const Folder folder;
  PictureProgram program(folder, appDisplay());
  std::vector<std::string> pixels, pixmapPixels;
  for (const int thread : {0, 1, 2}) {
    const std::string number = std::to_string(thread), config = "c" + number;
    if (thread != 0) program.ask("own-display", thread);
    const auto ask = [&](const std::string& step) { return program.ask(step, thread); };
    ask("find-config " + config + " 24 single");
    ask("pbuffer p" + number + " " + config + " 60 40");
    ask("new-context p" + number + " " + config);
    ask("current p" + number + " p" + number);
    ask("draw quadrants 3");
    pixels.push_back(ask("gl-read 60 40"));
    ask("config-pixmap q" + number + " " + config + " 60 40 24");
    ask("new-context q" + number + " " + config);
    ask("current q" + number + " q" + number);
    ask("draw bar 4");
    ask("finish");
    pixmapPixels.push_back(ask("x-read q" + number));
    EXPECT_EQ(ask("query p" + number + " 0x801d"), "60");
    EXPECT_EQ(ask("errors"), "0") << program.errors();
  }
  for (const int thread : {0, 1, 2}) {
    EXPECT_TRUE(samePicture(paintedScene("quadrants", 3, 60, 40, 32),
                            parsePicture(pixels[static_cast<std::size_t>(thread)])));
    EXPECT_TRUE(samePicture(paintedScene("bar", 4, 60, 40),
                            parsePicture(pixmapPixels[static_cast<std::size_t>(thread)])));
    program.ask("release", thread);
  }
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST(Sharing, ATextureMadeInAPbufferIsDrawnInAWindow) {
  play("sharing", [](Play& play) {
    const Window window = play.program().stage("w", "64 64 24 double");
    play.tell({"find-config c 24 double", "pbuffer p c 64 64", "new-context p c w"});
    for (int frame = 1; frame <= 3; ++frame) {
      play.show({"current p p", "texture " + std::to_string(frame), "current w w", "draw texture 0",
                 "show w"},
                window, "texture", frame);
    }
  });
}

} // namespace
} // namespace zol::endtoend
