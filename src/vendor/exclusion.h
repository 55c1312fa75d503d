#pragma once

// Which programs the library leaves alone: system tools always, browsers unless allowed, and
// whatever the deny lists name.

enum class Exclusion { NONE, SYSTEM_TOOL, BROWSER, REMOTE_DISPLAY_AGENT, DENYLIST, BLACKLIST };

// Why a program with this executable is left alone.
Exclusion exclusionOf(const char* exe);

// Whether the running program must not use the library; says so in the log and on standard error.
bool isExcluded();

// A plain suffix test, deliberately without regard to path separators: "fox" matches ".../firefox".
bool matchAppName(const char* name, const char* exe);

// Whether an entry of `list` (separated by colons, blanks, tabs or newlines; null: empty) matches.
bool containsString(const char* list, const char* exe);
