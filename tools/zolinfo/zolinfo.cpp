// zolinfo: says whether OpenGL programs on the current display are rendered through the library,
// and what is in the way when they are not.

#include "../run_error.h"
#include "foundation/runtime_symbols.h"
#include "gl_probe.h"
#include "options.h"
#include "output.h"
#include "settings_findings.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace zol::tools {

namespace {

constexpr int kServed = 0;
constexpr int kNotServed = 1;
constexpr int kWrongUsage = 2;

constexpr char kHelp[] =
    R"(Usage: zolinfo [--program NAME] [--json]
       zolinfo --config [--json]
       zolinfo --visuals [--json]

Says whether the OpenGL of programs on the display of the environment variable
DISPLAY is rendered through the library, by which driver, on which display, and
what to do when it is not.

  --program NAME  ask for this program whether it is excluded (a name or a path;
                  default zolinfo itself)
  --config        show every setting: its value, type, default and where the value
                  comes from; name settings files that are broken
  --visuals       show what each visual of the display is mapped to
  --json          write JSON, for scripts
  --help          show this help
  --version       show the version

The exit status is 0 when programs are rendered through the library, be it in
software, and 1 when they are not. With --config it is 0, and 1 when a settings
file is broken. It is 2 when the command line is wrong.
)";

// Names and texts from servers and files must not steer the terminal.
void print(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return (c < ' ' && c != '\n') || c == 0x7f; }, '?');
  fputs(text.c_str(), stdout);
}

int showConfig(bool asJson) {
  const SettingsReport settings = readSettings();
  const Findings findings = findingsAbout(settings);
  print((asJson ? configJsonOf : configTextOf)(settings, findings));
  const bool isBroken = std::ranges::any_of(settings.files, [](const SettingsFile& file) {
    return file.state == SettingsFile::State::broken;
  });
  return isBroken ? kNotServed : kServed;
}

int showCheck(const ZolinfoOptions& options) {
  const SelfCheck check = checkEverything(options.program);
  const bool showsVisuals = options.screen == ZolinfoOptions::Screen::visuals;
  const auto write = showsVisuals ? (options.asJson ? visualsJsonOf : visualsTextOf)
                                  : (options.asJson ? jsonOf : textOf);
  print(write(check));
  return check.isServed() ? kServed : kNotServed;
}

int run(const ZolinfoOptions& options) {
  switch (options.screen) {
  case ZolinfoOptions::Screen::help:
    fputs(kHelp, stdout);
    return kServed;
  case ZolinfoOptions::Screen::version:
    puts("zolinfo " ZOL_VERSION);
    return kServed;
  case ZolinfoOptions::Screen::config:
    return showConfig(options.asJson);
  default:
    return showCheck(options);
  }
}

} // namespace

} // namespace zol::tools

int main(int argc, char** argv) {
  using namespace zol::tools;
  signal(SIGCHLD, SIG_DFL); // inherited as ignored, it would keep the ends of children from us
  if (argc == 2 && strcmp(argv[1], kGLProbeArgument) == 0) return runGLProbe();
  if (!zol::initRuntimeSymbols()) return kNotServed; // has said why
  try {
    return run(ZolinfoOptions::parse(Arguments(argc, argv)));
  } catch (const UsageError& error) {
    fprintf(stderr, "zolinfo: %s\nTry \"zolinfo --help\".\n", error.what());
    return kWrongUsage;
  } catch (const RunError& error) {
    fprintf(stderr, "zolinfo: %s\n", error.what());
    return kNotServed;
  }
}
