#include "frame/texture_from_pixmap.h"

#include "display/pairing.h"
#include "drawable/drawable_info.h"
#include "drawable/registry.h"
#include "foundation/log.h"
#include "vendor/system_functions.h"

#include <X11/Xutil.h>

#include <memory>

using zol::MutexLock;
using zol::gl::DrawableInfo;
using zol::gl::DrawableRef;
using zol::gl::LOCAL_PIXMAP;

namespace {

struct ImageDeleter {
  void operator()(XImage* image) const { XDestroyImage(image); }
};
using Image = std::unique_ptr<XImage, ImageDeleter>;

// Null where there is no such drawable; said so unless none was asked for.
DrawableRef findBound(GLXDrawable drawable, const char* label) {
  if (drawable == None) return nullptr;
  DrawableRef record = findLocalDrawable(drawable);
  if (!record) ZOLGL_LOG_AS(label, DEBUG, "local drawable not found");
  return record;
}

// Copies the program's pixmap into the local one. False when there is nothing to copy.
bool upload(Display* dpy, Display* local, DrawableInfo* record) {
  zol::IRect area;
  record->getGeometry(&area);
  const MutexLock lock(getLocalDisplayMutex());
  const auto fetch = [&](Display* display, Pixmap pixmap) {
    return Image(XGetImage(display, pixmap, 0, 0, area.width, area.height, AllPlanes, ZPixmap));
  };
  const Image image = fetch(dpy, record->appPixmap);
  if (image == nullptr) return false;
  GC const gc = XCreateGC(local, record->localPixmap, 0, nullptr);
  if (gc == nullptr) return false;
  XPutImage(local, record->localPixmap, gc, image.get(), 0, 0, 0, 0, area.width, area.height);
  XFreeGC(local, gc);
  fetch(local, record->localPixmap); // the round trip makes sure that the upload is complete
  return true;
}

} // namespace

void zol_glXBindTexImageEXT(Display* dpy, GLXDrawable drawable, int buffer, const int* attribs) {
  ZOLGL_DEBUG("START");
  Display* const local = pairWithLocalDisplay(dpy, nullptr);
  if (local == nullptr) return;
  GLXDrawable localDrawable = None;
  if (const DrawableRef record = findBound(drawable, __PRETTY_FUNCTION__)) {
    ZOLGL_DEBUG("Drawable ldi: %p", static_cast<void*>(record.get()));
    if (record->type == LOCAL_PIXMAP && upload(dpy, local, record.get()))
      localDrawable = record->localDrawable;
  }
  if (system_glXBindTexImageEXT == nullptr) return; // not every driver has it
  const MutexLock lock(getLocalDisplayMutex());
  system_glXBindTexImageEXT(local, localDrawable, buffer, attribs);
}

void zol_glXReleaseTexImageEXT(Display* dpy, GLXDrawable drawable, int buffer) {
  ZOLGL_DEBUG("START");
  Display* const local = pairWithLocalDisplay(dpy, nullptr);
  if (local == nullptr) return;
  const DrawableRef record = findBound(drawable, __PRETTY_FUNCTION__);
  const GLXDrawable localDrawable = record ? record->localDrawable.load() : None;
  if (system_glXReleaseTexImageEXT == nullptr) return;
  const MutexLock lock(getLocalDisplayMutex());
  system_glXReleaseTexImageEXT(local, localDrawable, buffer);
}
