#pragma once

#include "foundation/ini_file.h"

#include <memory>

namespace zol {

// Looks settings up in four sources: the admin file in the current directory, the environment, the
// user's file, the system's file, in this order. A value that does not convert to the wanted type
// does not end the search.
//
// Thread safety: parse() and closeIniFiles() must not run beside look-ups.
class Settings {
public:
  // Finds the three files; only those that exist now are ever read.
  explicit Settings(const char* fileName);
  virtual ~Settings();
  Settings(const Settings&) = delete;
  Settings& operator=(const Settings&) = delete;

  // Reads the files. One that cannot be parsed is reported on standard error and dropped.
  virtual void parse();
  void closeIniFiles();

  bool boolSetting(const char* envName, const char* section, const char* key, bool def) const;
  int intSetting(const char* envName, const char* section, const char* key, int def) const;
  double doubleSetting(const char* envName, const char* section, const char* key, double def) const;
  // The caller frees the result; it may be null.
  char* stringSetting(const char* envName, const char* section, const char* key,
                      const char* def) const;

  // *invalid tells whether the text is no value of the type; the result then means nothing. An
  // empty text and "<null>" are values of no type.
  static bool toBool(const char* text, bool* invalid);
  static int toInt(const char* text, bool* invalid);
  static double toDouble(const char* text, bool* invalid);
  // A heap copy; null when the text is invalid or there is no memory.
  static char* toString(const char* text);

private:
  std::unique_ptr<IniFile> adminFile;
  std::unique_ptr<IniFile> userFile;
  std::unique_ptr<IniFile> systemFile;
};

} // namespace zol
