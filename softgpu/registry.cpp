#include "softgpu/registry.h"

#include "softgpu/config_answers.h"
#include "softgpu/driver.h"
#include "softgpu/presentation_errors.h"

#include <X11/Xlibint.h>

#include <new>
#include <vector>

namespace zol::softgpu {

Registry& registry() {
  static auto* const theRegistry = new Registry;
  return *theRegistry;
}

void Registry::addPbuffer(Display* display, GLXPbuffer id, GLXFBConfig config) try {
  watch(display);
  const std::lock_guard lock(mutex_);
  pbuffers_[{display, id}] =
      std::make_shared<Pbuffer>(display, id, config, copyContexts(display, config));
  used_.store(true, std::memory_order_release);
} catch (const std::bad_alloc&) {
  // The pbuffer stays as the driver made it.
}

void Registry::addSingleBuffered(Display* display) try {
  takePresentationErrors(display);
  watch(display);
} catch (const std::bad_alloc&) {
  // The connection stays watched for what else it has, or not at all.
}

std::shared_ptr<CopyContexts> Registry::copyContexts(Display* display, GLXFBConfig config) {
  auto& known = copyContexts_[{display, config}];
  auto contexts = known.lock();
  if (!contexts) known = contexts = std::make_shared<CopyContexts>(display, config);
  return contexts;
}

std::shared_ptr<Pbuffer> Registry::removePbuffer(Display* display, GLXPbuffer id) {
  const std::lock_guard lock(mutex_);
  const auto found = pbuffers_.find({display, id});
  if (found == pbuffers_.end()) return nullptr;
  auto pbuffer = std::move(found->second);
  pbuffers_.erase(found);
  return pbuffer;
}

std::shared_ptr<Pbuffer> Registry::findPbuffer(Display* display, GLXDrawable id) const {
  if (!used_.load(std::memory_order_acquire) || id == None) return nullptr;
  const std::lock_guard lock(mutex_);
  const auto found = pbuffers_.find({display, id});
  return found == pbuffers_.end() ? nullptr : found->second;
}

std::shared_ptr<Context> Registry::findContext(Display* display, GLXContext handle, bool create) {
  if (!used_.load(std::memory_order_acquire) || !handle) return nullptr;
  {
    const std::lock_guard lock(mutex_);
    const auto found = contexts_.find(handle);
    if (found != contexts_.end()) return found->second;
  }
  if (!create || !driver.glXIsDirect(display, handle)) return nullptr;
  try {
    auto context = std::make_shared<Context>(display, handle);
    const std::lock_guard lock(mutex_);
    contexts_[handle] = context;
    return context;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

std::shared_ptr<Context> Registry::removeContext(GLXContext handle) {
  if (!used_.load(std::memory_order_acquire)) return nullptr;
  const std::lock_guard lock(mutex_);
  const auto found = contexts_.find(handle);
  if (found == contexts_.end()) return nullptr;
  auto context = std::move(found->second);
  contexts_.erase(found);
  return context;
}

void Registry::watch(Display* display) {
  {
    const std::lock_guard lock(mutex_);
    if (!watched_.insert(display).second) return;
  }
  XExtCodes* const codes = XAddExtension(display);
  if (!codes) {
    const std::lock_guard lock(mutex_);
    watched_.erase(display);
    throw std::bad_alloc();
  }
  XESetCloseDisplay(display, codes->extension, [](Display* closing, XExtCodes*) {
    registry().displayCloses(closing);
    return 0;
  });
}

void Registry::displayCloses(Display* display) {
  presentingDisplayCloses(display);
  configAnswers().displayCloses(display);
  std::map<DrawableKey, std::shared_ptr<Pbuffer>> pbuffers;
  std::map<ConfigKey, std::weak_ptr<CopyContexts>> copies;
  std::unordered_map<GLXContext, std::shared_ptr<Context>> contexts;
  {
    const std::lock_guard lock(mutex_);
    auto take = [](auto& from, auto& to, auto belongs) {
      for (auto entry = from.begin(); entry != from.end();) {
        auto here = entry++;
        if (belongs(*here)) to.insert(from.extract(here));
      }
    };
    const auto keyHasDisplay = [&](const auto& entry) { return entry.first.first == display; };
    take(pbuffers_, pbuffers, keyHasDisplay);
    take(copyContexts_, copies, keyHasDisplay);
    take(contexts_, contexts,
         [&](const auto& entry) { return entry.second->display() == display; });
    watched_.erase(display);
  }
  for (auto& [key, pbuffer] : pbuffers)
    pbuffer->displayCloses(pbuffer.use_count() > 1);
  for (auto& [key, weak] : copies)
    if (const auto strong = weak.lock()) strong->displayCloses();
}

} // namespace zol::softgpu
