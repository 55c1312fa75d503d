#pragma once

#include "display/pairing.h"
#include "foundation/log.h"

#include <exception>
#include <type_traits>

namespace zol {

// A function of ours as other people's programs get it: no exception passes from it to them, who
// may be written in C or live with another C++ runtime. What it throws, for want of memory, is
// answered with `failure`. Only our own exceptions are caught: the cancellation of a thread goes on
// its way. The local displays that the function is handed stay open until it returns.
template <auto function, auto failure = 0>
struct Guarded;

template <class Result, class... Arguments, Result (*function)(Arguments...), auto failure>
struct Guarded<function, failure> {
  static Result call(Arguments... arguments) {
    try {
      const LocalDisplayCall call;
      return function(arguments...);
    } catch (const std::exception& exception) {
      ZOLGL_ERROR("%s", exception.what());
    }
    if constexpr (!std::is_void_v<Result>) {
      if constexpr (failure == 0) {
        return Result{};
      } else {
        return failure;
      }
    }
  }
};

} // namespace zol
