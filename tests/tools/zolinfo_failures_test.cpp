#include "zolinfo_rig.h"

#include <gtest/gtest.h>

namespace zol::test {

namespace {

std::string failure(const std::string& text, const std::string& advice) {
  return "FAILED   " + text + "\n         " + advice + "\n";
}

// What a run that fails says, without the warning of the software renderer.
std::string failuresOf(const Outcome& outcome) {
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  EXPECT_NE(outcome.out.find("\nresult"), std::string::npos);
  EXPECT_NE(outcome.out.find(" NOT SERVED\n"), std::string::npos) << outcome.out;
  std::string text = findingsIn(outcome);
  const size_t software = text.find("WARNING  Rendering is done in SOFTWARE");
  if (software != std::string::npos) {
    const size_t advice = text.find('\n', software) + 1;
    text.erase(software, text.find('\n', advice) + 1 - software);
  }
  return text;
}

constexpr char kByVariable[] = "name the display of the GPU in the variable ZOL_GL_DISPLAY.";
constexpr char kByXzol[] =
    "name the display of the GPU: start Xzol with another --gl-display, or set ZOL_GL_DISPLAY.";

TEST(ZolinfoFailures, NoDisplayIsNamed) {
  const Zolinfo zolinfo;
  EXPECT_EQ(failuresOf(zolinfo.run({})),
            failure("DISPLAY is not set.",
                    "Set it to a display that Xzol serves, or use zolrun --headless."));
}

TEST(ZolinfoFailures, TheApplicationDisplayCannotBeReached) {
  const Zolinfo zolinfo;
  EXPECT_EQ(failuresOf(zolinfo.run({}, {{"DISPLAY", ":59999"}})),
            failure("Cannot connect to display :59999.",
                    "Set DISPLAY to a display that is there, and that you may use."));
}

constexpr char kAdmission[] =
    "Start that X server, let its user admit you (xhost +si:localuser:NAME), or ";

TEST(ZolinfoFailures, TheApplicationDisplayNeverAnswers) {
  const Zolinfo zolinfo;
  const SilentDisplay silent;
  const Outcome outcome = zolinfo.run({}, {{"DISPLAY", silent.name()}});
  EXPECT_EQ(failuresOf(outcome),
            failure("Display " + silent.name() + " did not answer within 5 seconds.",
                    "Set DISPLAY to a display that is there, and that you may use."));
}

TEST(ZolinfoFailures, TheLocalDisplayNeverAnswers) {
  const Zolinfo zolinfo;
  const SilentDisplay silent;
  const auto server = startXzol({"--gl-display", silent.name()});
  EXPECT_EQ(failuresOf(zolinfo.run({}, {{"DISPLAY", server->name()}})),
            failure("Display " + silent.name() + " did not answer within 5 seconds.",
                    std::string(kAdmission) + kByXzol));
  const Outcome json = zolinfo.run({"--json"}, {{"DISPLAY", server->name()}});
  EXPECT_EQ(json.status, 1);
  EXPECT_NE(json.out.find("\"served\": false,"), std::string::npos);
  EXPECT_NE(json.out.find("  \"library\": null,\n  \"driver\": null,\n  \"renderer\": null,\n"
                          "  \"visuals\": null,\n"),
            std::string::npos)
      << json.out;
  EXPECT_EQ(zolinfo.run({"--visuals"}, {{"DISPLAY", server->name()}}).out,
            failure("Display " + silent.name() + " did not answer within 5 seconds.",
                    std::string(kAdmission) + kByXzol));
}

TEST(ZolinfoFailures, TheLocalDisplayCannotBeReached) {
  const Zolinfo zolinfo;
  const auto server = startXzol({"--gl-display", ":59998"});
  EXPECT_EQ(failuresOf(zolinfo.run({}, {{"DISPLAY", server->name()}})),
            failure("Cannot connect to display :59998.", std::string(kAdmission) + kByXzol));
  EXPECT_EQ(
      failuresOf(zolinfo.run({}, {{"DISPLAY", server->name()}, {"ZOL_GL_DISPLAY", ":59997"}})),
      failure("Cannot connect to display :59997.", std::string(kAdmission) + kByVariable));
  zolinfo.folder.write("zol-gl.conf", "[gl]\ngl-display = :59996\n");
  EXPECT_EQ(failuresOf(zolinfo.run({}, {{"DISPLAY", server->name()}})),
            failure("Cannot connect to display :59996.",
                    std::string(kAdmission) + "name the display of the GPU in the user file " +
                        zolinfo.userFile() + "."));
}

TEST(ZolinfoFailures, TheApplicationDisplayLacksTheExtension) {
  const Zolinfo zolinfo;
  const DisplayPair displays;
  const std::string config = zolinfo.folder.write(
      "xorg.conf", "Section \"Device\"\nIdentifier \"d\"\nDriver \"dummy\"\nEndSection\n"
                   "Section \"ServerFlags\"\nOption \"AutoAddDevices\" \"off\"\nEndSection\n");
  const auto server = startXzol({"-config", config});
  const Outcome outcome =
      zolinfo.run({}, {{"DISPLAY", server->name()}, {"ZOL_GL_DISPLAY", displays.local->name()}});
  EXPECT_EQ(failuresOf(outcome),
            failure("Display " + server->name() +
                        " does not have the extension ZOL-V1: it is not served by Xzol.",
                    "Start \"Xzol :N\" and set DISPLAY to it, or use zolrun --headless."));
  EXPECT_NE(outcome.out.find("  ZOL-V1             NO\n"), std::string::npos);
}

TEST(ZolinfoFailures, ADisplayLacksGlx) {
  const Zolinfo zolinfo;
  const DisplayPair displays;
  const auto server = startXzol({"-extension", "GLX", "--gl-display", displays.local->name()});
  const std::string without = "Display " + server->name() + " does not have the extension GLX.";
  EXPECT_EQ(failuresOf(zolinfo.run({}, {{"DISPLAY", server->name()}})),
            failure(without, "Start its server without an option that switches GLX off."));
  EXPECT_EQ(failuresOf(zolinfo.run({}, {{"DISPLAY", displays.application->name()},
                                        {"ZOL_GL_DISPLAY", server->name()}})),
            failure(without, std::string("Start its server with GLX, or ") + kByVariable));
}

TEST(ZolinfoFailures, TheLocalDisplayIsTheApplicationDisplay) {
  const Zolinfo zolinfo;
  const auto server = startXzol();
  EXPECT_EQ(failuresOf(
                zolinfo.run({}, {{"DISPLAY", server->name()}, {"ZOL_GL_DISPLAY", server->name()}})),
            failure("The local display is the application display, " + server->name() + ".",
                    "Name the display of the GPU in the variable ZOL_GL_DISPLAY."));
}

// Mesa has no front buffer in a software pbuffer, and its swaps end programs with an X error.
TEST(ZolinfoFailures, TheSoftwareRendererOfTheLocalDisplayCannotSwap) {
  const Zolinfo zolinfo;
  const auto local = startXzol({"--vendor-names", "mesa"});
  const auto server = startXzol({"--gl-display", local->name()});
  EXPECT_EQ(failuresOf(zolinfo.run({}, {{"DISPLAY", server->name()}})),
            failure("A frame cannot be drawn: BadMatch (invalid parameter attributes).",
                    "Start display " + local->name() +
                        " with Xzol --vendor-names \"zolsoft mesa\", as software renderers need "
                        "it, or use zolrun --headless, or " +
                        kByXzol));
}

TEST(ZolinfoFailures, TheDriverOfTheLocalDisplayIsMissing) {
  const Zolinfo zolinfo;
  const auto local = startXzol({"--vendor-names", "nosuch"});
  const auto server = startXzol({"--gl-display", local->name()});
  const Outcome outcome = zolinfo.run({}, {{"DISPLAY", server->name()}});
  EXPECT_EQ(failuresOf(outcome),
            failure("The library does not take part: DSO dlopen failed for 'libGLX_nosuch.so.0' "
                    "with error: 'libGLX_nosuch.so.0: cannot open shared object file: No such file "
                    "or directory'; No supported glVND vendor found on local display.",
                    "Install the GLVND driver of display " + local->name() + " (nosuch)."));
  EXPECT_NE(outcome.out.find("library              NOT LOADED\n"), std::string::npos);
}

TEST(ZolinfoFailures, SharedMemoryIsForcedWhereThereIsNone) {
  const Zolinfo zolinfo;
  const auto local = startXzol({"--vendor-names", "zolsoft mesa"});
  const auto server = startXzol({"-extension", "MIT-SHM", "--gl-display", local->name()});
  const Program::Environment display = {{"DISPLAY", server->name()}};
  for (const char* strategy : {"", "1", "7"}) {
    Program::Environment environment = display;
    if (*strategy) environment["ZOL_GL_COPYBACK_STRATEGY"] = strategy;
    const Outcome outcome = zolinfo.run({}, environment);
    EXPECT_EQ(failuresOf(outcome),
              failure("Display " + server->name() +
                          " does not have the extension MIT-SHM, and \"copyback-strategy\" " +
                          (*strategy ? strategy : "1") + " forces its use: windows stay empty.",
                      "Set \"copyback-strategy\" to 0 (find out) or 2 (without)."));
    EXPECT_NE(outcome.out.find("  MIT-SHM            NO\n"), std::string::npos);
  }
  for (const char* strategy : {"0", "2"}) {
    EXPECT_EQ(zolinfo.run({}, {{"DISPLAY", server->name()}, {"ZOL_GL_COPYBACK_STRATEGY", strategy}})
                  .status,
              0);
  }
}

TEST(ZolinfoFailures, TheEnvironmentEndsEveryProgram) {
  const Zolinfo zolinfo;
  const DisplayPair displays;
  EXPECT_EQ(failuresOf(zolinfo.run(
                {}, {{"DISPLAY", displays.application->name()}, {"__GL_SINGLE_THREADED", "1"}})),
            failure("__GL_SINGLE_THREADED is set: the library ends every program that has it.",
                    "Unset it."));
}

TEST(ZolinfoFailures, ZolinfoItselfIsExcluded) {
  const Zolinfo zolinfo;
  const DisplayPair displays;
  const Program::Environment environment = {{"DISPLAY", displays.application->name()},
                                            {"ZOL_GL_DENYLIST", "info"}};
  EXPECT_EQ(failuresOf(zolinfo.run({}, environment)),
            failure(ZOL_ZOLINFO " is excluded by the setting denylist.",
                    "Take the entry that its path ends in out of the list."));
  EXPECT_EQ(
      failuresOf(zolinfo.run({"--program", "/nonexistent/cad"}, environment)),
      failure("zolinfo itself is excluded by the setting denylist: rendering cannot be tried.",
              "Make the entry longer, so that it names one program."));
}

TEST(ZolinfoFailures, TheLibraryIsMissing) {
  const Zolinfo zolinfo;
  const DisplayPair displays;
  const auto folder = zolinfo.folder.path() / "bin";
  std::filesystem::create_directory(folder);
  std::filesystem::copy_file(ZOL_ZOLINFO, folder / "zolinfo");
  EXPECT_EQ(failuresOf(run({folder / "zolinfo"}, {{"DISPLAY", displays.application->name()},
                                                  {"ZOL_GL_USER_CONFDIR", zolinfo.folder.path()}})),
            failure("libGLX_zol.so.0 is missing: it should be in " +
                        (zolinfo.folder.path() / "lib").string() + ".",
                    "Install the library, or build all of the project."));
}

TEST(ZolinfoFailures, GLIsMissing) {
  const Zolinfo zolinfo;
  const DisplayPair displays;
  const std::string file = zolinfo.folder.write("libGL.so.1", "");
  EXPECT_EQ(failuresOf(zolinfo.run({}, {{"DISPLAY", displays.application->name()},
                                        {"LD_LIBRARY_PATH", zolinfo.folder.path()}})),
            failure("The library does not take part: " + file + ": file too short.",
                    "Install libGL.so.1 of GLVND, and the library where GLVND finds it."));
}

TEST(ZolinfoFailures, TheDriverCannotRender) {
  const Zolinfo zolinfo;
  const DisplayPair displays;
  const std::string local = displays.local->name();
  const Outcome outcome = zolinfo.run(
      {}, {{"DISPLAY", displays.application->name()}, {"LIBGL_DRIVERS_PATH", "/nonexistent"}});
  EXPECT_LINES(failuresOf(outcome),
               failure("No context can be made*: *libGL error: *",
                       "Try GL on the local display itself: DISPLAY=" + local + " glxinfo -B."));
  EXPECT_NE(outcome.out.find("library              " ZOL_LIBRARY_FOLDER "/libGLX_zol.so.0\n"),
            std::string::npos)
      << outcome.out;
}

TEST(ZolinfoFailures, FramesAreNotWanted) {
  const Zolinfo zolinfo;
  const DisplayPair displays;
  const Outcome outcome =
      zolinfo.run({}, {{"DISPLAY", displays.application->name()}, {"ZOL_GL_NO_READBACK", "1"}});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(findingsIn(outcome).starts_with(
      "WARNING  \"no-readback\" is on: what is rendered never reaches the window.\n"
      "         Remove it from the variable ZOL_GL_NO_READBACK.\n"))
      << outcome.out;
}

TEST(ZolinfoFailures, LeaveNoProcess) {
  adoptOrphans();
  const Zolinfo zolinfo;
  const SilentDisplay silent;
  zolinfo.run({}, {{"DISPLAY", silent.name()}});
  EXPECT_EQ(children(), std::vector<pid_t>());
}

} // namespace

} // namespace zol::test
