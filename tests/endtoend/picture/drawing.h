#pragma once

#include "endtoend/scene.h"

#include <string>

namespace zol::endtoend {

// Draws a picture of scene(), or "gradient", or "star", or "texture" (the one that makeTexture()
// made in a context that shares its objects) over the whole of the current window.
void draw(const std::string& name, int frame, int width, int height);

// Draws one filled rectangle; y counts from the top of a window of this size.
void drawRect(const Rect& rect, int width, int height);

// Draws the texture that is bound over the whole of the current window.
void drawBoundTexture(int width, int height);

// Makes the texture that draw("texture") uses, filled with the picture for this number.
void makeTexture(int frame);

} // namespace zol::endtoend
