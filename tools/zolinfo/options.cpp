#include "options.h"

namespace zol::tools {

ZolinfoOptions ZolinfoOptions::parse(Arguments arguments) {
  ZolinfoOptions options;
  const auto show = [&](Screen screen, const char* name) {
    if (options.screen != Screen::check && options.screen != screen) {
      throw UsageError(std::string(name) + " shows another screen: give one at a time");
    }
    options.screen = screen;
  };
  while (!arguments.atEnd()) {
    if (arguments.takeFlag("--help")) {
      options.screen = Screen::help;
      return options;
    }
    if (arguments.takeFlag("--version")) {
      options.screen = Screen::version;
      return options;
    }
    if (arguments.takeFlag("--config")) {
      show(Screen::config, "--config");
    } else if (arguments.takeFlag("--visuals")) {
      show(Screen::visuals, "--visuals");
    } else if (arguments.takeFlag("--json")) {
      options.asJson = true;
    } else if (auto program = arguments.takeValue("--program")) {
      if (program->empty()) throw UsageError("--program needs the name of a program");
      options.program = *program;
    } else {
      throw UsageError("unknown option " + arguments.peek());
    }
  }
  if (!options.program.empty() && options.screen == Screen::config) {
    throw UsageError("--program has no meaning with --config");
  }
  return options;
}

} // namespace zol::tools
