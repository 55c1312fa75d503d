#pragma once

#include <string>
#include <vector>

// What the code under test did to the world around it: every fake records its call here, and the
// library's log arrives here instead of in a file.
namespace recording {

// One line a call, in order.
std::vector<std::string>& calls();
[[gnu::format(printf, 1, 2)]] void call(const char* format, ...);

// The mutexes that the thread held at each call, in the order of locking.
std::vector<std::vector<const void*>>& locksAtCalls();

struct LogRecord {
  std::string level;
  std::string label;
  std::string message;
  bool alsoStderr;
  bool locked; // the thread held a mutex
};
std::vector<LogRecord>& log();

// "LEVEL message", one for each record.
std::vector<std::string> messages();

void clear();

// Whether the thread holds the mutex at this address.
bool holds(const void* mutex);

// Whether the thread locked `inner` while it held `outer`.
bool lockedInside(const void* outer, const void* inner);

} // namespace recording
