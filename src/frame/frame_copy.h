#pragma once

#include <cstddef>

namespace zol::gl {

// Copies a frame to where the X server reads it next. The two do not overlap.
void copyFrame(void* to, const void* from, size_t size);

} // namespace zol::gl
