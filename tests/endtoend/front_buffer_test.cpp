// Programs that never swap: what they draw into the front buffer reaches their window when they
// flush, finish, or turn to the back buffer.

#include "endtoend/delivery.h"
#include "endtoend/play.h"

#include <algorithm>

namespace zol::endtoend {
namespace {

struct Way {
  const char* name;
  const char* window;     // depth and buffers
  const char* drawBuffer; // chosen once at the beginning, if any
  bool counts;            // the library counts samples
};

void PrintTo(const Way& way, std::ostream* stream) {
  *stream << way.name << (way.counts ? "" : "Uncounted");
}

Environment environmentOf(bool counts) {
  return {{"ZOL_GL_USE_SAMPLE_QUERIES", counts ? "1" : "0"}};
}

class FrontBuffer : public testing::TestWithParam<Way> {
protected:
  // Without a count of samples the driver must not be told anything that it refuses.
  void play(const std::string& name, const std::function<void(Play&, Window)>& script) const {
    const Way way = GetParam();
    const auto whole = [&](Play& play) {
      const Window window = play.program().stage("w", "120 90 " + std::string(way.window));
      if (*way.drawBuffer != '\0') play.program().ask("draw-buffer " + std::string(way.drawBuffer));
      play.tell({"clear ff336699", "finish"});
      script(play, window);
      if (!way.counts) {
        EXPECT_EQ(play.program().ask("gl-error"), "0x0");
      }
    };
    playThroughLibrary(name + way.name, whole, appDisplay(), environmentOf(way.counts));
  }
};

TEST_P(FrontBuffer, IsShownByAFlushAndByAFinish) {
  play("flush", [](Play& play, Window window) {
    play.show({"draw quadrants 1", "flush"}, window, "quadrants", 1);
    play.show({"draw bar 2", "finish"}, window, "bar", 2);
    play.show({"flush", "finish", "finish"}, window, "bar", 2);
    play.show({"rect 10 20 30 40 ff00ff00", "flush"}, window, "a rectangle", 3);
    play.show({"rect 50 20 1 1 ffff0000", "flush"}, window, "one pixel", 4);
    play.show({"push-attributes", "draw quadrants 5", "flush", "pop-attributes"}, window,
              "quadrants", 5);
    play.show({"draw bar 6", "flush"}, window, "bar", 6);
  });
}

TEST_P(FrontBuffer, IsShownWhereNoSampleWasDrawn) {
  play("no samples", [](Play& play, Window window) {
    for (const char* end : {"flush", "finish"}) {
      play.show({"clear ffa08040", end}, window, "a colour", 0);
      play.show({"draw-pixels quadrants 1", end}, window, "quadrants", 1);
      play.show({"copy-pixels 0 0 60 45 55 40", end}, window, "a copy", 0);
      play.show({"bitmap 5 7 ffffff00", end}, window, "arrows", 0);
      play.show({"clear ff102030", "draw-pixels bar 2", "bitmap 1 1 ff00ffff",
                 "copy-pixels 1 1 40 8 60 60", end},
                window, "all of them", 0);
    }
  });
}

TEST_P(FrontBuffer, IsNotTouchedBySelectionAndFeedback) {
  play("modes", [](Play& play, Window window) {
    play.tell({"draw quadrants 1", "flush"});
    EXPECT_EQ(play.same("select"), "2 hits: 11 33");
    play.look(window, "quadrants", 1);
    play.same("feedback");
    play.look(window, "quadrants", 1);
    // Drawn before the mode, flushed within it, shown after it.
    play.tell({"draw bar 2", "render-mode select", "flush", "finish", "rect 1 1 99 80 ffffffff"});
    play.same("render-mode feedback");
    play.same("render-mode render");
    play.show({"flush"}, window, "bar", 2);
    EXPECT_EQ(play.same("select"), "2 hits: 11 33");
    play.show({"draw quadrants 3", "finish"}, window, "quadrants", 3);
  });
}

TEST_P(FrontBuffer, IsShownAfterTheWindowIsResizedHiddenAndShown) {
  play("changes", [](Play& play, Window window) {
    play.show({"draw quadrants 1", "flush"}, window, "quadrants", 1);
    // A window's new size is found out about when a frame is shown.
    play.show({"resize w 201 133", "draw bar 2", "flush", "draw quadrants 3", "flush"}, window,
              "quadrants", 3);
    play.show({"unmap w", "draw bar 4", "flush", "map w", "draw quadrants 5", "flush", "draw bar 6",
               "finish"},
              window, "bar", 6);
  });
}

// The program's own query is what counts then, and its result is right.
TEST_P(FrontBuffer, IsShownWhileAQueryOfTheProgramRuns) {
  play("queries", [](Play& play, Window window) {
    for (const char* target : {"samples", "any", "any-conservative", "primitives"}) {
      const std::string query = std::string("q-") + target;
      play.show({"make-query " + query, "begin-query " + query + " " + target, "draw quadrants 1",
                 "flush"},
                window, "quadrants", 1);
      play.show({"draw bar 2", "finish"}, window, "bar", 2);
      play.tell({"end-query " + std::string(target)});
      play.same("query-result " + query);
      play.tell(
          {"begin-query " + query + " " + target, "flush", "end-query " + std::string(target)});
      EXPECT_EQ(play.same("query-result " + query), "0");
    }
    play.show({"draw quadrants 3", "flush"}, window, "quadrants", 3);
  });
}

constexpr Way kWays[] = {
    {"Single24", "24 single", "", true},
    {"Single32", "32 single", "front", false},
    {"Double24", "24 double", "front", false},
    {"Double32", "32 double", "front", true},
    {"DoubleFrontLeft", "24 double", "front-left", true},
    {"DoubleFrontAndBack", "24 double", "front-and-back", true},
};

INSTANTIATE_TEST_SUITE_P(, FrontBuffer, testing::ValuesIn(kWays), [](const auto& test) {
  return test.param.name + std::string(test.param.counts ? "" : "Uncounted");
});

class Switching : public testing::TestWithParam<bool> {
protected:
  void play(const std::string& name, const Script& script) const {
    playThroughLibrary(name, script, appDisplay(), environmentOf(GetParam()));
  }
};

TEST_P(Switching, BetweenTheBuffersOfADoubleBufferedWindowShowsEach) {
  play("switching", [](Play& play) {
    const Window window = play.program().stage("w", "120 90 24 double");
    play.show({"draw quadrants 1", "show w"}, window, "quadrants", 1);
    // Drawn to the front, shown by going back.
    play.show({"draw-buffer front", "draw bar 2", "flush", "draw-buffer back"}, window, "bar", 2);
    play.tell(
        {"draw-buffer front", "rect 3 4 50 60 ff00ff00", "flush", "draw-buffer back", "flush"});
    play.look(window, "a rectangle", 3);
    // What goes to the back waits.
    play.show({"draw quadrants 4", "flush", "finish"}, window, "a rectangle", 3);
    play.show({"show w"}, window, "quadrants", 4);
    // Both at once: a flush shows it, and so does the swap.
    play.show({"draw-buffer front-and-back", "draw bar 5", "flush"}, window, "bar", 5);
    play.show({"draw-buffer back", "show w"}, window, "bar", 5);
    play.show({"draw-buffer front", "clear ff884422", "flush", "draw-buffer back"}, window,
              "a colour", 6);
    play.show({"draw-buffer none", "draw quadrants 7", "flush", "draw-buffer back", "flush"},
              window, "a colour", 6);
    play.show({"draw quadrants 8", "show w"}, window, "quadrants", 8);
  });
}

// Not compared with the same straight: Mesa's software driver forgets a window's front buffer when
// it swaps.
TEST_P(Switching, OfAnOverlayDrawnOverEachFrameShowsBoth) {
  const Folder folder;
  PictureProgram program(folder, appDisplay(), environmentOf(GetParam()));
  const Observer observer(appDisplay());
  const Window window = program.stage("w", "120 90 24 double");
  for (int frame = 1; frame <= 5; ++frame) {
    const int left = frame * 9;
    for (const std::string& step :
         {"draw quadrants " + std::to_string(frame), std::string("show w"),
          std::string("draw-buffer front"), "rect " + std::to_string(left) + " 5 20 30 ff00ffff",
          std::string("flush"), std::string("draw-buffer back")})
      program.ask(step);
    Picture expected = paintedScene("quadrants", frame, 120, 90);
    for (int y = 5; y < 35; ++y)
      std::fill_n(expected.pixels.begin() + y * 120 + left, 20, 0x00ffffu);
    EXPECT_TRUE(observer.shows(window, expected)) << frame;
  }
  EXPECT_EQ(program.ask("errors"), "0");
  EXPECT_EQ(program.end(), 0);
}

TEST_P(Switching, ToLeftShowsItWithTheNextFrame) {
  play("left", [](Play& play) {
    const Window window = play.program().stage("w", "120 90 24 double");
    play.show({"draw-buffer left", "draw quadrants 1", "show w"}, window, "quadrants", 1);
    play.show({"draw-buffer back", "draw bar 2", "show w"}, window, "bar", 2);
  });
}

// A single-buffered window goes on drawing into the only buffer that it has.
TEST_P(Switching, ToTheBackOfASingleBufferedWindowChangesNothing) {
  const auto script = [](Play& play, const std::string& choice) {
    const Window window = play.program().stage("w", "120 90 24 single");
    play.show({"draw quadrants 1", "flush"}, window, "quadrants", 1);
    if (!choice.empty()) play.program().ask("draw-buffer " + choice);
    play.show({"draw bar 2", "flush"}, window, "bar", 2);
  };
  for (const char* choice : {"front", "left", "front-left", "front-and-back"}) {
    play(std::string("single ") + choice, [&](Play& play) { script(play, choice); });
  }
}

TEST_P(Switching, BetweenTwoWindowsShowsBoth) {
  play("windows", [](Play& play) {
    PictureProgram& program = play.program();
    const Window left = program.stage("left", "100 80 24 double 0 0");
    const Window right = program.stage("right", "120 90 24 single 200 0");
    play.show({"draw quadrants 1", "current left left", "draw-buffer front", "draw bar 2", "flush",
               "current right right", "draw bar 3", "finish"},
              left, "bar", 2);
    play.look(right, "bar", 3);
    play.show({"current left left", "draw quadrants 4", "current right right"}, left, "quadrants",
              4);
    play.tell({"draw quadrants 5", "release"});
  });
}

// What no sample tells of is shown where samples are not counted.
TEST(Uncounted, ChangesOfTheFrontBufferAreAllShown) {
  for (const char* kind : {"24 single", "24 double"}) {
    const auto script = [kind](Play& play) {
      const Window window = play.program().stage("w", "120 90 " + std::string(kind));
      play.show({"draw-buffer front", "draw quadrants 1", "flush"}, window, "quadrants", 1);
      play.show({"blit 5 10 30 20 ff00ff00", "flush"}, window, "a blitted rectangle", 2);
      play.show({"clear-buffer ff123456", "finish"}, window, "a colour", 3);
      EXPECT_EQ(play.same("gl-error"), "0x0");
    };
    playThroughLibrary(std::string("uncounted ") + kind, script, appDisplay(),
                       environmentOf(false));
  }
}

INSTANTIATE_TEST_SUITE_P(, Switching, testing::Values(true, false), [](const auto& test) {
  return std::string(test.param ? "Counted" : "Uncounted");
});

TEST_P(Switching, NothingLetsTwoThreadsDrawInFrontAtOnce) {
  play("threads", [](Play& play) {
    PictureProgram& program = play.program();
    std::vector<Window> windows;
    for (const int thread : {1, 2}) {
      const std::string name = "w" + std::to_string(thread);
      windows.push_back(
          program.stage(name, "120 90 24 single " + std::to_string(200 * thread) + " 0", thread));
    }
    for (const int thread : {1, 2})
      program.tell("frames bar 1 " + std::to_string(30 + thread), thread);
    for (const int thread : {1, 2})
      program.answer(thread);
    play.look(windows[0], "bar", 31);
    play.look(windows[1], "bar", 32);
  });
}

// A program may begin to make queries in the middle of its life, when the library has long counted.
TEST(Queries, MadeAfterTheFirstFramesHaveTheRightResult) {
  constexpr std::pair<const char*, const char*> kPrograms[] = {
      {"24 single", "make-query"}, {"24 double", "make-query"}, {"24 single", "make-query-arb"}};
  for (const auto& [kind, make] : kPrograms) {
    const auto script = [kind = kind, make = make](Play& play) {
      const Window window = play.program().stage("w", "120 90 " + std::string(kind));
      play.show({"draw-buffer front", "draw quadrants 1", "flush", "draw bar 2", "finish"}, window,
                "bar", 2);
      play.tell({std::string(make) + " q", "begin-query q samples", "draw quadrants 3", "flush",
                 "end-query samples"});
      play.same("query-result q");
      play.look(window, "quadrants", 3);
      play.tell(
          {std::string(make) + " r", "begin-query r any", "draw bar 4", "end-query any", "flush"});
      EXPECT_EQ(play.same("query-result r"), "1");
      play.look(window, "bar", 4);
    };
    playThroughLibrary(std::string("late queries ") + kind + make, script, appDisplay(), {});
  }
}

} // namespace
} // namespace zol::endtoend
