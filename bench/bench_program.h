#pragma once

#include "tools/arguments.h"

#include <cstdio>
#include <exception>

namespace zol::bench {

// Frames that are not counted: the first ones compile shaders and make buffers.
constexpr int kWarmUpFrames = 5;

// main() of a program that measures: what it is about, its options, whose `help` is empty where it
// was not asked for, and the work. The exit status is 2 for a wrong command line and 1 for work
// that could not be done.
template <class Options>
int runProgram(const char* name, const char* about, int argc, char** argv,
               void (*work)(const Options&)) {
  Options options;
  try {
    options = Options::parse(tools::Arguments(argc, argv));
  } catch (const tools::UsageError& error) {
    fprintf(stderr, "%s: %s\nTry \"%s --help\".\n", name, error.what(), name);
    return 2;
  }
  if (!options.help.empty()) {
    printf("%s\n%s", about, options.help.c_str());
    return 0;
  }
  try {
    work(options);
  } catch (const std::exception& error) {
    fprintf(stderr, "%s: %s\n", name, error.what());
    return 1;
  }
  return 0;
}

} // namespace zol::bench
