#pragma once

namespace zol::gl {
class DrawableInfo;
}

// Copies what was rendered into a GLX pixmap back to the program's own pixmap. On the program's
// thread and connection; nothing is flushed.
void copybackPixmap(zol::gl::DrawableInfo* drawable);
