// Xzol: starts a stock X.Org server with the dummy driver and the extension "ZOL-V1".

#include "tools/arguments.h"
#include "xorg_process.h"
#include "xzol_options.h"

#include <cstdio>

namespace {

constexpr char kHelp[] =
    R"(Usage: Xzol [:N] [options] [options of the X.Org server]

An X server without a GPU, for programs whose OpenGL is rendered on another X
server of this machine. It runs until SIGTERM or Ctrl-C.

  :N                    take display number N; without it and without -displayfd,
                        a free one is taken and printed
  --geometry WxH        size of the screen in pixels at the start (default
                        1280x1024); xrandr changes it while the server runs
  --gl-display NAME     the X server that clients are told to render on
  --vendor-names NAMES  the GLX vendors that clients are told to use, in order
                        (default "zol mesa")
  --auth FILE           let in whoever has a key out of FILE, and nobody else; a
                        file that is missing or empty is given a new key. Without
                        it the programs of the user who starts Xzol are let in
  --help                show this help
  --version             show the version

Every other option goes to the X.Org server: -displayfd N writes the display
number to a file descriptor, -logfile FILE keeps the log, -extension NAME
switches an extension off. With -config FILE, that configuration takes the place
of the one that Xzol makes. Xorg -help lists them all.
)";

} // namespace

int main(int argc, char** argv) {
  using zol::server::XzolOptions;
  XzolOptions options;
  try {
    options = XzolOptions::parse(zol::tools::Arguments(argc, argv));
  } catch (const zol::tools::UsageError& error) {
    fprintf(stderr, "Xzol: %s\nTry \"Xzol --help\".\n", error.what());
    return 2;
  }
  if (options.help) {
    fputs(kHelp, stdout);
    return 0;
  }
  if (options.version) {
    puts("Xzol " ZOL_VERSION);
    return 0;
  }
  return zol::server::runXorg(options);
}
