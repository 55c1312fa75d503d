#include "visual/recording.h"

#include "foundation/log.h"
#include "foundation/runtime_symbols.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <gtest/gtest.h>
#include <set>
#include <utility>

namespace recording {

namespace {

[[gnu::format(printf, 1, 0)]] std::string formatted(const char* format, va_list arguments) {
  char text[8192];
  vsnprintf(text, sizeof(text), format, arguments);
  return text;
}

thread_local std::vector<const void*> held;
thread_local std::set<std::pair<const void*, const void*>> nestings; // outer, inner
decltype(&::pthread_mutex_lock) realLock;
decltype(&::pthread_mutex_unlock) realUnlock;

int recordingLock(pthread_mutex_t* mutex) noexcept {
  const int result = realLock(mutex);
  for (const void* const outer : held)
    nestings.emplace(outer, mutex);
  held.push_back(mutex);
  return result;
}

int recordingUnlock(pthread_mutex_t* mutex) noexcept {
  held.erase(std::remove(held.begin(), held.end(), mutex), held.end());
  return realUnlock(mutex);
}

class RuntimeSymbolsEnvironment : public testing::Environment {
public:
  void SetUp() override {
    ASSERT_TRUE(zol::initRuntimeSymbols());
    realLock = zol::runtimeSymbols.pthread_mutex_lock;
    realUnlock = zol::runtimeSymbols.pthread_mutex_unlock;
    zol::runtimeSymbols.pthread_mutex_lock = recordingLock;
    zol::runtimeSymbols.pthread_mutex_unlock = recordingUnlock;
  }
};

const auto* const environment = testing::AddGlobalTestEnvironment(new RuntimeSymbolsEnvironment);

} // namespace

std::vector<std::string>& calls() {
  static std::vector<std::string> lines;
  return lines;
}

std::vector<std::vector<const void*>>& locksAtCalls() {
  static std::vector<std::vector<const void*>> locks;
  return locks;
}

void call(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  calls().push_back(formatted(format, arguments));
  locksAtCalls().push_back(held);
  va_end(arguments);
}

std::vector<LogRecord>& log() {
  static std::vector<LogRecord> records;
  return records;
}

std::vector<std::string> messages() {
  std::vector<std::string> lines;
  for (const LogRecord& record : log())
    lines.push_back(record.level + " " + record.message);
  return lines;
}

void clear() {
  calls().clear();
  locksAtCalls().clear();
  log().clear();
  nestings.clear();
}

bool holds(const void* mutex) {
  return std::find(held.begin(), held.end(), mutex) != held.end();
}

bool lockedInside(const void* outer, const void* inner) {
  return nestings.contains({outer, inner});
}

} // namespace recording

// Stands in for the log of the library.
void zol_printlog(const char*, int, const char* levelName, const char* function, bool alsoStderr,
                  const char* format, ...) {
  char text[8192];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  recording::log().push_back({levelName, function, text, alsoStderr, !recording::held.empty()});
}
