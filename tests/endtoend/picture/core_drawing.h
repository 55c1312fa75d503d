#pragma once

#include <string>

namespace zol::endtoend {

// What draw() draws of scene(), in a context that has shaders and none of the old drawing calls.
void drawWithShaders(const std::string& name, int frame, int width, int height);

} // namespace zol::endtoend
