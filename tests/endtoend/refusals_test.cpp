// Where the library does not take part it says why, and the program runs with Mesa as if the
// library were not there; where it cannot work it says so and ends the call, or the program.

#include "endtoend/censor.h"
#include "endtoend/displays.h"
#include "endtoend/observer.h"
#include "endtoend/picture_program.h"

namespace zol::endtoend {
namespace {

using rig::hasLine;
using rig::Lines;

const std::string kMain =
    "int __glx_Main(uint32_t, const __GLXapiExports*, __GLXvendorInfo*, __GLXapiImports*): ";
const std::string kFind = "char* findSystemGLXVendor(): ";
const std::string kOff = "I " + kMain + "ZOL-GL is OFF";
const std::string kNoVendor = "E " + kMain + "No supported glVND vendor found on local display";
constexpr const char* kAbsent = ":987"; // a display that no test server takes

const Environment kByHand = {{"__GLX_VENDOR_LIBRARY_NAME", "zol"}};

class Refusal : public testing::Test {
protected:
  // The program draws straight on the display, without anything of ours.
  void expectMesaDraws(PictureProgram& program, const std::string& display) {
    const Observer observer(display);
    const Window window = program.stage("w", "300 200 24 double 0 0");
    program.ask("draw quadrants 1");
    program.ask("show w");
    EXPECT_TRUE(samePicture(paintedScene("quadrants", 1, 300, 200), observer.picture(window)));
    EXPECT_NE(program.ask("renderer").find("llvmpipe"), std::string::npos);
    EXPECT_EQ(program.hasLoaded("libGLX_zol.so.0"), kStaysLoaded);
    EXPECT_TRUE(program.hasLoaded("libGLX_mesa.so.0"));
    EXPECT_EQ(program.ask("errors"), "0");
    EXPECT_EQ(program.end(), 0) << program.errors();
  }

  static Lines logged(PictureProgram& program) { return rig::texts(program.log().all()); }

  std::string copyNamed(const std::string& name) const {
    const std::filesystem::path copy = folder_.path() / name;
    std::filesystem::copy_file(pictureFile(), copy);
    return copy;
  }

  Folder folder_;
};

TEST_F(Refusal, AProgramWithoutADisplaySaysSoItself) {
  PictureProgram program(folder_, kAbsent, kByHand);
  EXPECT_EQ(program.askInVain("window w 300 200 24 double 0 0"), "no display");
  EXPECT_EQ(program.hasLoaded("libGLX_zol.so.0"), kStaysLoaded);
  EXPECT_EQ(program.end(), 0);
}

// The program names its display itself; the library's own look finds none.
TEST_F(Refusal, WithoutADisplayInTheEnvironmentTheProgramRunsWithMesa) {
  PictureProgram program(folder_, Command{{pictureFile(), "--display", appDisplay()}}, {});
  expectMesaDraws(program, appDisplay());
  EXPECT_TRUE(hasLine(logged(program), kOff));
}

TEST_F(Refusal, WithAnAbsentDisplayInTheEnvironmentTheProgramRunsWithMesa) {
  PictureProgram program(folder_, Command{{pictureFile(), "--display", appDisplay()}},
                         {{"DISPLAY", kAbsent}});
  expectMesaDraws(program, appDisplay());
  EXPECT_TRUE(hasLine(logged(program), kOff));
}

TEST_F(Refusal, OnADisplayWithoutTheExtensionTheProgramRunsWithMesa) {
  PictureProgram program(folder_, plainDisplay(), kByHand);
  expectMesaDraws(program, plainDisplay());
  EXPECT_TRUE(hasLine(logged(program), kOff));
}

TEST_F(Refusal, OnADisplayWithoutGlxThereIsNoVisual) {
  for (const std::string& display : {appDisplayWithout("GLX"), displayWithoutGlx()}) {
    PictureProgram program(folder_, display, kByHand);
    EXPECT_EQ(program.askInVain("window w 300 200 0 double 0 0"), "glXChooseVisual has no visual");
    EXPECT_EQ(program.hasLoaded("libGLX_zol.so.0"), kStaysLoaded);
    EXPECT_EQ(program.end(), 0) << program.errors();
    EXPECT_TRUE(hasLine(logged(program), kOff));
  }
}

TEST_F(Refusal, AnAbsentLocalDisplayIsNamedAndTheProgramRunsWithMesa) {
  PictureProgram program(folder_, appDisplayFor(kAbsent));
  expectMesaDraws(program, appDisplayFor(kAbsent));
  const Lines lines = logged(program);
  EXPECT_TRUE(hasLine(lines, "E " + kFind + "Could not open a connection to :987"));
  EXPECT_TRUE(hasLine(lines, kNoVendor));
}

TEST_F(Refusal, AnAbsentLocalDisplayOfTheEnvironmentIsNamedAndTheProgramRunsWithMesa) {
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_DISPLAY", kAbsent}});
  expectMesaDraws(program, appDisplay());
  const Lines lines = logged(program);
  EXPECT_TRUE(hasLine(lines, "E " + kFind + "Could not open a connection to :987"));
  EXPECT_TRUE(hasLine(lines, kNoVendor));
}

// Its vendors are "zol mesa", and the library does not load itself.
TEST_F(Refusal, TheApplicationDisplayIsNoLocalDisplay) {
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_DISPLAY", appDisplay()}});
  EXPECT_EQ(program.askInVain("window w 300 200 0 double 0 0"), "glXChooseVisual has no visual");
  EXPECT_TRUE(program.hasLoaded("libGLX_zol.so.0"));
  EXPECT_EQ(program.end(), 0) << program.errors();
  const Lines lines = logged(program);
  EXPECT_TRUE(
      hasLine(lines, "W " + kFind + "System vendor 'zol' is this library itself, skipping"));
  EXPECT_TRUE(
      hasLine(lines, "I " + kMain + "Vendor 'libGLX_mesa.so.0' was selected for local display"));
  EXPECT_TRUE(hasLine(lines, "E bool _setupAppDisplay(Display*, zol::gl::TSD*): Local display is "
                             "the same as the application display."));
}

TEST_F(Refusal, ALocalDisplayWithoutGlxIsNamedAndTheProgramRunsWithMesa) {
  const std::string& local = displayWithoutGlx();
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_DISPLAY", local}});
  expectMesaDraws(program, appDisplay());
  const Lines lines = logged(program);
  EXPECT_TRUE(hasLine(lines, "E " + kFind + "ERROR: glVND not supported on X display " + local));
  EXPECT_TRUE(hasLine(lines, kNoVendor));
}

TEST_F(Refusal, ALocalDisplayWithoutGlvndIsNamedAndTheProgramRunsWithMesa) {
  const Censor local(localDisplay(), "GLX_EXT_libglvnd");
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_DISPLAY", local.name()}});
  expectMesaDraws(program, appDisplay());
  const Lines lines = logged(program);
  EXPECT_TRUE(
      hasLine(lines, "E " + kFind + "ERROR: glVND not supported on X display " + local.name()));
  EXPECT_TRUE(hasLine(lines, kNoVendor));
}

// The proof that nothing else in between is what the library refuses.
TEST_F(Refusal, ALocalDisplayBehindAProxyIsTaken) {
  const Censor local(localDisplay(), "no word of a server");
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_DISPLAY", local.name()}});
  program.stage("w", "300 200 24 double 0 0");
  EXPECT_TRUE(program.hasLoaded("libGLX_zol.so.0"));
  EXPECT_TRUE(program.hasLoaded("libGLX_zolsoft.so.0"));
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_F(Refusal, OneOfTheBrowsersRunsWithMesa) {
  const std::string browser = copyNamed("firefox");
  PictureProgram program(folder_, Command{{browser}}, {{"DISPLAY", appDisplay()}});
  expectMesaDraws(program, appDisplay());
  EXPECT_TRUE(hasLine(logged(program), "I bool isExcluded(): ZOL-GL GLVND: " + browser +
                                           " is excluded, ZOL-GL disabled."));
  EXPECT_TRUE(hasLine(logged(program), kOff));
  EXPECT_NE(
      program.errors().find("INFO: ZOL-GL GLVND: " + browser + " is excluded, ZOL-GL disabled.\n"),
      std::string::npos);
}

TEST_F(Refusal, ABrowserThatIsAllowedRunsWithTheLibrary) {
  PictureProgram program(folder_, Command{{copyNamed("firefox")}},
                         {{"DISPLAY", appDisplay()}, {"ZOL_GL_ALLOWLIST", "firefox"}});
  program.stage("w", "300 200 24 double 0 0");
  EXPECT_TRUE(program.hasLoaded("libGLX_zol.so.0"));
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_F(Refusal, AProgramOfTheDenyListRunsWithMesa) {
  PictureProgram program(folder_, appDisplay(), {{"ZOL_GL_DENYLIST", "other picture"}});
  expectMesaDraws(program, appDisplay());
  EXPECT_TRUE(hasLine(logged(program), "I bool isExcluded(): ZOL-GL GLVND: " + pictureFile() +
                                           " is excluded, ZOL-GL disabled."));
}

// The library took part because of the display in the environment; the program uses another.
TEST_F(Refusal, ADisplayThatCannotShowFramesEndsTheProgram) {
  PictureProgram program(folder_, Command{{pictureFile(), "--display", plainDisplay()}},
                         {{"DISPLAY", appDisplay()}, {"__GLX_VENDOR_LIBRARY_NAME", "zol"}});
  program.write("0 window w 300 200 0 double 0 0\n");
  EXPECT_EQ(program.wait(), 20) << program.errors();
  EXPECT_TRUE(hasLine(logged(program),
                      "E bool _setupAppDisplay(Display*, zol::gl::TSD*): You should install Xzol "
                      "to use ZOL (ZOL-V1 extension not found on " +
                          plainDisplay() + ")."));
}

// Forced, shared memory is used or nothing is painted.
TEST_F(Refusal, SharedMemoryThatIsNotThereIsNamedAndNothingIsPainted) {
  const std::string& display = appDisplayWithout("MIT-SHM");
  const Observer observer(display);
  PictureProgram program(folder_, display, {{"ZOL_GL_COPYBACK_STRATEGY", "1"}});
  const Window window = program.stage("w", "300 200 24 double 0 0");
  const Picture before = observer.picture(window);
  program.ask("draw quadrants 1");
  program.ask("show w");
  EXPECT_TRUE(observer.waitFor(window, [&] {
    return hasLine(logged(program),
                   "E bool zol::gl::XImagePainter::setupXImagePainterInternal(bool, Display*, "
                   "VisualID, int, int): unable to attach shared memory segment");
  }));
  EXPECT_TRUE(samePicture(before, observer.picture(window)));
  program.ask("frames bar 2 5");
  EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  EXPECT_EQ(program.end(), 0) << program.errors();
}

TEST_F(Refusal, ASingleThreadedDriverEndsTheProgram) {
  PictureProgram program(folder_, appDisplay(), {{"__GL_SINGLE_THREADED", "1"}});
  program.write("0 window w 300 200 24 double 0 0\n");
  EXPECT_EQ(program.wait(), 1);
  EXPECT_NE(program.errors().find("ERROR: environment variable __GL_SINGLE_THREADED is set. "
                                  "Unable to continue\n"),
            std::string::npos);
}

} // namespace
} // namespace zol::endtoend
