#include "xzol_options.h"

#include <algorithm>
#include <climits>

namespace zol::server {

using tools::UsageError;

namespace {

constexpr int kHighestDisplay = 65535 - 6000; // its TCP port must exist
constexpr size_t kLongestName = 255;

// The names travel in double quotes on a line of the server's configuration.
std::string checkedName(const char* option, std::string value) {
  if (value.size() > kLongestName) {
    throw UsageError(std::string(option) + " is longer than " + std::to_string(kLongestName) +
                     " characters");
  }
  const auto isPlain = [](unsigned char c) { return c >= ' ' && c != '"' && c != 0x7f; };
  if (!std::all_of(value.begin(), value.end(), isPlain)) {
    throw UsageError(std::string(option) + " holds a quotation mark or a control character");
  }
  return value;
}

// One word, or a word and its value, of the command line.
void parseOne(tools::Arguments& arguments, XzolOptions& options, bool& describesScreen) {
  if (arguments.takeFlag("--help")) {
    options.help = true;
  } else if (arguments.takeFlag("--version")) {
    options.version = true;
  } else if (auto geometry = arguments.takeValue("--geometry")) {
    options.geometry = tools::Geometry::parse(*geometry);
    describesScreen = true;
  } else if (auto name = arguments.takeValue("--gl-display")) {
    options.glDisplay = checkedName("--gl-display", *name);
    describesScreen = true;
  } else if (auto names = arguments.takeValue("--vendor-names")) {
    options.vendorNames = checkedName("--vendor-names", *names);
    describesScreen = true;
  } else if (auto authority = arguments.takeValue("--auth")) {
    if (authority->empty()) throw UsageError("--auth needs the name of a file");
    options.authority = authority;
  } else if (auto fd = arguments.takeValue("-displayfd")) {
    options.displayFd = tools::parseNumber(*fd, INT_MAX);
    if (!options.displayFd) throw UsageError("-displayfd " + *fd + " is no file descriptor");
  } else if (auto config = arguments.takeValue("-config")) {
    options.config = config;
  } else if (auto logFile = arguments.takeValue("-logfile")) {
    options.logFile = logFile;
  } else if (auto modulePath = arguments.takeValue("-modulepath")) {
    options.modulePath = modulePath;
  } else if (arguments.peek().starts_with("--")) {
    throw UsageError("unknown option " + arguments.peek());
  } else if (arguments.peek().starts_with(":")) {
    options.display = arguments.take();
    if (!tools::parseNumber(options.display->substr(1), kHighestDisplay)) {
      throw UsageError(*options.display + " is no display number");
    }
  } else {
    options.xorgOptions.push_back(arguments.take());
  }
}

} // namespace

XzolOptions XzolOptions::parse(tools::Arguments arguments) {
  XzolOptions options;
  bool describesScreen = false;
  while (!arguments.atEnd())
    parseOne(arguments, options, describesScreen);
  if (options.config && describesScreen) {
    throw UsageError("-config takes the place of --geometry, --gl-display and --vendor-names; "
                     "give it alone");
  }
  return options;
}

} // namespace zol::server
