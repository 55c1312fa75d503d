// zol-soak: keeps programs busy on a pair of X servers for long, and says what they hold in the
// end.

#include "endtoend/footprint.h"
#include "endtoend/loads.h"
#include "tools/arguments.h"
#include "tools/display_server.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>

namespace {

using namespace zol::endtoend;
using zol::tools::Arguments;
using zol::tools::DisplayServer;
using zol::tools::parseNumber;
using zol::tools::UsageError;
using Clock = std::chrono::steady_clock;

constexpr char kHelp[] = R"(Usage: zol-soak [--frames N] [--cycles N] [--minutes N] [load...]

Runs loads on two private X servers, one after the other, and prints a table of what the
program and the servers hold at the start, after the 100th cycle and at the end: resident
memory, open files, shared memory segments and objects in the servers. The exit status
is 1 when there is more at the end than after the 100th cycle.

  --frames N   of the load of frames (default 1000000)
  --cycles N   of the other loads (default 1000)
  --minutes N  end each load after its part of so many minutes

Loads (default: all):

)";

std::sig_atomic_t volatile interrupted = 0;

void interrupt(int) {
  interrupted = 1;
}

struct Pair {
  const DisplayServer& application;
  const Observer& observer;
};

// What is done over and over. A program of its own is there for each load but that of programs.
struct Load {
  const char* name;
  const char* description;
  int perTurn; // cycles in a turn
  void (*prepare)(PictureProgram&);
  void (*turn)(PictureProgram&);
  void (*turnWithoutProgram)(const Pair&) = nullptr;
  // What the library keeps on purpose, for as long as the program runs, on its own side and on the
  // local display's.
  const char* kept = nullptr;
  Environment settings = {}; // of the program
};

constexpr int kPrograms = 16, kWindows = 64, kThreads = 32, kHands = 4, kFrames = 100;
const Environment kQuiet = joined(oneHeap(), {{"ZOL_GL_LOG_LEVEL", "warning"}});

void nothing(PictureProgram&) {}

void expect(bool condition, const std::string& sentence) {
  if (!condition) throw std::runtime_error(sentence);
}

void expectWell(PictureProgram& program) {
  expect(program.ask("errors") == "0", "X errors:\n" + program.errors());
  expect(program.end() == 0, "a program did not end well:\n" + program.errors());
}

void turnPrograms(const Pair& pair) {
  const Folder folder;
  std::vector<std::unique_ptr<PictureProgram>> programs;
  for (int i = 0; i < kPrograms; ++i) {
    programs.push_back(std::make_unique<PictureProgram>(folder, pair.application.name(), kQuiet));
    programs.back()->tell("window w 64 48 24 double " + std::to_string(i % 4 * 100) + " " +
                          std::to_string(i / 4 * 100));
    for (const char* step : {"context w w", "current w w", "frames bar 1 20"})
      programs.back()->tell(step);
  }
  for (const auto& program : programs) {
    const Window window = std::stoul(program->answer(), nullptr, 16);
    for (int step = 0; step < 3; ++step)
      program->answer();
    const auto shown = pair.observer.shows(window, paintedScene("bar", 20, 64, 48));
    expect(shown, std::string("a window shows ") + shown.message());
    expectWell(*program);
  }
}

const Load kLoads[] = {
    {"frames", "frames of one window", kFrames,
     [](PictureProgram& program) { program.stage("w", "64 48 24 double"); },
     [](PictureProgram& program) {
       program.ask("current w w");
       program.ask("frames bar 1 " + std::to_string(kFrames));
     }},
    {"cycles", "a window, pixmap, pbuffer and two contexts made, used, resized, destroyed", 1,
     nothing, turnOver},
    {"windows", "64 windows at once, each with a context", kWindows, nothing,
     [](PictureProgram& program) { turnWindows(program, kWindows); }},
    {"threads", "32 threads at once that begin and end, each with a window and context", kThreads,
     nothing, [](PictureProgram& program) { turnThreads(program, kThreads); }},
    {"connections", "the same, each with a connection of its own, whose local display stays",
     kThreads, nothing, [](PictureProgram& program) { turnConnectedThreads(program, kThreads); },
     nullptr, "local displays"},
    {"unset",
     "the same with unset-local-display, where it does not stay",
     kThreads,
     nothing,
     [](PictureProgram& program) { turnConnectedThreads(program, kThreads); },
     nullptr,
     nullptr,
     {{"ZOL_GL_UNSET_LOCAL_DISPLAY", "1"}}},
    {"contexts", "a context handed from thread to thread, of four", kHands,
     [](PictureProgram& program) { makeHandedContext(program, kHands); },
     [](PictureProgram& program) { handContextOn(program, kHands); }},
    {"programs", "16 programs at once; what the servers hold when they have ended", kPrograms,
     nullptr, nullptr, turnPrograms},
};

struct Options {
  bool help = false;
  int frames = 1000000, cycles = 1000;
  std::optional<int> minutes;
  std::vector<const Load*> loads;

  static Options parse(Arguments arguments);
  int cyclesOf(const Load& load) const { return load.perTurn == kFrames ? frames : cycles; }
};

const Load& findLoad(const std::string& name) {
  const auto found = std::find_if(std::begin(kLoads), std::end(kLoads),
                                  [&](const Load& load) { return name == load.name; });
  if (found == std::end(kLoads)) throw UsageError("there is no load " + name);
  return *found;
}

int takeNumber(const char* option, const std::string& text) {
  const auto number = parseNumber(text, std::numeric_limits<int>::max());
  if (!number || *number == 0)
    throw UsageError(std::string(option) + " " + text + " is no number above 0");
  return *number;
}

Options Options::parse(Arguments arguments) {
  Options options;
  while (!arguments.atEnd()) {
    if (arguments.takeFlag("--help")) {
      options.help = true;
    } else if (auto frames = arguments.takeValue("--frames")) {
      options.frames = takeNumber("--frames", *frames);
    } else if (auto cycles = arguments.takeValue("--cycles")) {
      options.cycles = takeNumber("--cycles", *cycles);
    } else if (auto minutes = arguments.takeValue("--minutes")) {
      options.minutes = takeNumber("--minutes", *minutes);
    } else if (arguments.peek().starts_with("-")) {
      throw UsageError("unknown option " + arguments.peek());
    } else {
      options.loads.push_back(&findLoad(arguments.take()));
    }
  }
  if (options.loads.empty()) {
    for (const Load& load : kLoads)
      options.loads.push_back(&load);
  }
  return options;
}

std::unique_ptr<DisplayServer> startDisplay(const char* option, const std::string& value) {
  std::string error;
  auto server = DisplayServer::start({ZOL_XZOL, "--geometry", "2560x1600", option, value}, &error);
  if (server == nullptr) throw std::runtime_error(error);
  return server;
}

void printRow(const Load& load, const std::string& when, const Footprint& held,
              const std::string& verdict) {
  std::printf("| %s | %s | %ld | %zu | %zu | %ld | %u | %ld | %u | %s |\n", load.name, when.c_str(),
              held.memory, held.files, held.segments, held.application.memory,
              held.application.total(), held.local.memory, held.local.total(), verdict.c_str());
  std::fflush(stdout);
}

// The cycles from which on nothing may grow.
constexpr int kSettled = 100;

class Soak {
public:
  explicit Soak(const Options& options) : options_(options) {}

  bool run(const Load& load) {
    const Folder folder;
    std::optional<PictureProgram> program;
    if (load.turn != nullptr) {
      program.emplace(folder, application_->name(), joined(kQuiet, load.settings));
      load.prepare(*program);
    }
    PictureProgram* const busy = program ? &*program : nullptr;
    const Clock::time_point end = endOfLoad();
    printRow(load, "start", weigh(busy, nullptr), "");
    int done = 0;
    const auto turnUntil = [&](int cycles, Clock::time_point deadline) {
      while (done < cycles && Clock::now() < deadline) {
        expect(interrupted == 0, "interrupted");
        turn(load, busy);
        done += load.perTurn;
      }
    };
    turnUntil(kSettled, Clock::time_point::max());
    const Footprint settled = weigh(busy, nullptr);
    printRow(load, std::to_string(done), settled, "");
    turnUntil(done + load.perTurn, Clock::time_point::max());
    turnUntil(options_.cyclesOf(load), end);
    const Footprint last = weigh(busy, &settled);
    const std::vector<std::string> grown = growth(settled, last);
    const bool flat = std::all_of(grown.begin(), grown.end(), [&](const std::string& line) {
      return load.kept != nullptr && !line.starts_with("application display");
    });
    printRow(load, std::to_string(done), last, verdict(load, flat, grown));
    if (busy != nullptr) expectWell(*busy);
    return flat;
  }

private:
  Clock::time_point endOfLoad() const {
    if (!options_.minutes) return Clock::time_point::max();
    return Clock::now() +
           std::chrono::seconds(60 * *options_.minutes / static_cast<int>(options_.loads.size()));
  }

  Footprint weigh(PictureProgram* program, const Footprint* settled) const {
    std::optional<Rest> rest;
    if (program != nullptr) {
      rest.emplace(*program, observer_);
      expect(rest->isShown(), std::string("a window shows ") + rest->isShown().message());
    }
    const pid_t process = program != nullptr ? program->pid() : 0;
    return settled == nullptr ? scales_.weigh(process) : scales_.weighWhenFlat(process, *settled);
  }

  void turn(const Load& load, PictureProgram* program) {
    if (program != nullptr) {
      load.turn(*program);
    } else {
      load.turnWithoutProgram({*application_, observer_});
    }
  }

  static std::string verdict(const Load& load, bool flat, const std::vector<std::string>& grown) {
    if (grown.empty()) return "flat";
    std::string text = flat ? std::string("keeps ") + load.kept + ":" : "grew:";
    for (const std::string& line : grown)
      text += " " + line + ";";
    return text;
  }

  const Options& options_;
  const std::unique_ptr<DisplayServer> local_ = startDisplay("--vendor-names", "zolsoft mesa");
  const std::unique_ptr<DisplayServer> application_ = startDisplay("--gl-display", local_->name());
  const Observer observer_{application_->name()};
  const Observer localObserver_{local_->name()};
  const Scales scales_{observer_, localObserver_};
};

int run(const Options& options) {
  if (options.help) {
    std::fputs(kHelp, stdout);
    for (const Load& load : kLoads)
      std::printf("  %-11s  %s\n", load.name, load.description);
    return 0;
  }
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    std::signal(signal, interrupt);
  Soak soak(options);
  std::puts(
      "| load | cycles | KiB | files | segments | Xzol, KiB | its objects | local display, KiB "
      "| its objects | |\n|---|--:|--:|--:|--:|--:|--:|--:|--:|---|");
  bool flat = true;
  for (const Load* const load : options.loads)
    flat = soak.run(*load) && flat;
  return flat ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
  try {
    return run(Options::parse(Arguments(argc, argv)));
  } catch (const UsageError& error) {
    std::fprintf(stderr, "zol-soak: %s\nTry \"zol-soak --help\".\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zol-soak: %s\n", error.what());
    return 1;
  }
}
