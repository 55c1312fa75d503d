#include "self_check.h"

#include "../locations.h"
#include "../run_error.h"
#include "settings_findings.h"

#include <cstdlib>

namespace zol::tools {

namespace {

constexpr char kStartXzol[] = "Start \"Xzol :N\" and set DISPLAY to it, or use zolrun --headless.";

constexpr char kAdmission[] =
    "Start that X server, let its user admit you (xhost +si:localuser:NAME), or ";

constexpr char kSingleThreaded[] = "__GL_SINGLE_THREADED";

class Checker {
public:
  explicit Checker(SelfCheck& check) : check_(check) {}

  void run(const std::string& programName) {
    check_.settings = readSettings();
    self_ = checkProgram({});
    check_.program = checkProgram(programName);
    checkApplicationDisplay();
    checkLocalDisplay();
    checkDelivery();
    checkEnvironment();
    if (canRender()) checkRenderer();
    checkExclusion();
    for (Finding& finding : findingsAbout(check_.settings))
      check_.findings.push_back(std::move(finding));
  }

private:
  void fail(const char* about, std::string text, std::string advice) {
    check_.findings.push_back({Finding::Level::failure, about, std::move(text), std::move(advice)});
  }
  void warn(const char* about, std::string text, std::string advice) {
    check_.findings.push_back({Finding::Level::warning, about, std::move(text), std::move(advice)});
  }

  std::optional<DisplayFacts> ask(const char* about, const std::string& name,
                                  const std::string& advice) {
    try {
      return probeDisplay(name);
    } catch (const RunError& error) {
      fail(about, sentence(error.what()) + ".", advice);
      return std::nullopt;
    }
  }

  void checkApplicationDisplay() {
    constexpr char kAbout[] = "application-display";
    const char* const name = getenv("DISPLAY");
    if (!name || !*name) {
      fail(kAbout, "DISPLAY is not set.",
           "Set it to a display that Xzol serves, or use zolrun --headless.");
      return;
    }
    check_.applicationName = name;
    check_.application =
        ask(kAbout, name, "Set DISPLAY to a display that is there, and that you may use.");
    if (!check_.application) return;
    const std::string display = "Display " + check_.applicationName;
    if (!check_.application->hasZol) {
      fail(kAbout, display + " does not have the extension ZOL-V1: it is not served by Xzol.",
           kStartXzol);
    }
    if (!check_.application->hasGlx) {
      fail(kAbout, display + " does not have the extension GLX.",
           "Start its server without an option that switches GLX off.");
    }
    check_.environment = vendorEnvironment(*check_.application);
    if (check_.environment->folder.empty()) {
      fail("library",
           std::string(kVendorLibrary) + " is missing: it should be in " +
               (programFolder().parent_path() / "lib").string() + ".",
           "Install the library, or build all of the project.");
    }
  }

  void checkLocalDisplay() {
    constexpr char kAbout[] = "local-display";
    const DisplayFacts* const application = check_.application ? &*check_.application : nullptr;
    // Without the application display's answer only the setting can tell.
    if (!application && !check_.settings["gl-display"].value) return;
    check_.localName = chooseLocalDisplay(check_.settings, check_.applicationName, application);
    const LocalDisplayName& local = *check_.localName;
    const std::string advice = adviceForName(local, check_.settings);
    check_.local = ask(kAbout, local.name, kAdmission + advice);
    if (!check_.local) return;
    checkIdentity(advice);
    const std::string display = "Display " + local.name;
    if (!check_.local->hasGlx) {
      fail(kAbout, display + " does not have the extension GLX.",
           "Start its server with GLX, or " + advice);
    } else if (!check_.local->hasLibglvnd || check_.local->vendorNames.empty()) {
      fail(kAbout, display + " does not say which GL vendor library serves it (GLX_EXT_libglvnd).",
           "Install a driver for GLVND there, or " + advice);
    }
  }

  // The application display cannot render for itself.
  void checkIdentity(const std::string& advice) {
    const DisplayFacts* const application = check_.application ? &*check_.application : nullptr;
    const std::string& name = check_.localName->name;
    if (!leadToOneServer(name, &*check_.local, check_.applicationName, application)) return;
    if (name == check_.applicationName) {
      fail("local-display", "The local display is the application display, " + name + ".",
           sentence(advice));
    } else {
      warn("local-display",
           "The local display " + name + " is the application display " + check_.applicationName +
               " under another spelling: frames go in a circle, rendered in software.",
           sentence(advice));
    }
  }

  void checkDelivery() {
    if (!check_.application) return;
    const SettingValue& strategy = check_.settings["copyback-strategy"];
    const int number = check_.settings.number("copyback-strategy");
    if (!check_.application->hasShm && number != 0 && number != 2) {
      fail("copyback",
           "Display " + check_.applicationName +
               " does not have the extension MIT-SHM, and \"copyback-strategy\" " +
               *strategy.value + " forces its use: windows stay empty.",
           "Set \"copyback-strategy\" to 0 (find out) or 2 (without).");
    }
    if (check_.settings.flag("no-readback")) {
      warn("copyback", "\"no-readback\" is on: what is rendered never reaches the window.",
           "Remove it from " + placeOf(check_.settings, check_.settings["no-readback"]) + ".");
    }
  }

  void checkEnvironment() {
    if (!getenv(kSingleThreaded)) return;
    fail("environment",
         std::string(kSingleThreaded) + " is set: the library ends every program that has it.",
         "Unset it.");
  }

  bool canRender() const {
    return check_.application && check_.application->hasZol && check_.application->hasGlx &&
           !check_.environment->folder.empty() && check_.local && check_.local->hasGlx &&
           check_.localName->name != check_.applicationName && self_.exclusion == Exclusion::NONE &&
           !getenv(kSingleThreaded);
  }

  void checkRenderer() {
    const SettingValue& folder = check_.settings["directory"];
    const bool isFixed = folder.source == SettingSource::ADMIN_FILE;
    check_.gl = probeGL(check_.environment->variables, isFixed ? *folder.value : std::string());
    const GLFacts& gl = *check_.gl;
    if (gl.libraryFile().empty()) {
      fail("library", "The library does not take part" + reasonOf(gl) + ".", adviceForAbsence());
    } else if (!gl.error.empty()) {
      fail("renderer", sentence(gl.error) + complaintsOf(gl) + ".", adviceForFailure());
    } else if (gl.isSoftware()) {
      warn("renderer",
           "Rendering is done in SOFTWARE on display " + check_.localName->name +
               ": it goes through the library, but no GPU is at work.",
           sentence(adviceForName(*check_.localName, check_.settings)));
    }
    if (gl.error.empty() && gl.mappedVisuals() == 0) {
      fail("visuals", "no visual of the application display has its like on the local display.",
           "Give both servers screens of the same depth, 24.");
    }
  }

  static std::string reasonOf(const GLFacts& gl) {
    if (!gl.log.complaints.empty()) return complaintsOf(gl);
    return gl.error.empty() ? std::string() : ": " + gl.error;
  }

  static std::string complaintsOf(const GLFacts& gl) {
    std::string text;
    for (const std::string& complaint : gl.log.complaints)
      text += (text.empty() ? ": " : "; ") + withoutStop(complaint);
    return text;
  }

  // Mesa's own software renderer keeps no picture of an off-screen buffer after a swap.
  std::string adviceForFailure() const {
    const std::string& display = check_.localName->name;
    if (!check_.gl->isSoftware())
      return "Try GL on the local display itself: DISPLAY=" + display + " glxinfo -B.";
    return "Start display " + display +
           " with Xzol --vendor-names \"zolsoft mesa\", as software renderers need it, or use "
           "zolrun --headless, or " +
           adviceForName(*check_.localName, check_.settings);
  }

  std::string adviceForAbsence() const {
    if (check_.gl->log.version.empty()) {
      return "Install libGL.so.1 of GLVND, and the library where GLVND finds it.";
    }
    return "Install the GLVND driver of display " + check_.localName->name + " (" +
           check_.local->vendorNames + ").";
  }

  void checkExclusion() {
    const ProgramCheck& program = check_.program;
    if (program.exclusion != Exclusion::NONE) {
      fail("program", program.path + " is excluded by " + listOf(program.exclusion) + ".",
           adviceFor(program.exclusion));
    }
    if (self_.exclusion != Exclusion::NONE && self_.path != program.path) {
      fail("program",
           std::string("zolinfo itself is excluded by ") + listOf(self_.exclusion) +
               ": rendering cannot be tried.",
           "Make the entry longer, so that it names one program.");
    }
  }

  ProgramCheck self_; // zolinfo, which tries the rendering
  SelfCheck& check_;
};

} // namespace

SelfCheck checkEverything(const std::string& programName) {
  SelfCheck check;
  Checker(check).run(programName);
  return check;
}

} // namespace zol::tools
