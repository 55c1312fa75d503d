#pragma once

#include <stdexcept>

namespace zol::tools {

// Why zolrun cannot do what it was asked for, as a text for the user.
class RunError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

} // namespace zol::tools
