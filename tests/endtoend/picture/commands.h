#pragma once

#include "endtoend/picture/stage.h"

#include <string>

namespace zol::endtoend {

// Does what one line asks for, for example "draw quadrants 3", on the calling thread; the answer,
// "ok" or "ok <what was asked>". Failure is an std::exception whose text says why.
std::string perform(Stage& stage, const std::string& line);

// Counts the X errors that reach the program from now on, and writes each to standard error.
void countXErrors();

} // namespace zol::endtoend
