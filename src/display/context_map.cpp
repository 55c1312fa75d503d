#include "display/context_map.h"

#include "foundation/immortal.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "visual/visual_map.h"

#include <memory>
#include <utility>

using zol::MutexLock;
using zol::gl::ContextInfo;

zol::Mutex* getContextMutex() {
  static zol::Immortal<zol::Mutex> mutex(false);
  return mutex.get();
}

zol::Map<GLXContext, ContextInfo*>* getContextMap() {
  static zol::Immortal<zol::Map<GLXContext, ContextInfo*>> map;
  return map.get();
}

ContextInfo* findContext(GLXContext context) {
  ContextInfo** const found = getContextMap()->find(context);
  return found != nullptr ? *found : nullptr;
}

void addToContextMap(Display* dpy, GLXContext context, zol::gl::LocalVisualInfo* lvi,
                     GLXFBConfig fbconfig) {
  auto info = std::make_unique<ContextInfo>();
  info->appDisplay = dpy;
  info->context = context;
  info->lvi = lvi;
  info->fbconfig = fbconfig;
  info->drawBuffer = lvi->doubleBuffered != 0 ? GL_BACK : GL_FRONT;

  std::unique_ptr<const ContextInfo> replaced;
  {
    const MutexLock lock(getContextMutex());
    ContextInfo*& entry = (*getContextMap())[context];
    replaced.reset(std::exchange(entry, info.release()));
  }
  ZOLGL_DEBUG("added context %x to the map.", zol::hex32(context));
}

GLXFBConfig getFBConfig(GLXContext context) {
  {
    const MutexLock lock(getContextMutex());
    if (const ContextInfo* const info = findContext(context)) return info->fbconfig;
  }
  ZOLGL_ERROR("context not found.");
  return nullptr;
}

bool livesOnlyWhileCurrent(GLXContext context) {
  if (context == nullptr) return false;
  const MutexLock lock(getContextMutex());
  const ContextInfo* const info = findContext(context);
  return info != nullptr && info->destroyed;
}

bool anyContextOn(Display* appDisplay) {
  const MutexLock lock(getContextMutex());
  for (const auto& node : *getContextMap()) {
    if (node.value != nullptr && node.value->appDisplay == appDisplay) return true;
  }
  return false;
}
