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

VanishedDrawableFilter::VanishedDrawableFilter(Display* display) : handler_(new Handler) {
  LockDisplay(display);
  handler_->record.next = display->async_handlers;
  handler_->record.handler = takeError;
  display->async_handlers = &handler_->record;
  UnlockDisplay(display);
}

VanishedDrawableFilter::~VanishedDrawableFilter() = default;

} // namespace zol::gl
