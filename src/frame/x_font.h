#pragma once

#include "vendor/glx_api.h"

// Makes display lists of a font's glyphs. The font id belongs to the application display, the lists
// to the local one, so the font is looked up there by its name.
void zol_glXUseXFont(Font font, int first, int count, int listBase);
