#include "frame/vanished_drawable_filter.h"

#include <X11/Xlibint.h>

namespace zol::gl {

namespace {

// A graphics context made for a drawable that was gone already fails in its turn.
bool meansVanishedDrawable(unsigned char errorCode) {
  return errorCode == BadDrawable || errorCode == BadWindow || errorCode == BadGC;
}

Bool takeError(Display*, xReply* reply, char*, int, XPointer) {
  return reply->generic.type == X_Error && meansVanishedDrawable(reply->error.errorCode) ? xTrue
                                                                                         : xFalse;
}

} // namespace

struct VanishedDrawableFilter::Handler {
  _XAsyncHandler record{};
};

VanishedDrawableFilter::VanishedDrawableFilter(Display* display)
    : display_(display), handler_(new Handler) {
  LockDisplay(display_);
  handler_->record.next = display_->async_handlers;
  handler_->record.handler = takeError;
  display_->async_handlers = &handler_->record;
  UnlockDisplay(display_);
}

VanishedDrawableFilter::~VanishedDrawableFilter() {
  XSync(display_, xFalse); // errors of what was sent before still come by here
  {
    Display* const dpy = display_; // the name that Xlib's macros use
    LockDisplay(dpy);
    DeqAsyncHandler(dpy, &handler_->record);
    UnlockDisplay(dpy);
  }
  delete handler_;
}

} // namespace zol::gl
