#pragma once

#include "foundation/runtime_symbols.h"

#include <atomic>
#include <cstdint>

namespace zol {

// Runs callback(object) on a new thread. A derived class T calls start() in its constructor; it
// must outlive the thread, which the base neither stops nor joins when it is destroyed.
template <class T>
class Thread {
public:
  using Callback = int (*)(T*);

  virtual ~Thread() {}
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // The start routine; `self` is the Thread.
  static void* svc(void* self) {
    auto* thread = static_cast<Thread*>(self);
    ++thread->running;
    const int result = thread->callback(thread->object);
    --thread->running;
    return reinterpret_cast<void*>(static_cast<intptr_t>(result));
  }

protected:
  Thread() = default;

  // False when a thread is running already or none could be created.
  bool start(T* newObject, Callback newCallback) {
    if (running != 0) return false;
    object = newObject;
    callback = newCallback;
    if (runtimeSymbols.pthread_create(&handle, nullptr, svc, static_cast<Thread*>(this)) != 0)
      return false;
    handleCopy = handle;
    status = 0;
    return true;
  }

  bool started() const { return status == 0; }
  bool inCallback() const { return running != 0; }

  // Waits for the end of the thread, but only while its callback is in progress; then, calls
  // aboutToWait() before.
  template <class Announcement>
  void joinRunning(Announcement aboutToWait) {
    if (running == 0) return;
    aboutToWait();
    runtimeSymbols.pthread_join(handle, nullptr);
  }
  void joinRunning() {
    joinRunning([] {});
  }

private:
  pthread_t handle{};
  pthread_t handleCopy{};
  int status = -1;             // 0 once the thread is started
  std::atomic<int> running{0}; // callbacks in progress; the joining thread reads it
  T* object = nullptr;
  Callback callback = nullptr;
};

} // namespace zol
