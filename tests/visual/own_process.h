#pragma once

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>

// The map is built once in a process, so every build has a process of its own: a new run of this
// program, because a mere child would have the map of the tests before it. `body` passes unless an
// expectation fails or it ends the process with another status.
inline void inAProcessOfItsOwn(const std::function<void()>& body, int status = 0) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        body();
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(status), "");
}
