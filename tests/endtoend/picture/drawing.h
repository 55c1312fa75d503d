#pragma once

#include <string>

namespace zol::endtoend {

// Draws a picture of scene(), or "gradient", or "texture" (the one that makeTexture() made in a
// context that shares its objects) over the whole of the current window.
void draw(const std::string& name, int frame, int width, int height);

// Makes the texture that draw("texture") uses, filled with the picture for this number.
void makeTexture(int frame);

} // namespace zol::endtoend
