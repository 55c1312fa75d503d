#pragma once

#include "tests/tools/program.h"

#include <gtest/gtest.h>
#include <string>

namespace zol::test {

// Whether the zolrun of an installation takes a program through the library, with what lies beside
// it alone.
inline void expectServed(const std::string& zolrun) {
  const Outcome outcome =
      run({zolrun, "--headless", "glxinfo"}, {{"LD_LIBRARY_PATH", ""}, {"PATH", "/usr/bin:/bin"}});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("\nclient glx vendor string: YRSO Systems\n"), std::string::npos)
      << outcome.out.substr(0, 400);
}

} // namespace zol::test
