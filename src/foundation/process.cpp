#include "foundation/process.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>

int zolGetCurrentProcessExe(char* buffer, unsigned size) {
  const ssize_t stored = readlink("/proc/self/exe", buffer, size);
  if (stored < 1) return -1;
  const auto length = std::min(static_cast<unsigned>(stored), size - 1);
  buffer[length] = '\0';
  return static_cast<int>(length);
}

void zolGetCurrentProcessName(char* buffer, unsigned size) {
  bool read = false;
  // The arguments there are separated by NUL characters, so the text read ends with the first.
  if (FILE* file = std::fopen("/proc/self/cmdline", "r")) {
    read = std::fgets(buffer, static_cast<int>(size), file) && buffer[0];
    std::fclose(file);
  }
  constexpr char kUnknown[] = "Unknown";
  if (!read && size >= sizeof kUnknown) std::memcpy(buffer, kUnknown, sizeof kUnknown);
}
