// What the built library shows of itself, as binutils' nm tells.

#include <cstdio>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string output(const std::string& command) {
  std::string text;
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return text;
  char buffer[4096];
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe)) {
    text.append(buffer, count);
  }
  EXPECT_EQ(pclose(pipe), 0) << command;
  return text;
}

// The names in nm's output without their versions; the last word of each line of three or two.
std::set<std::string> symbols(const std::string& command) {
  std::set<std::string> names;
  std::istringstream stream(output(command));
  for (std::string line; std::getline(stream, line);) {
    const std::size_t blank = line.rfind(' ');
    if (line.empty() || line.back() == ':' || blank == std::string::npos) continue;
    const std::string name = line.substr(blank + 1);
    names.insert(name.substr(0, name.find('@')));
  }
  return names;
}

bool beginsWith(const std::string& text, const char* beginning) {
  return text.rfind(beginning, 0) == 0;
}

TEST(Binary, ExportsItsEntryAndNothingElse) {
  EXPECT_EQ(symbols("nm --dynamic --defined-only " ZOL_LIBRARY),
            std::set<std::string>{"__glx_Main"});
}

TEST(Binary, HasTheNameThatFrontEndsLookFor) {
  const std::string dynamic = output("readelf --dynamic " ZOL_LIBRARY);
  EXPECT_NE(dynamic.find("Library soname: [libGLX_zol.so.0]"), std::string::npos) << dynamic;
}

TEST(Binary, LinksNoGraphicsLibrary) {
  const std::string dynamic = output("readelf --dynamic " ZOL_LIBRARY);
  for (const char* library : {"libGL.", "libGLX", "libOpenGL", "libEGL"}) {
    EXPECT_EQ(dynamic.find("Shared library: [" + std::string(library)), std::string::npos)
        << dynamic;
  }
}

#ifndef ZOL_SHARED_CPP_RUNTIME
// A program may come with a C++ runtime of another version, or with none: neither gets to see the
// other's.
TEST(Binary, BringsItsOwnCppRuntime) {
  const std::string dynamic = output("readelf --dynamic " ZOL_LIBRARY);
  for (const char* library : {"libstdc++", "libc++", "libgcc_s"}) {
    EXPECT_EQ(dynamic.find("Shared library: [" + std::string(library)), std::string::npos)
        << dynamic;
  }
  // The C library's own, which only happen to have such names.
  const std::set<std::string> ofC = {"__cxa_atexit", "__cxa_finalize", "__cxa_thread_atexit_impl"};
  // Weak ones are for transactional memory, which nothing here uses.
  const auto undefined = symbols("nm --dynamic --undefined-only " ZOL_LIBRARY " | grep ' U '");
  EXPECT_GT(undefined.size(), 100u);
  for (const std::string& name : undefined) {
    EXPECT_FALSE(beginsWith(name, "_Z") || beginsWith(name, "_Unwind_") ||
                 beginsWith(name, "__gxx_") || (beginsWith(name, "__cxa_") && !ofC.contains(name)))
        << name;
  }
}
#endif

// Programs without threads must not get them by loading the library: it fetches these functions
// when it runs. The C++ runtime inside the library is not counted, it copes with their absence.
TEST(Binary, LinksNoFunctionOfTheThreadsLibrary) {
  const auto undefined = symbols("nm --undefined-only " ZOL_OBJECTS);
  EXPECT_GT(undefined.size(), 100u);
  for (const std::string& name : undefined) {
    if (name == "pthread_atfork") continue; // the C library's own, a piece of which is linked in
    EXPECT_FALSE(beginsWith(name, "pthread_") || beginsWith(name, "sem_") ||
                 name == "clock_gettime")
        << name;
  }
}

} // namespace
