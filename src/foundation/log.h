#pragma once

#include <atomic>
#include <climits>

// The library's log: one record a line, "<letter> <time> <pid>:<tid> <tag> (<function>):
// <message>", in the file that the settings name or on standard error. Use the macros at the end: a
// record that will not be written costs them one load and one compare.
//
// Thread safety: any thread may log. Records are written in three pieces without a lock, so records
// of concurrent threads may interleave.

// Writes one record. With alsoStderr the message goes to standard error too, whatever the level.
// The first record opens the log. errno is preserved.
[[gnu::format(printf, 6, 7)]] void zol_printlog(const char* tag, int level, const char* levelName,
                                                const char* function, bool alsoStderr,
                                                const char* format, ...);

// Creates the log state and opens its stream; false when it exists already or cannot be created.
bool zol_open_log();

// Forgets the log state; the stream stays open. False when there was none.
bool zol_close_log();

// Creates the log state without a stream: the level and the path that the settings ask for. False
// when it exists already or there is no memory.
bool get_log_params();

namespace zol {

enum LogLevel : int { LOG_LEVEL_ERROR = 1, LOG_LEVEL_WARNING, LOG_LEVEL_INFO, LOG_LEVEL_DEBUG };

// While there is no log state every record has to reach zol_printlog, which then creates it.
inline constexpr int LOG_THRESHOLD_UNKNOWN = INT_MAX;

// The level of the log state. Written by log.cpp only.
inline constinit std::atomic<int> logThreshold{LOG_THRESHOLD_UNKNOWN};

// Whether a record of this level has to be handed to zol_printlog.
inline bool logWanted(int level) {
  return level <= logThreshold.load(std::memory_order_relaxed);
}

} // namespace zol

// A record under the label of another function:
//   ZOL_LOG_AS("ZOLGL", DEBUG, "void f()", "value %d", value)
#define ZOL_LOG_AS(tag, level, label, ...)                                                         \
  do {                                                                                             \
    if (zol::logWanted(zol::LOG_LEVEL_##level))                                                    \
      zol_printlog(tag, zol::LOG_LEVEL_##level, #level, label, false, __VA_ARGS__);                \
  } while (false)

// The same, and to standard error whatever the level.
#define ZOL_LOG_STDERR_AS(tag, level, label, ...)                                                  \
  zol_printlog(tag, zol::LOG_LEVEL_##level, #level, label, true, __VA_ARGS__)

// level is ERROR, WARNING, INFO or DEBUG, unquoted.
#define ZOLGL_LOG_AS(label, level, ...) ZOL_LOG_AS("ZOLGL", level, label, __VA_ARGS__)
#define ZOLGL_LOG_STDERR_AS(label, level, ...) ZOL_LOG_STDERR_AS("ZOLGL", level, label, __VA_ARGS__)

#define ZOLGL_DEBUG(...) ZOLGL_LOG_AS(__PRETTY_FUNCTION__, DEBUG, __VA_ARGS__)
#define ZOLGL_INFO(...) ZOLGL_LOG_AS(__PRETTY_FUNCTION__, INFO, __VA_ARGS__)
#define ZOLGL_WARNING(...) ZOLGL_LOG_AS(__PRETTY_FUNCTION__, WARNING, __VA_ARGS__)
#define ZOLGL_ERROR(...) ZOLGL_LOG_AS(__PRETTY_FUNCTION__, ERROR, __VA_ARGS__)
#define ZOLGL_INFO_STDERR(...) ZOLGL_LOG_STDERR_AS(__PRETTY_FUNCTION__, INFO, __VA_ARGS__)
#define ZOLGL_ERROR_STDERR(...) ZOLGL_LOG_STDERR_AS(__PRETTY_FUNCTION__, ERROR, __VA_ARGS__)

// For the foundation classes.
#define ZOL_DEBUG(...) ZOL_LOG_AS("ZOL", DEBUG, __PRETTY_FUNCTION__, __VA_ARGS__)
#define ZOL_ERROR(...) ZOL_LOG_AS("ZOL", ERROR, __PRETTY_FUNCTION__, __VA_ARGS__)
