#pragma once

#include "softgpu/gl_headers.h"

#include <compare>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace zol::softgpu {

// What the driver has said of a display's visuals and FBConfigs, which never changes. Mesa goes
// through all configurations to answer for one, and who compares every visual with every
// configuration asks tens of thousands of times. Refusals are not kept. Never destroyed. Thread
// safety: all operations.
class ConfigAnswers {
public:
  // The id of a visual with the screen that is asked for it, or an FBConfig, which belongs to one.
  struct Subject {
    int screen;
    std::uintptr_t id;
    auto operator<=>(const Subject&) const = default;
  };
  static Subject visual(const XVisualInfo& info) { return {info.screen, info.visualid}; }
  static Subject config(GLXFBConfig config) {
    return {noScreen, reinterpret_cast<std::uintptr_t>(config)};
  }

  // An answer that is known, or the one that driverAnswer(value) gives now.
  template <class Ask>
  int get(Display* display, Subject subject, int attribute, int* value, const Ask& driverAnswer) {
    if (find(display, subject, attribute, value)) return 0;
    const int error = driverAnswer(value);
    if (error == 0) keep(display, subject, attribute, *value);
    return error;
  }
  void displayCloses(Display* display);

private:
  static constexpr int noScreen = -1;
  using Answers = std::vector<std::pair<int, int>>; // attribute and value

  bool find(Display* display, Subject subject, int attribute, int* value);
  void keep(Display* display, Subject subject, int attribute, int value);

  std::mutex mutex_;
  std::map<std::pair<Display*, Subject>, Answers> answers_; // guarded by mutex_
};

ConfigAnswers& configAnswers();

} // namespace zol::softgpu
