#include "zolrun_options.h"

namespace zol::tools {

ZolrunOptions ZolrunOptions::parse(Arguments arguments) {
  ZolrunOptions options;
  while (!arguments.atEnd() && arguments.peek().starts_with("-")) {
    if (arguments.takeFlag("--")) break;
    if (arguments.takeFlag("--help")) {
      options.help = true;
    } else if (arguments.takeFlag("--version")) {
      options.version = true;
    } else if (arguments.takeFlag("--headless")) {
      options.headless = true;
    } else if (auto geometry = arguments.takeValue("--geometry")) {
      options.geometry = Geometry::parse(*geometry);
    } else if (auto name = arguments.takeValue("--gl-display")) {
      if (name->empty()) throw UsageError("--gl-display needs the name of a display");
      options.glDisplay = *name;
    } else {
      throw UsageError("unknown option " + arguments.peek());
    }
  }
  options.command = arguments.takeRest();
  if (options.help || options.version) return options;
  if (options.geometry && !options.headless) {
    throw UsageError("--geometry is the size of the screen that --headless makes");
  }
  if (options.command.empty()) throw UsageError("no command given");
  return options;
}

} // namespace zol::tools
