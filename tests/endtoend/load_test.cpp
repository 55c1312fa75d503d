// Programs that make and destroy much, and hold no more afterwards than before.

#include "endtoend/delivery.h"
#include "endtoend/footprint.h"
#include "endtoend/loads.h"

#include <functional>
#include <optional>

namespace zol::endtoend {
namespace {

class Load : public testing::TestWithParam<Delivery> {
protected:
  using Turn = std::function<void(PictureProgram&)>;

  void start(const Environment& more = {}) {
    Environment environment = joined(GetParam().environment(), oneHeap());
    environment = joined(environment, {{"ZOL_GL_LOG_LEVEL", "warning"}});
    program_.emplace(folder_, display_, joined(environment, more));
  }

  // The first turns bring what stays; after more of them there is nothing more.
  void expectFlat(int first, int more, const Turn& turn) {
    repeat(first, turn);
    const Footprint before = weighAtRest(nullptr);
    repeat(more, turn);
    const Footprint after = weighAtRest(&before);
    EXPECT_EQ(growth(before, after), std::vector<std::string>()) << before << after;
    expectWell();
  }

  void repeat(int times, const Turn& turn) {
    for (int i = 0; i < times; ++i)
      turn(*program_);
  }

  void expectWell() {
    EXPECT_EQ(program_->ask("errors"), "0") << program_->errors();
    EXPECT_EQ(program_->end(), 0) << program_->errors();
  }

  PictureProgram& program() { return *program_; }

private:
  Footprint weighAtRest(const Footprint* before) {
    const Rest rest(*program_, observer_);
    EXPECT_TRUE(rest.isShown()) << program_->errors();
    const Scales scales(observer_, local_);
    return before == nullptr ? scales.weigh(program_->pid())
                             : scales.weighWhenFlat(program_->pid(), *before);
  }

  Folder folder_;
  const std::string display_ = GetParam().display();
  const Observer observer_{display_};
  const Observer local_{localDisplay()};
  std::optional<PictureProgram> program_;
};

TEST_P(Load, OfEverythingInTurnLeavesNothing) {
  start();
  expectFlat(20, 40, turnOver);
}

TEST_P(Load, OfManyWindowsAtOnceLeavesNothing) {
  start();
  expectFlat(3, 6, [](PictureProgram& program) { turnWindows(program, 8); });
}

TEST_P(Load, OfThreadsThatComeAndGoLeavesNothing) {
  start();
  expectFlat(3, 6, [](PictureProgram& program) { turnThreads(program, 8); });
}

// A window may have the id of one that went with its connection, and whose local display is still
// open.
TEST_P(Load, OfThreadsWithConnectionsHasNoErrors) {
  start();
  repeat(6, [](PictureProgram& program) { turnConnectedThreads(program, 8); });
  expectWell();
}

TEST_P(Load, OfThreadsWithConnectionsLeavesNothingWhereLocalDisplaysAreClosed) {
  start({{"ZOL_GL_UNSET_LOCAL_DISPLAY", "1"}});
  expectFlat(3, 6, [](PictureProgram& program) { turnConnectedThreads(program, 8); });
}

// A thread's first context, here one made by the library, is left when the thread ends.
TEST_P(Load, OfAContextHandedFromThreadToThreadLeavesNothing) {
  start(kMayLeak);
  makeHandedContext(program(), 4);
  expectFlat(20, 40, [](PictureProgram& program) { handContextOn(program, 4); });
}

TEST_P(Load, OfFramesLeavesNothing) {
  start();
  program().stage("w", "64 48 24 double");
  expectFlat(2, 10, [](PictureProgram& program) {
    program.ask("current w w");
    program.ask("frames bar 1 100");
  });
}

INSTANTIATE_TEST_SUITE_P(, Load, testing::Values(Delivery{1, true, false}, Delivery{2, true, true}),
                         [](const auto& test) { return test.param.name(); });

} // namespace
} // namespace zol::endtoend
