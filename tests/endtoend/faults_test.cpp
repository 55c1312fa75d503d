// Servers that die or stop to answer, and machines that have run out of something: no program hangs
// or crashes for it in the library's code, and no shared memory is left behind.

#include "endtoend/censor.h"
#include "endtoend/delivery.h"
#include "endtoend/observer.h"
#include "endtoend/picture_program.h"
#include "rig/shared_segments.h"
#include "tools/display_server.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

namespace zol::endtoend {
namespace {

using rig::hasLine;

constexpr const char* kWindow = "300 200 24 double 0 0";

bool eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience / 2;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// Whether no shared memory of this process that has ended is there, once the X server has noticed.
bool leftNothing(pid_t process) {
  return eventually([&] { return rig::sharedSegmentsOf(process).empty(); });
}

// An X server of one test's own, to be done to as it likes.
class VictimServer {
public:
  explicit VictimServer(const std::vector<std::string>& options) {
    std::vector<std::string> command = {ZOL_XZOL};
    command.insert(command.end(), options.begin(), options.end());
    std::string error;
    launcher_ = tools::DisplayServer::start(command, &error);
    if (launcher_ == nullptr) throw std::runtime_error("no X server for this test: " + error);
    const std::string pid = std::to_string(launcher_->pid());
    std::ifstream("/proc/" + pid + "/task/" + pid + "/children") >> server_;
    if (server_ <= 0) throw std::runtime_error("no X server below " + pid);
  }
  ~VictimServer() { resume(); }
  VictimServer(const VictimServer&) = delete;
  VictimServer& operator=(const VictimServer&) = delete;

  const std::string& name() const { return launcher_->name(); }
  void stop() const { signal(SIGSTOP); }
  void resume() const { signal(SIGCONT); }
  // Returns once it is gone.
  void die() {
    signal(SIGKILL);
    server_ = 0;
    launcher_->stop();
  }

private:
  void signal(int number) const {
    if (server_ > 0) kill(server_, number);
  }

  std::unique_ptr<tools::DisplayServer> launcher_;
  pid_t server_ = 0; // 0 once dead
};

bool saysThatItsServerIsGone(const Program& program) {
  const std::string said = program.errors();
  return said.find("X connection to") != std::string::npos ||
         said.find("fatal IO error") != std::string::npos;
}

class ServerFault : public testing::TestWithParam<Delivery> {
protected:
  Environment environment() const { return GetParam().environment(); }

  // A program that shows its third frame in the window "w".
  std::unique_ptr<PictureProgram> start(Environment more = {}) {
    more.merge(environment());
    auto program = std::make_unique<PictureProgram>(folder_, app_.name(), more);
    window_ = program->stage("w", kWindow);
    program->ask("frames bar 1 3");
    const Observer observer(app_.name());
    EXPECT_TRUE(observer.shows(window_, paintedScene("bar", 3, 300, 200)));
    return program;
  }

  // Begins frames that go on and on, and returns when some have been shown.
  void showFramesForever(PictureProgram& program) const {
    const Observer observer(app_.name());
    program.tell("frames bar 4 1000000");
    EXPECT_TRUE(observer.seesPaints(window_, 3));
  }

  // Begins three frames and returns when the library has been called for the first of them.
  static void beginFrames(PictureProgram& program) {
    static_cast<void>(program.log().take());
    program.tell("frames bar 4 6");
    EXPECT_TRUE(eventually([&] { return !program.log().take().empty(); }));
  }

  void expectFramesAfter(std::chrono::seconds silence) {
    const auto program = start();
    for (const VictimServer* server : {&app_, &local_}) {
      server->stop();
      beginFrames(*program);
      std::this_thread::sleep_for(silence);
      server->resume();
      EXPECT_EQ(program->answer(), "");
      const Observer observer(app_.name());
      EXPECT_TRUE(observer.shows(window_, paintedScene("bar", 6, 300, 200)));
    }
    EXPECT_EQ(program->ask("errors"), "0");
    EXPECT_EQ(program->end(), 0) << program->errors();
  }

  Folder folder_;
  VictimServer local_{{"--vendor-names", "zolsoft mesa"}};
  VictimServer app_{{"--gl-display", local_.name()}};
  Window window_ = None;
};

TEST_P(ServerFault, AProgramThatDoesNotMissItsServerEndsAsItWants) {
  const auto program = start();
  const pid_t process = program->pid();
  app_.die();
  program->tell("exit 3");
  EXPECT_EQ(program->wait(), 3) << program->errors();
  EXPECT_TRUE(leftNothing(process));
}

TEST_P(ServerFault, AProgramThatDrawsOnWithoutItsServerIsEndedByXlib) {
  const auto program = start();
  const pid_t process = program->pid();
  app_.die();
  program->tell("frames bar 4 6");
  EXPECT_EQ(program->wait(), 1);
  EXPECT_TRUE(saysThatItsServerIsGone(*program)) << program->errors();
  EXPECT_TRUE(leftNothing(process));
}

TEST_P(ServerFault, AProgramWhoseServerDiesBetweenFramesIsEndedByXlib) {
  const auto program = start();
  const pid_t process = program->pid();
  showFramesForever(*program);
  app_.die();
  EXPECT_EQ(program->wait(), 1);
  EXPECT_TRUE(saysThatItsServerIsGone(*program)) << program->errors();
  EXPECT_TRUE(leftNothing(process));
}

// Rendered in software, frames may go on for a while: Xlib ends the program when the driver asks
// the server for something.
TEST_P(ServerFault, WithoutItsLocalServerAProgramGoesOnOrIsEndedByXlib) {
  const auto program = start();
  const pid_t process = program->pid();
  local_.die();
  for (const std::string& step :
       {std::string("frames bar 4 6"), "window late " + std::string(kWindow),
        std::string("context late late"), std::string("current late late"),
        std::string("frames bar 7 9"), std::string("resize late 310 210"),
        std::string("frames bar 10 12")})
    program->tell(step);
  program->closeInput();
  program->readRest();
  const int status = program->wait();
  if (status != 0) {
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(saysThatItsServerIsGone(*program)) << program->errors();
  }
  EXPECT_TRUE(leftNothing(process));
}

TEST_P(ServerFault, AProgramEndsWellAfterItsLocalServer) {
  const auto program = start();
  local_.die();
  program->tell("exit 3");
  EXPECT_EQ(program->wait(), 3) << program->errors();
}

TEST_P(ServerFault, FramesGoOnWhenAServerAnswersAgain) {
  expectFramesAfter(std::chrono::seconds(0));
}

// scripts/faults asks for it.
TEST_P(ServerFault, DISABLED_FramesGoOnWhenAServerAnswersAgainAfterHalfAMinute) {
  expectFramesAfter(std::chrono::seconds(30));
}

// The copyback thread waits for an answer, the program does not wait for the thread.
TEST_P(ServerFault, AProgramEndsWhileAServerDoesNotAnswer) {
  for (const VictimServer* server : {&app_, &local_}) {
    const auto program = start();
    const pid_t process = program->pid();
    program->ask("draw bar 4");
    server->stop();
    program->tell("exit 3");
    EXPECT_EQ(program->wait(), 3) << program->errors();
    server->resume();
    EXPECT_TRUE(leftNothing(process));
  }
}

INSTANTIATE_TEST_SUITE_P(, ServerFault,
                         testing::Values(Delivery{1, true, false}, Delivery{2, true, true}),
                         [](const auto& test) { return test.param.name(); });

// GLVND holds its lock while it loads the library and takes it again when the process ends: an exit
// in between would never end.
class StartFault : public testing::Test {
protected:
  static void expectEnd(PictureProgram& program, int status) {
    for (const char* step : {"window w 300 200 24 double 0 0", "context w w", "current w w"})
      program.tell(step);
    program.closeInput();
    program.readRest();
    EXPECT_EQ(program.wait(), status) << program.errors();
  }

  Folder folder_;
};

TEST_F(StartFault, AnApplicationServerMayDropTheConnectionThatLooksAtIt) {
  for (const LastWord& last : {LastWord{"ZOL-V1", 1}, LastWord{"GLX", 2}}) {
    const Censor app(appDisplay(), "", last);
    PictureProgram program(folder_, app.name());
    expectEnd(program, 0);
    EXPECT_TRUE(hasLine(rig::texts(program.log().all()), "D int __glx_Main(<any>): START"));
  }
}

TEST_F(StartFault, ALocalServerThatDropsTheConnectionThatLooksAtItIsNotUsed) {
  const Censor local(localDisplay(), "", {"GLX", 1});
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_DISPLAY", local.name()}});
  expectEnd(program, 0);
  EXPECT_TRUE(hasLine(rig::texts(program.log().all()),
                      "E int __glx_Main(<any>): No supported glVND vendor found on local display"));
}

TEST(Depth, OfSixteenBitsHasNoVisuals) {
  const Folder folder;
  for (const char* depth : {"24", "16"}) {
    const VictimServer local({"--vendor-names", "zolsoft mesa", "-depth", depth});
    const VictimServer app({"--gl-display", local.name(), "-depth", "16"});
    PictureProgram program(folder, app.name());
    EXPECT_EQ(program.askInVain("window w 300 200 16 double 0 0"), "no visual of depth 16");
    EXPECT_EQ(program.askInVain("window w 300 200 0 double 0 0"), "glXChooseVisual has no visual");
    EXPECT_EQ(program.end(), 0) << program.errors();
  }
}

// Calls that fail -----------------------------------------------------------------------------

struct FailingCall {
  const char* wish; // as failing_calls.c takes it
  int strategy;
  bool painted; // frames reach the window all the same
};

class CallFault : public testing::TestWithParam<FailingCall> {};

TEST_P(CallFault, LeavesTheProgramAlone) {
  const Folder folder;
  const Observer observer(appDisplay());
  PictureProgram program(folder, appDisplay(),
                         {{"LD_PRELOAD", ZOL_FAILING_CALLS},
                          {"ZOLTEST_FAIL", GetParam().wish},
                          {"ZOL_GL_COPYBACK_STRATEGY", std::to_string(GetParam().strategy)}});
  const pid_t process = program.pid();
  const Window window = program.stage("w", kWindow);
  const Picture before = observer.picture(window);
  program.ask("frames bar 1 3");
  EXPECT_EQ(program.ask("errors"), "0");
  if (GetParam().painted) {
    EXPECT_TRUE(observer.shows(window, paintedScene("bar", 3, 300, 200)));
  }
  EXPECT_EQ(program.end(), 0) << program.errors();
  EXPECT_TRUE(leftNothing(process));
}

INSTANTIATE_TEST_SUITE_P(
    , CallFault,
    testing::Values(FailingCall{"shmget", 0, true}, FailingCall{"shmget", 1, false},
                    FailingCall{"shmat", 0, true}, FailingCall{"shmat", 1, false},
                    FailingCall{"XShmAttach", 0, true}, FailingCall{"XShmAttach", 1, false},
                    FailingCall{"sem_init", 1, true}, FailingCall{"pthread_create", 1, false}),
    [](const auto& test) {
      std::string name = test.param.wish;
      std::erase(name, '_');
      return name + "Strategy" + std::to_string(test.param.strategy);
    });

class Shortage : public testing::Test {
protected:
  static void tellAll(PictureProgram& program) {
    for (const char* step : {"window w 300 200 24 double 0 0", "context w w", "current w w",
                             "frames bar 1 2", "errors"})
      program.tell(step);
  }

  // What the program answered to a window and frames in it, after this step; it ended well.
  std::string answersAfter(const std::string& step, const Environment& environment = {}) {
    PictureProgram program(folder_, appDisplay(), environment);
    const pid_t process = program.pid();
    for (const std::string& each :
         {step, "window w " + std::string(kWindow), std::string("context w w"),
          std::string("current w w"), std::string("frames bar 1 2"), std::string("errors")}) {
      if (!each.empty()) program.tell(each);
    }
    program.closeInput();
    const std::string answers = program.readRest();
    EXPECT_EQ(program.wait(), 0) << step << "\n" << answers << program.errors();
    EXPECT_TRUE(leftNothing(process));
    return answers;
  }

  // How many the library makes in such a program.
  int countAllocations() {
    PictureProgram program(folder_, appDisplay(), failing("memory 0 0"));
    program.stage("w", kWindow);
    program.ask("frames bar 1 2");
    EXPECT_EQ(program.end(), 0);
    const std::string said = program.errors();
    const char kCount[] = "memory was called ";
    const std::size_t found = said.find(kCount);
    if (found == std::string::npos) throw std::runtime_error("nothing was counted\n" + said);
    return std::stoi(said.substr(found + std::strlen(kCount)));
  }

  // Whether the program was told of it when this allocation failed.
  bool failsAt(int allocation) {
    const std::string wish = "memory " + std::to_string(allocation) + " 1";
    try {
      PictureProgram program(folder_, appDisplay(), failing(wish));
      const pid_t process = program.pid();
      tellAll(program);
      program.closeInput();
      const std::string answers = program.readRest();
      EXPECT_EQ(program.wait(), 0) << wish << "\n" << answers << program.errors();
      EXPECT_TRUE(leftNothing(process)) << wish;
      return answers.find("failed") != std::string::npos;
    } catch (const std::exception& exception) { // the next one is tried all the same
      ADD_FAILURE() << wish << "\n" << exception.what();
      return false;
    }
  }

  Environment failing(const std::string& wish) const {
    // Named, the local display need not be asked for: the default one may be anybody's.
    return {{"LD_PRELOAD", ZOL_FAILING_CALLS},
            {"ZOLTEST_FAIL", wish},
            {"ZOL_GL_DISPLAY", localDisplay()}};
  }

  Folder folder_;
};

TEST_F(Shortage, WithoutAKeyForItsThreadsTheLibraryHasNoVisuals) {
  EXPECT_NE(answersAfter("take-keys 0").find("no visual"), std::string::npos);
  EXPECT_EQ(answersAfter("take-keys 1").find("failed"), std::string::npos);
}

// Without that, each call would open another connection for a record that it cannot keep.
TEST_F(Shortage, AThreadWithoutItsRecordHasNoVisualsAndNoConnections) {
  const std::string answers = answersAfter("", failing("pthread_setspecific"));
  EXPECT_NE(answers.find("no visual"), std::string::npos) << answers;
}

TEST_F(Shortage, WithoutTheThreadsLibraryTheProgramIsEnded) {
  PictureProgram program(folder_, appDisplay(), failing("dlopen:libpthread.so.0"));
  program.tell("window w " + std::string(kWindow));
  EXPECT_EQ(program.wait(), 1);
  EXPECT_NE(program.errors().find("Failed to open libpthread.so.0\n"), std::string::npos);
}

TEST_F(Shortage, WithoutTheDriverThereIsOnlyTheNextOne) {
  PictureProgram program(folder_, appDisplay(), failing("dlopen:libGLX_zolsoft.so.0"));
  program.window("w", kWindow);
  EXPECT_TRUE(hasLine(rig::texts(program.log().all()),
                      "W char* findSystemGLXVendor(): DSO dlopen failed for "
                      "'libGLX_zolsoft.so.0' with error: <any>"));
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_F(Shortage, OfFilesIsAFailureOfTheCallThatNeedsThem) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP()
      << "the undefined-behaviour sanitizer opens a pipe to look at an object, and without "
         "files takes each for a wrong one";
#endif
  for (int left = 0; left <= 8; ++left) {
    const std::string answers = answersAfter("limit-files " + std::to_string(left));
    // The connection of the program itself, and that is all.
    if (left <= 1) {
      EXPECT_NE(answers.find("failed"), std::string::npos) << left;
    }
  }
  EXPECT_EQ(answersAfter("limit-files 12").find("failed"), std::string::npos);
}

// Here and there one of the allocations that the library makes: at its start, while it learns the
// visuals, and for the window, the context, the frames and the end.
TEST_F(Shortage, OfMemoryIsAFailureOfTheCallThatNeedsIt) {
  const int all = countAllocations();
  ASSERT_GT(all, 120);
  int failed = 0;
  for (const int first : {3, 15, 20, 23, 43, 110, all / 2, all - 12, all - 10, all - 8, all - 6,
                          all - 4, all - 3, all - 2, all - 1, all})
    failed += failsAt(first);
  EXPECT_GT(failed, 0) << "no allocation of weight among them";
}

// The answer stays unread, at the start and when the first context is made: no more is asked on
// that connection.
TEST_F(Shortage, OfMemoryForTheNameOfTheLocalDisplayCostsTheConnection) {
  // A name of a length that nothing else has.
  const std::string name = ":" + std::string(50, '0') + localDisplay().substr(1);
  const VictimServer app({"--gl-display", name});
  for (const int first : {1, 2}) {
    const std::string wish =
        "malloc:" + std::to_string(name.size() + 1) + " " + std::to_string(first) + " 1";
    PictureProgram program(
        folder_, app.name(),
        joined(kMayLeak, {{"LD_PRELOAD", ZOL_FAILING_CALLS}, {"ZOLTEST_FAIL", wish}}));
    for (const char* step : {"window first 64 48 24 double 0 0", "end-thread"})
      program.tell(step, 1);
    tellAll(program);
    program.closeInput();
    program.readRest();
    EXPECT_EQ(program.wait(), 0) << wish << "\n" << program.errors();
    EXPECT_TRUE(hasLine(rig::texts(program.log().all()), "<any>Using default display (:0.0)."));
  }
}

// With some of its functions a program would mix the library's objects with the driver's.
TEST_F(Shortage, OfMemoryForTheTableOfNamesLeavesTheLibraryOut) {
  for (const int first : {30, 60, 90}) {
    PictureProgram program(folder_, appDisplay(),
                           failing("memory " + std::to_string(first) + " 1"));
    program.window("w", kWindow); // another vendor's
    EXPECT_EQ(program.end(), 0) << program.errors();
    const auto lines = rig::texts(program.log().all());
    EXPECT_TRUE(hasLine(lines, "D int __glx_Main(<any>): START"));
    EXPECT_FALSE(hasLine(lines, "D int __glx_Main(<any>): Initiating glVND interface setup"));
  }
}

// None is there any more, which the end of a call has to bear as well.
TEST_F(Shortage, OfMemoryForLocksEndsNoProgram) {
  Environment environment = failing("malloc:" + std::to_string(sizeof(pthread_mutex_t)));
  environment["ZOL_GL_UNSET_LOCAL_DISPLAY"] = "1";
  answersAfter("", environment);
}

// Minutes: scripts/faults asks for it.
TEST_F(Shortage, DISABLED_OfMemoryAtEveryAllocation) {
  const int allocations = countAllocations();
  int failed = 0;
  for (int first = 1; first <= allocations; ++first)
    failed += failsAt(first);
  std::printf("%d allocations, %d of them a failure that the program was told of\n", allocations,
              failed);
}

// The log -------------------------------------------------------------------------------------

class LogFault : public testing::Test {
protected:
  void expectFrames(PictureProgram& program) {
    const Observer observer(appDisplay());
    const Window window = program.stage("alive", kWindow);
    program.ask("frames bar 1 3");
    EXPECT_TRUE(observer.shows(window, paintedScene("bar", 3, 300, 200)));
  }

  Folder folder_;
};

TEST_F(LogFault, ADiskThatIsFullTakesNoRecords) {
  PictureProgram program(folder_, Command{{"sh", "-c", "exec " + pictureFile() + " 2>/dev/full"}},
                         {{"DISPLAY", appDisplay()}, {"ZOL_GL_LOG_DIR", ""}});
  expectFrames(program);
  EXPECT_EQ(program.end(), 0);
}

TEST_F(LogFault, AFolderThatVanishesIsNotMissed) {
  const std::filesystem::path logs = folder_.path() / "logs";
  std::filesystem::create_directory(logs);
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_LOG_DIR", logs}});
  program.stage("w", kWindow);
  EXPECT_GT(std::filesystem::remove_all(logs), 1U) << "no log was there";
  expectFrames(program);
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_F(LogFault, WithoutItsFolderTheLogGoesToStandardError) {
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_LOG_DIR", folder_.path() / "nowhere"}});
  expectFrames(program);
  EXPECT_EQ(program.end(), 0);
  EXPECT_NE(program.errors().find("ZOLGL (void zol_init(void*)): START"), std::string::npos);
}

} // namespace
} // namespace zol::endtoend
