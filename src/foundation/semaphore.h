#pragma once

#include <cstdint>
#include <semaphore.h>

namespace zol {

// A POSIX semaphore of this process. Failures are logged at DEBUG and reported as false.
class Semaphore {
public:
  explicit Semaphore(uint32_t initial);
  virtual ~Semaphore();
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  bool P(); // wait; resumed when a signal interrupts it
  bool V(); // post

private:
  sem_t semaphore;
};

} // namespace zol
