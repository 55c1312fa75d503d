#pragma once

#include "foundation/heap_text.h"
#include "foundation/ini_file.h"

#include <memory>

namespace zol {

// Where the value of a setting comes from.
enum class SettingSource { ADMIN_FILE, ENVIRONMENT, USER_FILE, SYSTEM_FILE, DEFAULT };

// Where the three files would be; null where no place can be formed.
struct SettingsPaths {
  explicit SettingsPaths(const char* fileName);

  HeapText admin;
  HeapText user;
  HeapText system;
};

// Looks settings up in four sources: the admin file in the current directory, the environment, the
// user's file, the system's file, in this order. A value that does not convert to the wanted type
// does not end the search. A program that has more rights than its caller (set-user-id, file
// capabilities) has the system's file alone.
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

  // A variable whose value does not fit, terminator included, is as good as unset.
  static constexpr size_t BOOL_VARIABLE_SIZE = 8;
  static constexpr size_t NUMBER_VARIABLE_SIZE = 32;
  static constexpr size_t STRING_VARIABLE_SIZE = 1024;

  // A `source` that is not null is told where the value comes from.
  bool boolSetting(const char* envName, const char* section, const char* key, bool def,
                   SettingSource* source = nullptr) const;
  int intSetting(const char* envName, const char* section, const char* key, int def,
                 SettingSource* source = nullptr) const;
  double doubleSetting(const char* envName, const char* section, const char* key, double def,
                       SettingSource* source = nullptr) const;
  // The caller frees the result; it may be null.
  char* stringSetting(const char* envName, const char* section, const char* key, const char* def,
                      SettingSource* source = nullptr) const;

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
