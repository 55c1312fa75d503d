#pragma once

namespace zol::gl {

enum LocalDrawableType {
  LOCAL_WINDOW,  // a window; rendered into a local pbuffer of its size
  LOCAL_PIXMAP,  // a GLX pixmap; rendered into a local GLX pixmap
  LOCAL_PBUFFER, // the program's own pbuffer; exists on the local display only
};

} // namespace zol::gl
