#pragma once

// Formats into the buffer, always terminated when size > 0. Returns how many characters were kept.
[[gnu::format(printf, 3, 4)]] int zolSprintf(char* buffer, unsigned size, const char* format, ...);

// Stores heap copies of the tokens of `text` into `parts`, which the caller frees, and returns how
// many entries were stored. Empty fields vanish. A text with no token at all yields one null entry;
// the first entry is written even when maxParts is 0.
unsigned zolStrsplit(const char* text, char** parts, unsigned maxParts, const char* delimiters);

// Joins path components, ended by a null pointer, with single slashes. A heap string, an empty one
// without any component; null when the path is too long.
[[gnu::sentinel]] char* zolBuildFilename(const char* first, ...);
