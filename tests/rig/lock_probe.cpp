#include "rig/lock_probe.h"

#include "rig/outside.h"
#include "rig/recorder.h"

#include <chrono>
#include <fstream>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace zol::rig {
namespace {

// What a thread of this process asked of the kernel and waits for; "running" while it does not.
std::string systemCall(pid_t thread) {
  std::ifstream stream("/proc/self/task/" + std::to_string(thread) + "/syscall");
  std::string line;
  std::getline(stream, line);
  return line;
}

} // namespace

// Waiting for the same lock at both looks, so not for one that is let go of in between.
bool waitsForLock(pid_t thread) {
  const std::string first = systemCall(thread);
  if (first.rfind(std::to_string(SYS_futex) + ' ', 0) != 0) return false;
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  return systemCall(thread) == first;
}

LockProbe::LockProbe(std::string function, std::function<void()> question)
    : function_(std::move(function)), question_(std::move(question)) {
  setHook([this] { ask(); });
}

LockProbe::LockProbe(const VendorHost& host, Display* display, std::string function)
    : LockProbe(std::move(function), [display, query = GL_OF(host, glXQueryExtension)] {
        int errorBase = 0, eventBase = 0;
        query(display, &errorBase, &eventBase);
      }) {}

LockProbe::~LockProbe() {
  setHook(nullptr);
  if (thread_.joinable()) thread_.join();
}

void LockProbe::setHook(std::function<void()> hook) {
  recorder().setHook(function_, hook);
  outside::setHook(function_, std::move(hook));
}

void LockProbe::ask() {
  setHook(nullptr);
  called_ = true;
  thread_ = std::thread([this] {
    id_ = gettid();
    question_();
    answered_ = true;
  });
  while (!answered_ && (id_ == 0 || !waitsForLock(id_)))
    std::this_thread::yield();
  held_ = !answered_;
}

} // namespace zol::rig
