#include "softgpu/error_trap.h"

#include <X11/Xlibint.h>

namespace zol::softgpu {

struct ErrorTrap::Handler {
  Display* display;
  unsigned long first = 0;
  bool caught = false;
  _XAsyncHandler link{};

  static Bool take(Display* display, xReply* reply, char*, int, XPointer self) {
    auto* handler = reinterpret_cast<Handler*>(self);
    if (reply->generic.type != X_Error || display->last_request_read < handler->first) return False;
    handler->caught = true;
    return True;
  }
};

ErrorTrap::ErrorTrap(Display* display) : handler_(new Handler{display}) {
  LockDisplay(display);
  handler_->first = display->request + 1;
  handler_->link.next = display->async_handlers;
  handler_->link.handler = &Handler::take;
  handler_->link.data = reinterpret_cast<XPointer>(handler_.get());
  display->async_handlers = &handler_->link;
  UnlockDisplay(display);
}

ErrorTrap::~ErrorTrap() {
  Display* const display = handler_->display;
  XSync(display, False);
  LockDisplay(display);
  DeqAsyncHandler(display, &handler_->link);
  UnlockDisplay(display);
}

bool ErrorTrap::caught() {
  XSync(handler_->display, False);
  return handler_->caught;
}

} // namespace zol::softgpu
