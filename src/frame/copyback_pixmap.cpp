#include "frame/copyback_pixmap.h"

#include "display/pairing.h"
#include "drawable/drawable_info.h"
#include "foundation/log.h"

#include <X11/Xutil.h>

void copybackPixmap(zol::gl::DrawableInfo* drawable) {
  Display* const local = _getLocalDisplay(nullptr);
  if (local == nullptr) return;
  zol::IRect area;
  drawable->getGeometry(&area);
  ZOLGL_DEBUG("Copying pixmap %d to %d\n (%d,%d %dx%d)", static_cast<int>(drawable->localPixmap),
              static_cast<int>(drawable->appPixmap), area.x, area.y, static_cast<int>(area.width),
              static_cast<int>(area.height));
  const zol::MutexLock lock(getLocalDisplayMutex());
  XImage* const image =
      XGetImage(local, drawable->localPixmap, 0, 0, area.width, area.height, AllPlanes, ZPixmap);
  if (image == nullptr) return;
  if (GC const gc = XCreateGC(drawable->appDisplay, drawable->appPixmap, 0, nullptr)) {
    XPutImage(drawable->appDisplay, drawable->appPixmap, gc, image, 0, 0, 0, 0, area.width,
              area.height);
    XFreeGC(drawable->appDisplay, gc);
  }
  XDestroyImage(image);
}
