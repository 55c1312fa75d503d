#include "softgpu/presentation_errors.h"

#include <X11/Xlibint.h>
#include <X11/extensions/shmproto.h>

#undef max // Xlibint.h has macros of these names
#undef min

#include <map>
#include <memory>
#include <mutex>
#include <new>

namespace zol::softgpu {
namespace {

constexpr int kFirstExtension = 128; // major opcode

bool isPutImage(const xError& error) {
  return error.majorCode == X_PutImage ||
         (error.majorCode >= kFirstExtension && error.minorCode == X_ShmPutImage);
}

Bool take(Display*, xReply* reply, char*, int, XPointer) {
  return reply->generic.type == X_Error && reply->error.errorCode == BadMatch &&
                 isPutImage(reply->error)
             ? True
             : False;
}

// The handlers of the connections, never held while one of these is locked.
std::mutex handlersMutex;
std::map<Display*, std::unique_ptr<_XAsyncHandler>>& handlers() {
  static auto* const all = new std::map<Display*, std::unique_ptr<_XAsyncHandler>>;
  return *all;
}

} // namespace

void takePresentationErrors(Display* display) try {
  _XAsyncHandler* handler = nullptr;
  {
    const std::lock_guard lock(handlersMutex);
    auto& entry = handlers()[display];
    if (entry) return;
    entry = std::make_unique<_XAsyncHandler>();
    handler = entry.get();
  }
  handler->handler = take;
  LockDisplay(display);
  handler->next = display->async_handlers;
  display->async_handlers = handler;
  UnlockDisplay(display);
} catch (const std::bad_alloc&) {
  // The program hears of the errors.
}

void presentingDisplayCloses(Display* display) {
  std::unique_ptr<_XAsyncHandler> handler;
  {
    const std::lock_guard lock(handlersMutex);
    const auto found = handlers().find(display);
    if (found == handlers().end()) return;
    handler = std::move(found->second);
    handlers().erase(found);
  }
  DeqAsyncHandler(display, handler.get()); // XCloseDisplay has the connection to itself
}

} // namespace zol::softgpu
