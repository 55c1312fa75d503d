#pragma once

#include "foundation/error_state.h"

namespace zol {

// The pairs of one INI file in memory. Sections and names are case-insensitive, and are kept and
// written back in upper case. A file that did not parse is in error state: it refuses every access,
// with a line on standard error, until it is parsed again successfully.
//
// Thread safety: none; concurrent readers are fine.
class IniFile {
public:
  IniFile();
  IniFile(const char* filename, bool parse);
  virtual ~IniFile();
  IniFile(const IniFile&) = delete;
  IniFile& operator=(const IniFile&) = delete;

  const char* getFilename() const;
  void setFilename(const char* filename, bool parse);

  // Null: the current file name. Replaces every pair.
  bool parse(const char* filename);
  bool write(const char* filename);

  // Owned by the file, valid until the pair changes; null when absent.
  const char* getValue(const char* section, const char* name) const;

  // Non-zero when something was stored or removed, but also when the arguments were refused with a
  // message (the count of characters written).
  int setValue(const char* section, const char* name, const char* value, bool keepExisting);
  int removeValue(const char* section, const char* name);

  // The error of the last parse; null while the file is healthy.
  ErrorState* getParserState() const;

private:
  struct Private;
  Private* d;
};

} // namespace zol
