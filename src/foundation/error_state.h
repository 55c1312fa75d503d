#pragma once

namespace zol {

// The last error of an INI file.
struct ErrorState {
  int code;
  int line; // from 1; 0 where no line applies
  char message[128];
};

} // namespace zol
