// zolrun: runs a program whose OpenGL goes through the library, on the current display or, with
// --headless, on a private one.

#include "command.h"
#include "display_probe.h"
#include "display_server.h"
#include "frame_rate_reports.h"
#include "locations.h"
#include "run_error.h"
#include "vendor_environment.h"
#include "zolrun_options.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

namespace zol::tools {

namespace {

constexpr char kHelp[] =
    R"(Usage: zolrun [options] [--] command [arguments]
       zolrun --headless [--geometry WxH] [options] [--] command [arguments]

Runs a program whose OpenGL is rendered on another X server of this machine.

  --headless         run it on a private X server that ends with the program; also
                     start a private software renderer unless a GL display is named
  --geometry WxH     size of that server's screen in pixels (default 1280x1024)
  --gl-display NAME  the X server to render on (ZOL_GL_DISPLAY)
  --fps N            at most N frames a second reach the window
                     (ZOL_GL_COPYBACK_FRAME_RATE, default 30)
  --strategy N       how frames reach the window: 0 through shared memory where that
                     works, 1 always so, 2 never (ZOL_GL_COPYBACK_STRATEGY, default 1)
  --no-readback      render, but leave the window as it is (ZOL_GL_NO_READBACK)
  --log-level LEVEL  error, warning, info or debug (ZOL_GL_LOG_LEVEL)
  --log-dir FOLDER   where the library writes its logs (ZOL_GL_LOG_DIR)
  --set KEY=VALUE    any setting of the library, as settings files name them
  --show-fps         print the library's reports of its frame rate
  --verbose          say what is set in the program's environment
  --help             show this help
  --version          show the version

Without --headless the display of the environment variable DISPLAY is used; it has
to be served by Xzol. What is given in the environment holds unless an option says
otherwise.

The exit status is the program's, 128 + N when signal N killed it, 127 when it was
not found, 126 when it could not be run, and 125 when zolrun itself failed.
)";

constexpr char kSoftLibrary[] = "libGLX_zolsoft.so.0";

std::string environmentValue(const char* name) {
  const char* value = getenv(name);
  return value ? value : "";
}

void requireLibrary(const char* library) {
  if (!vendorLibraryFolder(library).empty()) return;
  throw RunError(std::string(library) + " is missing: it should be in " +
                 (programFolder().parent_path() / "lib").string());
}

void chooseVendor(const DisplayFacts& application, Command& command) {
  command.environment.merge(vendorEnvironment(application).variables);
}

std::string settingOf(const Command& command, const char* variable) {
  const auto own = command.environment.find(variable);
  return own == command.environment.end() ? environmentValue(variable) : own->second;
}

// Lets the library report its frame rates, where the program's logs go anyway.
void beginReports(Command& command, std::optional<FrameRateReports>& reports) {
  const std::string level = settingOf(command, "ZOL_GL_LOG_LEVEL");
  if (strcasecmp(level.c_str(), "debug") != 0) command.environment["ZOL_GL_LOG_LEVEL"] = "info";
  reports.emplace(settingOf(command, "ZOL_GL_LOG_DIR"));
  command.environment["ZOL_GL_LOG_DIR"] = reports->folder().string();
}

// A swap waits for the renderer, and without a GPU that is the processor: it takes as long as the
// frame, during which no other thread could use the local display.
void finishBeforeSwap(Command& command) {
  constexpr char variable[] = "ZOL_GL_FINISH_BEFORE_SWAP";
  if (settingOf(command, variable).empty()) command.environment[variable] = "true";
}

void describe(const ZolrunOptions& options, const Command& command) {
  if (!options.verbose) return;
  for (const auto& [name, value] : command.environment)
    fprintf(stderr, "zolrun: sets %s=%s\n", name.c_str(), value.c_str());
}

int runReported(const Command& command, const EndSignals& signals,
                const std::function<bool(pid_t)>& keep, std::optional<FrameRateReports>& reports) {
  if (!reports) return runCommand(command, signals, keep);
  const int status = runCommand(command, signals, keep, [&] { reports->poll(); });
  reports->poll();
  return status;
}

int runOnCurrentDisplay(const ZolrunOptions& options) {
  const std::string display = environmentValue("DISPLAY");
  if (display.empty()) {
    throw RunError("DISPLAY is not set.\n"
                   "Set it to a display that Xzol serves, or use zolrun --headless.");
  }
  const DisplayFacts facts = probeDisplay(display);
  if (!facts.hasZol) {
    throw RunError("display " + display +
                   " does not have the extension ZOL-V1: it is not served by Xzol.\n"
                   "Start \"Xzol :N\" and set DISPLAY to it, or use zolrun --headless.");
  }
  if (!facts.hasGlx) throw RunError("display " + display + " does not have the extension GLX");
  requireLibrary(kVendorLibrary);
  Command command{options.command, options.settings};
  chooseVendor(facts, command);
  if (!options.showFps) {
    describe(options, command);
    return becomeCommand(command);
  }
  const EndSignals signals;
  std::optional<FrameRateReports> reports;
  beginReports(command, reports);
  describe(options, command);
  // What the program leaves running stays, as if zolrun had become the program.
  return runReported(
      command, signals, [](pid_t) { return true; }, reports);
}

std::unique_ptr<DisplayServer> startXzol(std::vector<std::string> options) {
  options.insert(options.begin(), (programFolder() / "Xzol").string());
  std::string error;
  auto server = DisplayServer::start(std::move(options), &error);
  if (!server) throw RunError(error);
  return server;
}

int runHeadless(const ZolrunOptions& options) {
  requireLibrary(kVendorLibrary);
  Command command{options.command, options.settings};

  const EndSignals signals;
  std::string glDisplay = settingOf(command, "ZOL_GL_DISPLAY");
  std::unique_ptr<DisplayServer> local;
  if (!glDisplay.empty()) {
    probeDisplay(glDisplay);
  } else {
    requireLibrary(kSoftLibrary);
    local = startXzol({"--vendor-names", "zolsoft mesa"});
    glDisplay = local->name();
    finishBeforeSwap(command);
  }
  if (const int signal = signals.pending()) return 128 + signal;

  std::vector<std::string> xzolOptions = {"--gl-display", glDisplay};
  if (options.geometry) {
    xzolOptions.insert(xzolOptions.end(), {"--geometry", toText(*options.geometry)});
  }
  const auto application = startXzol(std::move(xzolOptions));
  if (const int signal = signals.pending()) return 128 + signal;

  command.environment["DISPLAY"] = application->name();
  // The display says so too; this also stands above what a settings file may name.
  command.environment["ZOL_GL_DISPLAY"] = glDisplay;
  chooseVendor(probeDisplay(application->name()), command);
  std::optional<FrameRateReports> reports;
  if (options.showFps) beginReports(command, reports);
  describe(options, command);
  const auto isServer = [&](pid_t child) {
    return child == application->pid() || (local && child == local->pid());
  };
  return runReported(command, signals, isServer, reports);
}

int run(const ZolrunOptions& options) {
  if (options.help) {
    fputs(kHelp, stdout);
    return 0;
  }
  if (options.version) {
    puts("zolrun " ZOL_VERSION);
    return 0;
  }
  return options.headless ? runHeadless(options) : runOnCurrentDisplay(options);
}

} // namespace

} // namespace zol::tools

int main(int argc, char** argv) {
  using namespace zol::tools;
  signal(SIGCHLD, SIG_DFL); // inherited as ignored, it would keep the ends of children from us
  try {
    return run(ZolrunOptions::parse(Arguments(argc, argv)));
  } catch (const UsageError& error) {
    fprintf(stderr, "zolrun: %s\nTry \"zolrun --help\".\n", error.what());
  } catch (const RunError& error) {
    fprintf(stderr, "zolrun: %s\n", error.what());
  }
  return kCannotRun;
}
