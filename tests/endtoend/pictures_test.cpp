// Every pixel of a window is the one that the same program gets straight on the local display.

#include "endtoend/delivery.h"
#include "endtoend/play.h"

namespace zol::endtoend {
namespace {

struct Kind {
  int depth;
  bool doubleBuffered;

  std::string name() const {
    return std::to_string(depth) + "Bit" + (doubleBuffered ? "Double" : "Single") + "Buffered";
  }
  std::string words() const {
    return " " + std::to_string(depth) + (doubleBuffered ? " double" : " single");
  }
};

void PrintTo(const Kind& kind, std::ostream* stream) {
  *stream << kind.name();
}

class Pixels : public testing::TestWithParam<std::tuple<Delivery, Kind>> {
protected:
  const Delivery& delivery() const { return std::get<0>(GetParam()); }
  const Kind& kind() const { return std::get<1>(GetParam()); }

  void play(const std::string& name, const Script& script) const {
    playThroughLibrary(name + kind().name(), script, delivery().display(),
                       delivery().environment());
  }
};

std::string nameOf(const testing::TestParamInfo<Pixels::ParamType>& info) {
  return std::get<1>(info.param).name() + std::get<0>(info.param).name();
}

void show(Play& play, Window window, const std::string& picture, int first, int last) {
  play.program().ask("frames " + picture + " " + std::to_string(first) + " " +
                     std::to_string(last));
  play.look(window, picture, last);
}

TEST_P(Pixels, AreTheSameInWindowsOfEverySize) {
  play("sizes", [this](Play& play) {
    for (const char* size : {"5 3", "10 10", "300 300", "640 480", "1921 1081"}) {
      const Window window = play.program().stage("w", size + kind().words() + " 40 30");
      show(play, window, "quadrants", 1, 1);
      // A window of less than 10 by 10 pixels is drawn in a corner of a pbuffer of that size. The
      // driver's coordinates begin at its other end, so that colours in between, but not edges,
      // are rounded differently.
      if (std::string(size) != "5 3") show(play, window, "gradient", 3, 3);
      show(play, window, "bar", 1, 12);
      play.program().ask("release");
      play.program().ask("forget w");
      play.program().ask("destroy w");
    }
  });
}

// A window's new size is found out about when a frame is shown, so the first frame after it still
// has the old one: two frames follow each change.
TEST_P(Pixels, AreTheSameAfterTheWindowIsResizedHiddenShownAndMoved) {
  play("changes", [this](Play& play) {
    const Window window = play.program().stage("w", "300 200" + kind().words() + " 0 0");
    show(play, window, "quadrants", 1, 2);
    play.program().ask("resize w 641 483");
    show(play, window, "gradient", 3, 4);
    play.program().ask("resize w 123 77");
    show(play, window, "bar", 5, 6);
    play.program().ask("unmap w");
    play.program().ask("frames quadrants 7 9");
    play.program().ask("map w");
    show(play, window, "bar", 10, 11);
    play.program().ask("move w 500 400");
    play.look(window, "bar", 11);
    show(play, window, "quadrants", 12, 12);
    play.program().ask("unmap w");
    play.program().ask("resize w 222 333");
    play.program().ask("frames bar 13 14");
    play.program().ask("map w");
    show(play, window, "gradient", 15, 16);
  });
}

INSTANTIATE_TEST_SUITE_P(, Pixels,
                         testing::Combine(testing::ValuesIn(allDeliveries()),
                                          testing::Values(Kind{24, true}, Kind{24, false},
                                                          Kind{32, true}, Kind{32, false})),
                         nameOf);

// Others ask for a visual to the last buffer, which few programs do.
class ChosenVisual : public testing::TestWithParam<Delivery> {};

TEST_P(ChosenVisual, GivesTheSamePixels) {
  const auto script = [](Play& play) {
    int x = 0;
    for (const char* kind : {"double", "single"}) {
      const std::string place = " " + std::to_string(x) + " 0";
      const Window window = play.program().stage(kind, "300 200 0 " + std::string(kind) + place);
      show(play, window, "quadrants", 1, 1);
      show(play, window, "bar", 2, 3);
      x += 400;
    }
  };
  playThroughLibrary("chosen", script, GetParam().display(), GetParam().environment());
}

INSTANTIATE_TEST_SUITE_P(, ChosenVisual, testing::ValuesIn(allDeliveries()),
                         [](const auto& test) { return test.param.name(); });

} // namespace
} // namespace zol::endtoend
