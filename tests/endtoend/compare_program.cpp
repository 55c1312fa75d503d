// zol-compare-program: runs a program straight on a local display and through the library, and says
// in one line how alike their windows are.

#include "endtoend/likeness.h"
#include "tools/arguments.h"
#include "tools/display_server.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace {

using namespace zol::endtoend;
using zol::tools::Arguments;
using zol::tools::DisplayServer;
using zol::tools::UsageError;

constexpr char kHelp[] = R"(Usage: zol-compare-program [options] [--] command [arguments]

Runs a program at the same time straight on a private local display and, with
zolrun --headless, through the library, compares their windows and prints a line:

  equal|differs|alike|unlike|blank likeness WxH library|no-library errors

  --moving         the program does not stand still: the colours of several frames
                   are compared; without it, wait until both show the same picture
  --frames N       of so many frames, in place of 60
  --area WxH+X+Y   compare only this part of the window, when it stands still
  --pictures NAME  write the pictures to NAME.straight.ppm and NAME.through.ppm

"likeness" is the part of the pixels that have the same colour in both, in four
shades of red, green and blue, not counting the most common colour straight; from
0.8 on they are called alike. "library" says that the program was served by the
library when it should be and only then, "errors" how many the library logged. The
exit status is 0 for equal and alike, 1 for the others.
)";

struct Options {
  bool help = false, moving = false;
  int frames = 60;
  Area area;
  std::string pictures;
  std::vector<std::string> command;

  static Options parse(Arguments arguments);
};

Area parseArea(const std::string& text) {
  Area area;
  int length = 0;
  if (std::sscanf(text.c_str(), "%dx%d+%d+%d%n", &area.width, &area.height, &area.x, &area.y,
                  &length) != 4 ||
      static_cast<std::size_t>(length) != text.size() || area.width < 1 || area.height < 1 ||
      area.x < 0 || area.y < 0) {
    throw UsageError("--area " + text + " is not of the form WxH+X+Y");
  }
  return area;
}

Options Options::parse(Arguments arguments) {
  Options options;
  while (!arguments.atEnd() && arguments.peek().starts_with("-")) {
    if (arguments.takeFlag("--")) break;
    if (arguments.takeFlag("--help")) {
      options.help = true;
    } else if (arguments.takeFlag("--moving")) {
      options.moving = true;
    } else if (auto frames = arguments.takeValue("--frames")) {
      options.frames = std::atoi(frames->c_str());
      if (options.frames < 1) throw UsageError("--frames " + *frames + " is no number above 0");
    } else if (auto area = arguments.takeValue("--area")) {
      options.area = parseArea(*area);
    } else if (auto name = arguments.takeValue("--pictures")) {
      options.pictures = *name;
    } else {
      throw UsageError("unknown option " + arguments.peek());
    }
  }
  options.command = arguments.takeRest();
  if (!options.help && options.command.empty()) throw UsageError("no command given");
  return options;
}

void writePicture(const Picture& picture, const std::string& path) {
  std::ofstream stream(path, std::ios::binary);
  stream << "P6\n" << picture.width << " " << picture.height << "\n255\n";
  for (const std::uint32_t pixel : picture.pixels) {
    for (const int shift : {16, 8, 0})
      stream.put(static_cast<char>(pixel >> shift));
  }
}

std::unique_ptr<DisplayServer> startLocalDisplay() {
  std::string error;
  auto server = DisplayServer::start(
      {ZOL_XZOL, "--geometry", kScreen, "--vendor-names", "zolsoft mesa"}, &error);
  if (server == nullptr) throw std::runtime_error(error);
  return server;
}

const char* verdict(const Options& options, const Comparison& comparison) {
  if (isBlank(comparison.straight) || isBlank(comparison.through)) return "blank";
  if (comparison.isEqual) return "equal";
  if (!options.moving) return "differs";
  return comparison.likeness >= kAlike ? "alike" : "unlike";
}

int run(const Options& options) {
  if (options.help) {
    std::fputs(kHelp, stdout);
    return 0;
  }
  const auto local = startLocalDisplay();
  auto straight = ForeignProgram::straight(options.command, local->name());
  auto through = ForeignProgram::throughLibrary(options.command);
  Comparison comparison;
  if (straight.waitForPicture() && through.waitForPicture()) {
    comparison = options.moving ? compareMoving(straight, through, options.frames)
                                : compareStill(straight, through, options.area);
  }
  const bool served =
      through.hasLoaded("libGLX_zol.so.0") && !straight.hasLoaded("libGLX_zol.so.0");
  const std::vector<std::string> errors = through.libraryErrors();
  const std::string word = verdict(options, comparison);
  std::printf("%s %.3f %dx%d %s %zu\n", word.c_str(), comparison.likeness, comparison.through.width,
              comparison.through.height, served ? "library" : "no-library", errors.size());
  for (const std::string& line : errors)
    std::fprintf(stderr, "%s\n", line.c_str());
  if (!options.pictures.empty()) {
    writePicture(comparison.straight, options.pictures + ".straight.ppm");
    writePicture(comparison.through, options.pictures + ".through.ppm");
  }
  const bool good = word == "equal" || word == "alike";
  if (!good) {
    std::fprintf(stderr, "straight:\n%s\nthrough:\n%s\n", straight.errors().c_str(),
                 through.errors().c_str());
  }
  straight.end();
  through.end();
  return good ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
  try {
    return run(Options::parse(Arguments(argc, argv)));
  } catch (const UsageError& error) {
    std::fprintf(stderr, "zol-compare-program: %s\nTry \"zol-compare-program --help\".\n",
                 error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zol-compare-program: %s\n", error.what());
    return 1;
  }
}
