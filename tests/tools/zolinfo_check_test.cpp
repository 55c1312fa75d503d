#include "zolinfo_rig.h"

#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <sstream>

namespace zol::test {

namespace {

// One pair of servers for the tests that only look at them.
class ZolinfoCheck : public testing::Test {
protected:
  static void SetUpTestSuite() { displays = new DisplayPair; }
  static void TearDownTestSuite() {
    delete displays;
    displays = nullptr;
  }

  Outcome run(std::vector<std::string> words, Program::Environment environment = {}) {
    environment.try_emplace("DISPLAY", app());
    return zolinfo.run(std::move(words), std::move(environment));
  }
  static const std::string& app() { return displays->application->name(); }
  static const std::string& local() { return displays->local->name(); }

  // What is said of every software renderer; `advice` where its display is named.
  static std::string softwareWarning(const std::string& display, const std::string& advice) {
    return "WARNING  Rendering is done in SOFTWARE on display " + display +
           ": it goes through the library, but no GPU is at work.\n         " + advice + "\n";
  }

  Zolinfo zolinfo;

private:
  static inline DisplayPair* displays = nullptr;
};

const std::string kWordSize = std::to_string(8 * sizeof(void*));
constexpr char kByXzol[] =
    "Name the display of the GPU: start Xzol with another --gl-display, or set ZOL_GL_DISPLAY.";
constexpr char kByVariable[] = "Name the display of the GPU in the variable ZOL_GL_DISPLAY.";

// The value of a line of the screen.
std::string valueOf(const Outcome& outcome, const std::string& label) {
  std::istringstream lines(outcome.out);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(label + "  ")) continue;
    return line.substr(line.find_first_not_of(' ', label.size()));
  }
  return "(none) in: " + outcome.out + outcome.err;
}

TEST_F(ZolinfoCheck, ShowsTheWholeWayInOneScreen) {
  const Outcome outcome = run({});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_LINES(outcome.out, "application display  " + app() + R"(
  server             The X.Org Foundation, release *
  GLX vendors        zol mesa
  ZOL-V1             yes
  MIT-SHM            yes
local display        )" + local() +
                                R"(
  named by           the application display's answer
  server             The X.Org Foundation, release *
  GLX vendors        zolsoft mesa
library              )" ZOL_LIBRARY_FOLDER R"(/libGLX_zol.so.0
  version            )" ZOL_VERSION R"( (*), )" +
                                kWordSize + R"( bit
  programs start     with zolrun
driver               */libGLX_mesa.so.0*
                     )" ZOL_LIBRARY_FOLDER R"(/libGLX_zolsoft.so.0
renderer             llvmpipe (*)
  rendered in        SOFTWARE
  GL                 * Mesa *, of Mesa*
  GLX                client YRSO Systems 1.4, server YRSO Systems 1.4, direct
visuals              * of * are mapped, to * of the local display
program              )" ZOL_ZOLINFO R"(
  excluded           no
result               served, rendered in SOFTWARE on )" +
                                local() + "\n\n" + softwareWarning(local(), kByXzol));
}

TEST_F(ZolinfoCheck, WritesTheSameAsJson) {
  const Outcome outcome = run({"--json"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_LINES(outcome.out, R"j({
  "version": ")j" ZOL_VERSION R"j(",
  "served": true,
  "applicationDisplay": {
    "name": ")j" + app() + R"j(",
    "answers": true,
    "vendor": "The X.Org Foundation",
    "release": *,
    "glx": true,
    "vendorNames": [
      "zol",
      "mesa"
    ],
    "zolV1": true,
    "mitShm": true
  },
  "localDisplay": {
    "name": ")j" + local() + R"j(",
    "namedBy": "application display",
    "source": null,
    "answers": true,
    "vendor": "The X.Org Foundation",
    "release": *,
    "glx": true,
    "vendorNames": [
      "zolsoft",
      "mesa"
    ]
  },
  "library": {
    "loaded": true,
    "file": ")j" ZOL_LIBRARY_FOLDER R"j(/libGLX_zol.so.0",
    "version": ")j" ZOL_VERSION R"j( (*)",
    "wordSize": ")j" + kWordSize +
                                R"j(",
    "needsZolrun": true
  },
  "driver": {
    "name": "libGLX_zolsoft.so.0",
    "files": [
      "*/libGLX_mesa.so.0*",
      ")j" ZOL_LIBRARY_FOLDER R"j(/libGLX_zolsoft.so.0"
    ]
  },
  "renderer": {
    "name": "llvmpipe (*)",
    "vendor": "Mesa*",
    "version": "* Mesa *",
    "software": true,
    "direct": true,
    "glxClientVendor": "YRSO Systems",
    "glxClientVersion": "1.4",
    "glxServerVendor": "YRSO Systems",
    "glxServerVersion": "1.4"
  },
  "visuals": {
    "application": *,
    "mapped": *,
    "local": *
  },
  "program": {
    "path": ")j" ZOL_ZOLINFO R"j(",
    "excludedBy": null
  },
  "findings": [
    {
      "level": "warning",
      "about": "renderer",
      "text": "Rendering is done in SOFTWARE on display )j" +
                                local() +
                                R"j(: it goes through the library, but no GPU is at work.",
      "advice": ")j" + kByXzol + R"j("
    }
  ]
}
)j");
}

TEST_F(ZolinfoCheck, SaysWhereTheLocalDisplaysNameComesFrom) {
  const Outcome byVariable = run({}, {{"ZOL_GL_DISPLAY", local()}});
  EXPECT_EQ(byVariable.status, 0);
  EXPECT_EQ(valueOf(byVariable, "  named by"),
            "the setting gl-display, the variable ZOL_GL_DISPLAY");
  EXPECT_EQ(findingsIn(byVariable), softwareWarning(local(), kByVariable));

  const std::string file = zolinfo.folder.write("zol-gl.conf", "[gl]\ngl-display=" + local());
  const Outcome byFile = run({});
  EXPECT_EQ(byFile.status, 0);
  EXPECT_EQ(valueOf(byFile, "local display"), local());
  EXPECT_EQ(valueOf(byFile, "  named by"), "the setting gl-display, the user file " + file);
  EXPECT_NE(run({"--json"}).out.find("\"namedBy\": \"setting\",\n    \"source\": \"user file\""),
            std::string::npos);

  // The local display has no answer of its own.
  const Outcome byNobody = run({}, {{"DISPLAY", local()}, {"ZOL_GL_USER_CONFDIR", "/"}});
  EXPECT_EQ(valueOf(byNobody, "local display"), ":0.0");
  EXPECT_EQ(valueOf(byNobody, "  named by"), "the default, as nobody names one");
}

TEST_F(ZolinfoCheck, WarnsOfTheApplicationDisplayUnderAnotherSpelling) {
  for (const std::string& spelling : {app() + ".0", "unix" + app()}) {
    const Outcome outcome = run({}, {{"ZOL_GL_DISPLAY", spelling}});
    EXPECT_EQ(outcome.status, 1); // Mesa, on its own, cannot be the driver
    const std::string warning = "WARNING  The local display " + spelling +
                                " is the application display " + app() +
                                " under another spelling: frames go in a circle, rendered in "
                                "software.\n         " +
                                kByVariable + "\nFAILED   A frame cannot be drawn: ";
    EXPECT_EQ(findingsIn(outcome).substr(0, warning.size()), warning);
  }
}

TEST_F(ZolinfoCheck, SaysWhetherProgramsNeedZolrun) {
  EXPECT_EQ(valueOf(run({}, {{"LD_LIBRARY_PATH", ZOL_LIBRARY_FOLDER}}), "  programs start"),
            "directly");
  const Outcome other =
      run({}, {{"LD_LIBRARY_PATH", ZOL_LIBRARY_FOLDER}, {"__GLX_VENDOR_LIBRARY_NAME", "mesa"}});
  EXPECT_EQ(valueOf(other, "  programs start"), "with zolrun");
  EXPECT_EQ(valueOf(other, "library"), ZOL_LIBRARY_FOLDER "/libGLX_zol.so.0");
  EXPECT_EQ(other.status, 0);
}

TEST_F(ZolinfoCheck, SaysWhichListExcludesAProgram) {
  struct Case {
    const char* program;
    const char* list;
    const char* advice;
  };
  constexpr Case kCases[] = {
      {"/nonexistent/firefox", "the built-in list of browsers",
       "Add its name to the setting allowlist."},
      {"/nonexistent/Xorg", "the built-in list of system tools",
       "Nothing can be set to change that; a program of that name is never served."},
      {"/nonexistent/zolagent", "the built-in rule for the remote-display agent",
       "Nothing can be set to change that; a program of that name is never served."},
      {"/nonexistent/cad", "the setting denylist",
       "Take the entry that its path ends in out of the list."},
      {"/nonexistent/draw", "the setting blacklist",
       "Take the entry that its path ends in out of the list."},
  };
  for (const Case& each : kCases) {
    const Outcome outcome = run({"--program", each.program},
                                {{"ZOL_GL_DENYLIST", "cad"}, {"ZOL_GL_BLACKLIST", "x draw"}});
    EXPECT_EQ(outcome.status, 1) << each.program;
    EXPECT_EQ(valueOf(outcome, "  excluded"), std::string("BY ") + each.list);
    EXPECT_EQ(valueOf(outcome, "result"), "NOT SERVED");
    EXPECT_EQ(findingsIn(outcome), softwareWarning(local(), kByXzol) + "FAILED   " + each.program +
                                       " is excluded by " + each.list + ".\n         " +
                                       each.advice + "\n");
  }
  const Outcome allowed =
      run({"--program", "/nonexistent/firefox"}, {{"ZOL_GL_ALLOWLIST", "firefox"}});
  EXPECT_EQ(allowed.status, 0);
  EXPECT_EQ(valueOf(allowed, "  excluded"), "no");
}

TEST_F(ZolinfoCheck, FindsAProgramInPathAndBehindItsLinks) {
  const auto folder = zolinfo.folder.path() / "bin";
  std::filesystem::create_directory(folder);
  std::filesystem::copy_file("/bin/true", folder / "real-firefox");
  std::filesystem::create_symlink(folder / "real-firefox", folder / "web");
  const Outcome outcome =
      run({"--program=web"}, {{"PATH", folder.string() + ":" + getenv("PATH")}});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(valueOf(outcome, "program"), (folder / "real-firefox").string());
}

TEST_F(ZolinfoCheck, ShowsWhatEachVisualIsMappedTo) {
  const Outcome outcome = run({"--visuals"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  std::istringstream lines(outcome.out);
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line, "visual  bits  class        double  alpha  depth  stencil  samples  fbconfig  "
                  "local visual");
  // The map is built by the same rule for both displays, which are of one kind: the first visual
  // is mapped to its like.
  std::getline(lines, line);
  std::string difference;
  EXPECT_TRUE(matchesLines(line,
                           "0x*  24    TrueColor    yes     *      24     8        0        "
                           "0x*     0x*",
                           &difference))
      << difference;
  int count = 1;
  while (std::getline(lines, line) && !line.empty()) {
    EXPECT_TRUE(line.starts_with("0x")) << line;
    EXPECT_EQ(line.find('?'), std::string::npos) << line;
    ++count;
  }
  const Outcome screen = run({});
  EXPECT_EQ(valueOf(screen, "visuals").find(" of " + std::to_string(count) + " are mapped") ==
                std::string::npos,
            false)
      << count;
}

TEST_F(ZolinfoCheck, WritesTheVisualsAsJson) {
  const Outcome outcome = run({"--visuals", "--json"});
  EXPECT_EQ(outcome.status, 0);
  const std::string first = outcome.out.substr(0, outcome.out.find("},") + 2) + "\n";
  EXPECT_LINES(first, R"({
  "visuals": [
    {
      "id": "0x*",
      "bits": 24,
      "class": "TrueColor",
      "mapped": true,
      "rgba": true,
      "doubleBuffered": true,
      "alphaSize": *,
      "depthSize": 24,
      "stencilSize": 8,
      "samples": 0,
      "fbconfig": "0x*",
      "localVisual": "0x*"
    },
)");
}

// A visual as a table has it, by id.
using Visuals = std::map<unsigned long, std::vector<std::string>>;

// What glxinfo says of the visuals of a display itself: bits, double, alpha, depth, stencil,
// samples.
Visuals visualsByGlxinfo(const std::string& display) {
  const Outcome outcome = test::run({"glxinfo"}, {{"DISPLAY", display}});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  std::istringstream lines(outcome.out.substr(outcome.out.find("GLX Visuals\n")));
  Visuals visuals;
  for (std::string line; std::getline(lines, line) && !line.empty();) {
    if (!line.starts_with("0x")) continue;
    std::istringstream words(line);
    const std::vector<std::string> cells{std::istream_iterator<std::string>(words), {}};
    // id dep cl sp sz l ci db ro r g b a F gb bf th cl r g b a ns b eat
    const auto cell = [&](size_t i) { return cells.at(i) == "." ? "0" : cells.at(i); };
    visuals[std::stoul(cells.at(0), nullptr, 16)] = {
        cell(1), cell(7) == "y" ? "yes" : "no", cell(12), cell(16), cell(17), cell(22)};
  }
  return visuals;
}

TEST_F(ZolinfoCheck, TheLocalVisualsOfTheTableAreWhatTheLocalDisplaySaysOfThem) {
  const Visuals known = visualsByGlxinfo(local());
  ASSERT_FALSE(known.empty());
  std::istringstream lines(run({"--visuals"}).out);
  std::string line;
  std::getline(lines, line);
  size_t count = 0;
  for (; std::getline(lines, line) && !line.empty(); ++count) {
    std::istringstream words(line);
    const std::vector<std::string> cells{std::istream_iterator<std::string>(words), {}};
    ASSERT_EQ(cells.size(), 10U) << line;
    const auto found = known.find(std::stoul(cells[9], nullptr, 16));
    ASSERT_NE(found, known.end()) << line;
    EXPECT_EQ(found->second, (std::vector<std::string>{cells[1], cells[3], cells[4], cells[5],
                                                       cells[6], cells[7]}))
        << line;
  }
  EXPECT_EQ(count, visualsByGlxinfo(app()).size());
}

TEST_F(ZolinfoCheck, TheMapFollowsTheSettings) {
  const auto withSamples = [](const Outcome& table) {
    int count = 0;
    std::istringstream lines(table.out);
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && !line.empty()) {
      std::istringstream words(line);
      const std::vector<std::string> cells{std::istream_iterator<std::string>(words), {}};
      count += cells.at(7) != "0";
    }
    return count;
  };
  EXPECT_EQ(withSamples(run({"--visuals"}, {{"ZOL_GL_MULTISAMPLE", "0"}})), 0);
  EXPECT_GT(withSamples(run({"--visuals"})), 0);
}

TEST_F(ZolinfoCheck, FollowsTheLogToWhereAnAdminFilePutsIt) {
  const auto logs = zolinfo.folder.path() / "logs";
  std::filesystem::create_directory(logs);
  zolinfo.folder.write("zol-gl.conf.admin", "[log]\ndirectory = " + logs.string() + "\n");
  EXPECT_TRUE(valueOf(run({}), "  version").starts_with(ZOL_VERSION " ("));
  zolinfo.folder.write("zol-gl.conf.admin", "[log]\nverbose = 0\nlevel = error\n");
  const Outcome without = run({});
  EXPECT_EQ(without.status, 0);
  EXPECT_EQ(valueOf(without, "  version"), "unknown");
}

} // namespace

} // namespace zol::test
