#include "softgpu/config_answers.h"

#include "softgpu/registry.h"

#include <algorithm>
#include <new>

namespace zol::softgpu {

ConfigAnswers& configAnswers() {
  static auto* const theAnswers = new ConfigAnswers;
  return *theAnswers;
}

bool ConfigAnswers::find(Display* display, Subject subject, int attribute, int* value) {
  const std::lock_guard lock(mutex_);
  const auto known = answers_.find({display, subject});
  if (known == answers_.end()) return false;
  const auto answer = std::find_if(known->second.begin(), known->second.end(),
                                   [=](const auto& pair) { return pair.first == attribute; });
  if (answer == known->second.end()) return false;
  *value = answer->second;
  return true;
}

void ConfigAnswers::keep(Display* display, Subject subject, int attribute, int value) try {
  registry().watch(display); // before: the answers go with the display
  const std::lock_guard lock(mutex_);
  answers_[{display, subject}].emplace_back(attribute, value);
} catch (const std::bad_alloc&) {
  // The driver is asked again.
}

void ConfigAnswers::displayCloses(Display* display) {
  const std::lock_guard lock(mutex_);
  std::erase_if(answers_, [=](const auto& entry) { return entry.first.first == display; });
}

} // namespace zol::softgpu
