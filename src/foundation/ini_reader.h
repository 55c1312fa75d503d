#pragma once

#include "foundation/error_state.h"

#include <cstdio>

namespace zol {

// Reads an INI file line by line and hands each name/value pair to a callback. The first error is
// kept for getParserState().
class IniReader {
public:
  // Returns 0 to end the reading with an error.
  using Handler = int (*)(void* user, const char* section, const char* name, const char* value);

  explicit IniReader(const char* filename);
  ~IniReader();
  IniReader(const IniReader&) = delete;
  IniReader& operator=(const IniReader&) = delete;

  // Null while there is no error.
  ErrorState* getParserState() { return hasError ? &error : nullptr; }

  // 1 when the whole file was read, else 0.
  int parseIniFile(Handler handler, void* user);

private:
  void setError(int code, int line = 0);
  int fail(int code, int line = 0);

  bool hasError = false;
  FILE* file = nullptr;
  char* name = nullptr;
  ErrorState error{};
};

} // namespace zol
