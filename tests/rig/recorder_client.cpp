#include "rig/recorder.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

namespace zol::rig {

Recorder& recorder() {
  static Recorder* const instance = [] {
    void* const handle = dlopen(ZOL_RIG_VENDORS "/libGLX_recorder.so.0", RTLD_NOW);
    if (handle == nullptr) {
      std::fprintf(stderr, "the recording driver cannot be loaded: %s\n", dlerror());
      std::abort();
    }
    const auto get = reinterpret_cast<decltype(&zolRigRecorder)>(dlsym(handle, "zolRigRecorder"));
    if (get == nullptr) {
      std::fprintf(stderr, "the recording driver has no control side: %s\n", dlerror());
      std::abort();
    }
    return get();
  }();
  return *instance;
}

namespace {

bool listed(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

std::vector<std::string> texts(const std::vector<RecordedCall>& calls,
                               const std::vector<std::string>& without) {
  std::vector<std::string> result;
  for (const RecordedCall& call : calls) {
    if (!listed(without, call.name)) result.push_back(call.text);
  }
  return result;
}

std::vector<std::string> textsOfThread(const std::vector<RecordedCall>& calls, pid_t thread,
                                       const std::vector<std::string>& without) {
  std::vector<std::string> result;
  for (const RecordedCall& call : calls) {
    if (call.thread == thread && !listed(without, call.name)) result.push_back(call.text);
  }
  return result;
}

} // namespace zol::rig
