#include "foundation/conf_settings.h"
#include "frame/fake_x.h"
#include "frame/image_painter.h"
#include "visual/recording.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <sys/resource.h>

// A test asks for more memory than there is: the sanitizers then answer as malloc does.
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

using recording::messages;
using zol::gl::XImagePainter;

namespace {

using Lines = std::vector<std::string>;

constexpr int automatic = 0;
constexpr int forcedShared = 1;
constexpr int forcedPlain = 2;
constexpr XID window = 0x200003;
constexpr VisualID visual = 0x21;

const Lines sharedSetup = {"XGetVisualInfo 0x1 0x21",
                           "XShmCreateImage depth 24 format 2 10x5",
                           "shmget 0 200 01777",
                           "shmat 7 0",
                           "XSync 0",
                           "XShmAttach 7 read-only 0",
                           "XSync 0",
                           "shmctl 7 IPC_SET 0600",
                           "shmctl 7 IPC_RMID",
                           "XShmPutImage 0x200003 gc 0 0 0 0 10x5 event 0",
                           "XSync 0"};
const Lines plainSetup = {"XGetVisualInfo 0x1 0x21",
                          "XCreateImage depth 24 format 2 offset 0 10x5 pad 8 bytes per line 0",
                          "XInitImage", "XSync 0"};
// What is said until the server has its first say on the segment.
const Lines detection = {
    "DEBUG START",
    "DEBUG Now performing auto detect - X extension for shared memory available: true",
    "DEBUG Shared memory extension seems available, continuing checks..",
    "DEBUG Trying to setup shared memory for image painter",
    "DEBUG size: 10 x 5, depth: 24, bytes per line: 40"};

// 32-bit programs may have room for the largest piece of memory that can be asked for: not here.
class NoRoomForTheLargest {
public:
  NoRoomForTheLargest() {
    getrlimit(RLIMIT_AS, &before);
    rlimit less = before;
    less.rlim_cur = std::min<rlim_t>(less.rlim_cur, 1 << 30);
    if (sizeof(void*) == 4) setrlimit(RLIMIT_AS, &less);
  }
  ~NoRoomForTheLargest() { setrlimit(RLIMIT_AS, &before); }

private:
  rlimit before{};
};

Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

class AnImagePainter : public testing::Test {
protected:
  void SetUp() override { use(automatic); }

  void TearDown() override {
    // Whatever happened: no memory and no handler stays behind.
    painter.reset();
    EXPECT_EQ(server->mappedSegments, 0);
    EXPECT_EQ(server->liveImages, 0);
    EXPECT_EQ(fake::installedErrorHandler(), fake::applicationErrorHandler);
  }

  void use(int strategy) { zol::conf::settings().copybackStrategy = strategy; }

  bool setup(int width = 10, int height = 5) {
    recording::clear();
    return painter->setup(fake::display, visual, width, height);
  }

  const Lines& calls() { return recording::calls(); }

  Lines errors() {
    Lines lines = messages();
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("ERROR "); });
    return lines;
  }

  fake::Server* server = &fake::resetServer();
  std::unique_ptr<XImagePainter> painter = std::make_unique<XImagePainter>(window);
};

} // namespace

TEST_F(AnImagePainter, HasNothingToPaintBeforeTheFirstSetup) {
  EXPECT_EQ(painter->getBuffer(), nullptr);
  painter->draw(fake::display, 10, 5);
  EXPECT_EQ(calls(), Lines{});
  painter.reset();
  EXPECT_EQ(calls(), Lines{});
}

TEST_F(AnImagePainter, DetectsSharedMemoryOnceAndTakesIt) {
  EXPECT_TRUE(setup());
  EXPECT_EQ(calls(),
            (Lines{"XSetErrorHandler library's", "XShmQueryExtension", "XCreateGC 0x200003 0"} +
             sharedSetup + Lines{"XSetErrorHandler application's"}));
  EXPECT_EQ(messages(), (detection + Lines{"DEBUG Setup with shmem SUCCEEDED", "DEBUG DONE"}));
  EXPECT_EQ(recording::log()[0].label,
            "bool zol::gl::XImagePainter::setup(Display*, VisualID, int, int)");
  EXPECT_EQ(recording::log()[4].label,
            "bool zol::gl::XImagePainter::setupXImagePainterInternal(bool, Display*, VisualID, "
            "int, int)");

  EXPECT_TRUE(setup());
  EXPECT_EQ(calls(), Lines{});
  EXPECT_EQ(messages(),
            (Lines{"DEBUG START", "DEBUG Setting up XImagePainter with shared memory",
                   "DEBUG Trying to setup shared memory for image painter", "DEBUG DONE"}));
}

TEST_F(AnImagePainter, GoesOnWithoutSharedMemoryWhereTheServerHasNone) {
  server->hasShm = false;
  EXPECT_TRUE(setup());
  EXPECT_EQ(calls(), (Lines{"XSetErrorHandler library's", "XShmQueryExtension",
                            "XSetErrorHandler application's", "XCreateGC 0x200003 0"} +
                      plainSetup));
  EXPECT_EQ(messages(),
            (Lines{"DEBUG START",
                   "DEBUG Now performing auto detect - X extension for shared memory available: "
                   "false",
                   "DEBUG Shared memory extension is not available, forcing non-shared memory",
                   "DEBUG Setting up XImagePainter without shared memory",
                   "DEBUG Trying to setup image painter with low performance non-shared memory",
                   "DEBUG size: 10 x 5, depth: 24, bytes per line: 40", "DEBUG DONE"}));
  EXPECT_TRUE(setup());
  EXPECT_EQ(calls(), Lines{});
  EXPECT_EQ(messages(),
            (Lines{"DEBUG START", "DEBUG Setting up XImagePainter without shared memory",
                   "DEBUG Trying to setup image painter with low performance non-shared memory",
                   "DEBUG DONE"}));
}

TEST_F(AnImagePainter, LeavesErrorsAfterTheDetectionToTheApplicationsHandler) {
  ASSERT_TRUE(setup());
  server->attachError = BadAccess;
  EXPECT_TRUE(setup(20, 5));
  EXPECT_EQ(calls()[0], "XShmDetach");
  EXPECT_TRUE(std::count(calls().begin(), calls().end(), "application's error handler 10"));
  EXPECT_FALSE(std::count(calls().begin(), calls().end(), "XSetErrorHandler library's"));
}

TEST_F(AnImagePainter, FallsBackWhenTheServerRefusesTheSegment) {
  server->attachError = BadAccess;
  EXPECT_TRUE(setup());
  EXPECT_EQ(messages(),
            (detection +
             Lines{"DEBUG X error detected with code 10: BadAccess (as it were)",
                   "DEBUG Shared memory setup failed, falling back to non-shared",
                   "DEBUG Trying to setup image painter with low performance non-shared memory",
                   "DEBUG Setup without shmem returned SUCCESS", "DEBUG DONE"}));
  EXPECT_EQ(recording::log()[5].label, "int handleXShmError(Display*, XErrorEvent*)");
  EXPECT_TRUE(std::count(calls().begin(), calls().end(), "XGetErrorText 10 into 500"));
  ASSERT_NE(painter->getBuffer(), nullptr);

  recording::clear();
  painter->draw(fake::display, 10, 5);
  EXPECT_EQ(calls(), (Lines{"XPutImage 0x200003 gc 0 0 0 0 10x5", "XFlush"}));

  // The server never had the segment, so it is not told to let go of it.
  EXPECT_TRUE(setup(20, 5));
  EXPECT_EQ(calls()[0], "shmdt");
  EXPECT_EQ(calls()[1], "XDestroyImage shared");
  EXPECT_EQ(server->mappedSegments, 0);
}

TEST_F(AnImagePainter, TellsTheServerToLetGoOfASegmentThatItCouldNotPaintFrom) {
  server->putError = BadMatch;
  EXPECT_TRUE(setup());
  recording::clear();
  painter.reset();
  EXPECT_EQ(calls(), (Lines{"XShmDetach", "shmdt", "XDestroyImage shared", "XFreeGC", "XSync 1"}));
}

TEST_F(AnImagePainter, FallsBackToAnImageOfItsOwnWhenTheSegmentCannotBeMade) {
  server->makesSegments = false;
  EXPECT_TRUE(setup());
  EXPECT_EQ(messages()[5], "ERROR unable to create shared memory segment");
  EXPECT_EQ(messages()[9], "DEBUG Setup without shmem returned SUCCESS");
  painter->draw(fake::display, 10, 5);
  EXPECT_EQ(calls().back(), "XFlush");
  EXPECT_EQ(calls().end()[-2], "XPutImage 0x200003 gc 0 0 0 0 10x5");
}

TEST_F(AnImagePainter, FailsWhenNeitherWayWorks) {
  server->makesSegments = false;
  server->plainError = BadMatch;
  EXPECT_FALSE(setup());
  EXPECT_EQ(messages().back(),
            "ERROR Could not setup XImagePainter - shared and non-shared memory failure");

  // It is decided all the same.
  EXPECT_TRUE(setup());
  EXPECT_EQ(calls(), Lines{});
  EXPECT_EQ(messages()[1], "DEBUG Setting up XImagePainter without shared memory");
}

TEST_F(AnImagePainter, IsNotMisledByTheErrorsOfAnother) {
  server->makesSegments = false;
  server->plainError = BadMatch;
  ASSERT_FALSE(setup());
  server->makesSegments = true;
  painter = std::make_unique<XImagePainter>(window);
  EXPECT_TRUE(setup());
  EXPECT_EQ(messages().end()[-2], "DEBUG Setup with shmem SUCCEEDED");
}

TEST_F(AnImagePainter, ReportsAFailedFallback) {
  server->depth = 16;
  EXPECT_FALSE(setup());
  EXPECT_EQ(messages().end()[-2], "DEBUG Setup without shmem returned FAILURE");
  EXPECT_EQ(messages().back(), "DEBUG DONE");
}

TEST_F(AnImagePainter, ForcedWithoutSharedMemoryNeverAsksForIt) {
  use(forcedPlain);
  EXPECT_TRUE(setup());
  EXPECT_EQ(calls(), Lines{"XCreateGC 0x200003 0"} + plainSetup);
  EXPECT_EQ(messages(),
            (Lines{"DEBUG START", "DEBUG Forcing usage of non-shared memory",
                   "DEBUG Setting up XImagePainter without shared memory",
                   "DEBUG Trying to setup image painter with low performance non-shared memory",
                   "DEBUG size: 10 x 5, depth: 24, bytes per line: 40", "DEBUG DONE"}));

  EXPECT_TRUE(setup(20, 5));
  EXPECT_EQ(calls(), (Lines{"XDestroyImage plain", "XGetVisualInfo 0x1 0x21",
                            "XCreateImage depth 24 format 2 offset 0 20x5 pad 8 bytes per line 0",
                            "XInitImage", "XSync 0"}));
  EXPECT_EQ(messages()[4], "DEBUG freeing old image");
}

TEST_F(AnImagePainter, AnyOtherStrategyForcesSharedMemory) {
  for (int strategy : {forcedShared, 3, -1}) {
    use(strategy);
    painter = std::make_unique<XImagePainter>(window);
    EXPECT_TRUE(setup());
    EXPECT_EQ(calls(), Lines{"XCreateGC 0x200003 0"} + sharedSetup);
    EXPECT_EQ(messages()[1], "DEBUG Forcing usage of shared memory");
  }
}

TEST_F(AnImagePainter, ForcedSharedMemoryLeavesErrorsToTheApplicationsHandler) {
  use(forcedShared);
  server->attachError = BadAccess;
  EXPECT_TRUE(setup());
  EXPECT_TRUE(std::count(calls().begin(), calls().end(), "application's error handler 10"));
}

TEST_F(AnImagePainter, PaintsThroughTheExtensionAndDoesNotWait) {
  use(forcedShared);
  ASSERT_TRUE(setup());
  for (int i = 0; i < 200; ++i)
    painter->getBuffer()[i] = static_cast<char>(i);
  recording::clear();
  painter->draw(fake::display, 10, 5);
  EXPECT_EQ(calls(), (Lines{"XShmPutImage 0x200003 gc 0 0 0 0 10x5 event 0", "XFlush"}));
  EXPECT_EQ(messages(), Lines{"DEBUG XPutting image on 200003, size 10 5"});
  EXPECT_EQ(recording::log()[0].label, "void zol::gl::XImagePainter::draw(Display*, int, int)");
  ASSERT_EQ(server->painted.size(), 200u);
  EXPECT_EQ(server->painted[199], 199);
}

TEST_F(AnImagePainter, ReplacesTheImageWhenTheSizeChanges) {
  use(forcedShared);
  ASSERT_TRUE(setup());
  ASSERT_TRUE(setup(20, 5));
  EXPECT_EQ(Lines(calls().begin(), calls().begin() + 5),
            (Lines{"XShmDetach", "shmdt", "XDestroyImage shared", "XGetVisualInfo 0x1 0x21",
                   "XShmCreateImage depth 24 format 2 20x5"}));
  EXPECT_EQ(messages()[4], "DEBUG freeing old image");
  EXPECT_EQ(server->liveImages, 1);
  EXPECT_EQ(server->mappedSegments, 1);

  use(forcedPlain); // a painter does not trust the way to stay the same
  ASSERT_TRUE(setup(20, 6));
  EXPECT_EQ(calls()[0], "XShmDetach");
  use(forcedShared);
  ASSERT_TRUE(setup(20, 7));
  EXPECT_EQ(calls()[0], "XDestroyImage plain");
}

TEST_F(AnImagePainter, KeepsTheImageWhenOnlyTheVisualChanges) {
  ASSERT_TRUE(setup());
  recording::clear();
  EXPECT_TRUE(painter->setup(fake::display, visual + 1, 10, 5));
  EXPECT_EQ(calls(), Lines{});
}

TEST_F(AnImagePainter, FailsWithoutAGraphicsContext) {
  use(forcedPlain);
  server->makesGC = false;
  EXPECT_FALSE(setup());
  EXPECT_EQ(messages().end()[-2], "DEBUG XCreateGC failed");
  server->makesGC = true;
  EXPECT_TRUE(setup());
}

TEST_F(AnImagePainter, RefusesVisualsOfLessThan24BitsEveryTime) {
  const Lines refusal = {
      "ERROR Could not create XImage, XVisualInfo color depth is less than 24 bit: &d",
      "ERROR Could not create XImage with at least 24 bit of color depth"};
  for (int strategy : {forcedShared, forcedPlain, automatic}) {
    use(strategy);
    bool detects = strategy == automatic;
    for (int depth : {16, 23}) {
      server->depth = depth;
      EXPECT_FALSE(setup());
      EXPECT_EQ(errors(), detects ? refusal + refusal : refusal);
      EXPECT_EQ(painter->getBuffer(), nullptr);
      detects = false;
    }
  }
}

TEST_F(AnImagePainter, TakesTheFirstOfSeveralVisuals) {
  use(forcedPlain);
  server->visuals = 2;
  EXPECT_TRUE(setup());
  EXPECT_EQ(messages()[4],
            "WARNING XGetVisualInfo returns multiple XVisualInfo: &d, taking the first one");
}

TEST_F(AnImagePainter, AnUnknownVisualFailsWithSharedMemory) {
  use(forcedShared);
  server->visuals = 0;
  EXPECT_FALSE(setup());
  EXPECT_EQ(messages()[4], "ERROR unable to create shared memory segment");
  EXPECT_EQ(painter->getBuffer(), nullptr);
}

TEST_F(AnImagePainter, AnUnknownVisualSucceedsWithoutSharedMemoryButHasNothingToPaint) {
  use(forcedPlain);
  server->visuals = 0;
  EXPECT_TRUE(setup());
  EXPECT_EQ(calls().back(), "XSync 0");
  EXPECT_EQ(painter->getBuffer(), nullptr);
  recording::clear();
  painter->draw(fake::display, 10, 5);
  EXPECT_EQ(calls(), Lines{});
}

TEST_F(AnImagePainter, AnImageThatXlibDoesNotMakeLeavesNothingBehind) {
  server->makesImages = false;
  use(forcedPlain);
  EXPECT_TRUE(setup());
  EXPECT_EQ(painter->getBuffer(), nullptr);
  use(forcedShared);
  EXPECT_FALSE(setup());
  EXPECT_EQ(painter->getBuffer(), nullptr);
}

TEST_F(AnImagePainter, DoesNotTakeTheOldSegmentForANewOne) {
  use(forcedShared);
  ASSERT_TRUE(setup());
  server->makesImages = false;
  EXPECT_FALSE(setup(20, 5));
  EXPECT_EQ(errors(), Lines{"ERROR unable to create shared memory segment"});
}

TEST_F(AnImagePainter, FailsWhenThereIsNoMemoryForThePixels) {
  const NoRoomForTheLargest limit;
  use(forcedPlain);
  EXPECT_FALSE(setup(1 << 30, 1 << 30));
  EXPECT_EQ(messages().end()[-2], "ERROR Could not allocate data for XImage");
}

TEST_F(AnImagePainter, RefusesServersWhosePixelsAreNotOf32Bits) {
  server->bitsPerPixel = 24;
  for (int strategy : {forcedShared, forcedPlain, automatic}) {
    use(strategy);
    EXPECT_FALSE(setup());
    EXPECT_EQ(painter->getBuffer(), nullptr);
    EXPECT_EQ(errors(), Lines(strategy == automatic ? 2 : 1,
                              "ERROR Could not create XImage with 32 bits per pixel"));
    EXPECT_EQ(server->liveImages, 0);
  }
}

TEST_F(AnImagePainter, UnmapsAndRemovesASegmentThatCannotBeAttached) {
  use(forcedShared);
  server->attaches = false;
  EXPECT_FALSE(setup());
  EXPECT_EQ(
      Lines(calls().end() - 4, calls().end()),
      (Lines{"XShmAttach 7 read-only 0", "shmdt", "shmctl 7 IPC_RMID", "XDestroyImage shared"}));
  EXPECT_EQ(messages()[5], "ERROR unable to attach shared memory segment");
  EXPECT_EQ(painter->getBuffer(), nullptr);

  server->attaches = true;
  server->mapsSegments = false;
  EXPECT_FALSE(setup());
  EXPECT_EQ(Lines(calls().end() - 4, calls().end()),
            (Lines{"shmat 7 0", "shmdt of nothing", "shmctl 7 IPC_RMID", "XDestroyImage shared"}));
  EXPECT_EQ(painter->getBuffer(), nullptr);
}

TEST_F(AnImagePainter, UnmapsASegmentThatCannotBePainted) {
  use(forcedShared);
  server->puts = false;
  EXPECT_FALSE(setup());
  EXPECT_EQ(
      Lines(calls().end() - 3, calls().end()),
      (Lines{"XShmPutImage 0x200003 gc 0 0 0 0 10x5 event 0", "shmdt", "XDestroyImage shared"}));
  EXPECT_EQ(messages()[5], "ERROR unable to put image on shared memory segment");
  EXPECT_EQ(painter->getBuffer(), nullptr);
  recording::clear();
  painter.reset();
  EXPECT_EQ(calls(), Lines{"XFreeGC"});
}

TEST_F(AnImagePainter, ReleasesImageAndSegmentAtItsEnd) {
  use(forcedShared);
  ASSERT_TRUE(setup());
  recording::clear();
  painter.reset();
  EXPECT_EQ(calls(), (Lines{"XShmDetach", "shmdt", "XDestroyImage shared", "XFreeGC", "XSync 1"}));

  use(forcedPlain);
  painter = std::make_unique<XImagePainter>(window);
  ASSERT_TRUE(setup());
  recording::clear();
  painter.reset();
  EXPECT_EQ(calls(), (Lines{"XDestroyImage plain", "XFreeGC", "XSync 1"}));
}

TEST_F(AnImagePainter, EndsWithoutARequestOnAConnectionThatIsClosed) {
  for (int strategy : {forcedShared, forcedPlain}) {
    use(strategy);
    painter = std::make_unique<XImagePainter>(window);
    ASSERT_TRUE(setup());
    recording::clear();
    zol::gl::closePaintingConnection(fake::display);
    EXPECT_EQ(calls(), Lines{"XCloseDisplay"});
    recording::clear();
    painter.reset();
    EXPECT_EQ(calls(), strategy == forcedShared ? (Lines{"shmdt", "XDestroyImage shared"})
                                                : Lines{"XDestroyImage plain"});
    zol::gl::closePaintingConnection(nullptr); // the other tests' connection is open
  }
}
