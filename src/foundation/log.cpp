#include "foundation/log.h"

#include "foundation/conf_settings.h"
#include "foundation/log_values.h"
#include "foundation/process.h"
#include "foundation/strings.h"

#include <cerrno>
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <locale.h>
#include <new>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

struct LogState {
  int level = 0;
  char* path = nullptr; // null when no directory is configured
  FILE* stream = nullptr;
};

constinit std::atomic<LogState*> logState{nullptr};

void destroy(LogState* state) {
  std::free(state->path);
  delete state;
}

// Makes the state visible; one that lost the race for being first is thrown away.
bool publish(LogState* state) {
  LogState* none = nullptr;
  const int level = state->level;
  if (!logState.compare_exchange_strong(none, state, std::memory_order_acq_rel)) {
    destroy(state);
    return false;
  }
  zol::logThreshold.store(level, std::memory_order_relaxed);
  return true;
}

int configuredLevel(const zol::conf::Settings& settings) {
  if (settings.verbose) return zol::LOG_LEVEL_DEBUG;
  constexpr const char* NAMES[] = {"error", "warning", "info", "debug"};
  int level = zol::LOG_LEVEL_ERROR;
  for (const char* name : NAMES) {
    if (settings.level && strcasecmp(settings.level, name) == 0) return level;
    ++level;
  }
  return zol::LOG_LEVEL_WARNING;
}

void executableBaseName(char* name, unsigned size) {
  char path[1024];
  const char* slash =
      zolGetCurrentProcessExe(path, sizeof(path)) > 0 ? strrchr(path, '/') : nullptr;
  zolSprintf(name, size, "%s", slash && slash[1] ? slash + 1 : "unknown");
}

// Two numbers written with a decimal point, whatever the program's locale is. Only this thread's
// locale is changed, and only for the moment.
bool parseUptime(const char* text, double* uptime) {
  double idle = 0;
  const locale_t c = newlocale(LC_NUMERIC_MASK, "C", nullptr);
  if (!c) return false;
  const locale_t previous = uselocale(c);
  const bool parsed = std::sscanf(text, "%lf %lf", uptime, &idle) == 2;
  uselocale(previous);
  freelocale(c);
  return parsed;
}

// Seconds since boot; false after a warning on standard error.
bool readUptime(double* uptime) {
  FILE* file = std::fopen("/proc/uptime", "r");
  if (!file) {
    std::fputs("WARNING: Cannot open /proc/uptime file", stderr);
    return false;
  }
  char text[1024];
  errno = 0;
  const size_t length = std::fread(text, 1, sizeof(text) - 1, file);
  const bool failed = std::ferror(file);
  const int error = errno;
  std::fclose(file);
  text[length] = '\0';
  if (failed) {
    std::fprintf(stderr, "WARNING: Cannot read /proc/uptime file: %s", strerror(error));
    return false;
  }
  if (!parseUptime(text, uptime)) {
    std::fputs("WARNING: Bad data in /proc/uptime file", stderr);
    return false;
  }
  return true;
}

// When the system was booted, in local time. The same for every process of one boot, deliberately:
// processes are told apart by name and id.
bool bootStamp(char* stamp, unsigned size) {
  double uptime = 0;
  if (!readUptime(&uptime)) return false;
  timeval now{};
  gettimeofday(&now, nullptr);
  const double boot =
      static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6 - uptime + 0.5;
  const auto seconds = static_cast<time_t>(boot);
  tm local{};
  localtime_r(&seconds, &local);
  zolSprintf(stamp, size, "%04d%02d%02d-%02d%02d%02d", local.tm_year + 1900, local.tm_mon + 1,
             local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  return true;
}

// A long program name loses its end, and what follows it, at the size of the buffer.
char* logPath(const char* directory) {
  const auto size = static_cast<unsigned>(std::strlen(directory) + 64);
  auto* path = static_cast<char*>(std::malloc(size));
  if (!path) return nullptr;
  char name[1024];
  executableBaseName(name, sizeof(name));
  char stamp[64];
  if (bootStamp(stamp, sizeof(stamp)))
    zolSprintf(path, size, "%s/zol-gl.%s.%s.%d.log", directory, stamp, name, getpid());
  else
    zolSprintf(path, size, "%s/zol-gl.%s.%d.log", directory, name, getpid());
  return path;
}

// A state without a stream, as the settings ask for; null without memory.
LogState* newState() {
  auto* state = new (std::nothrow) LogState;
  if (!state) return nullptr;
  const zol::conf::Settings& settings = zol::conf::settings();
  state->level = configuredLevel(settings);
  if (settings.directory && *settings.directory) state->path = logPath(settings.directory);
  return state;
}

FILE* openStream(const char* path) {
  FILE* stream = path ? std::fopen(path, "ae") : nullptr;
  if (!stream) return stderr;
  std::setbuf(stream, nullptr);
  return stream;
}

[[gnu::format(printf, 2, 0)]] void writeMessage(FILE* stream, const char* format,
                                                va_list arguments) {
  std::vfprintf(stream, format, arguments);
  std::fputs("\n", stream);
}

void writePrefix(FILE* stream, const char* tag, const char* levelName, const char* function) {
  timeval now{};
  gettimeofday(&now, nullptr);
  char date[32] = ""; // "Www Mmm dd hh:mm:ss yyyy\n"
  ctime_r(&now.tv_sec, date);
  char stamp[32];
  zolSprintf(stamp, sizeof(stamp), "%.15s:%06d", date + 4, static_cast<int>(now.tv_usec));
  std::fprintf(stream, "%c %s %ld:%ld %s (%s): ", *levelName, stamp, static_cast<long>(getpid()),
               static_cast<long>(syscall(SYS_gettid)), tag, function);
}

class ErrnoKeeper {
public:
  ~ErrnoKeeper() { errno = kept; }

private:
  int kept = errno;
};

} // namespace

bool get_log_params() {
  if (logState.load(std::memory_order_acquire)) return false;
  LogState* state = newState();
  return state && publish(state);
}

// The state is published with its stream, so that no concurrent first record is lost.
bool zol_open_log() {
  if (logState.load(std::memory_order_acquire)) return false;
  LogState* state = newState();
  if (!state) return false;
  state->stream = openStream(state->path);
  return publish(state);
}

bool zol_close_log() {
  LogState* state = logState.exchange(nullptr, std::memory_order_acq_rel);
  if (!state) return false;
  zol::logThreshold.store(zol::LOG_THRESHOLD_UNKNOWN, std::memory_order_relaxed);
  destroy(state);
  return true;
}

void zol_printlog(const char* tag, int level, const char* levelName, const char* function,
                  bool alsoStderr, const char* format, ...) {
  if (!format) return;
  const ErrnoKeeper errnoKeeper;
  if (!logState.load(std::memory_order_acquire)) zol_open_log();
  const LogState* state = logState.load(std::memory_order_acquire);
  if (!state) return;

  va_list arguments;
  if (alsoStderr) {
    std::fprintf(stderr, "%s: ", zol::text(levelName));
    va_start(arguments, format);
    writeMessage(stderr, format, arguments);
    va_end(arguments);
  }
  if (level <= state->level && state->stream) {
    writePrefix(state->stream, zol::text(tag), zol::text(levelName), zol::text(function));
    va_start(arguments, format);
    writeMessage(state->stream, format, arguments);
    va_end(arguments);
  }
}
