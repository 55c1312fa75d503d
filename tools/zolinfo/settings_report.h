#pragma once

#include "../setting_table.h"
#include "foundation/settings.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace zol::tools {

// One of the three settings files.
struct SettingsFile {
  // unused: healthy, but out of use because the system file is broken
  enum class State { absent, read, broken, unused };
  struct Entry {
    std::string section;
    std::string key;
    std::string value;
  };

  SettingSource source;
  State state = State::absent;
  std::string path;           // absolute; empty where no place can be formed
  int line = 0;               // of the error in a broken file; 0 where no line applies
  std::string reason;         // why it is broken
  std::vector<Entry> entries; // as they stand in the file, up to the error
};

// A setting as the library takes it.
struct SettingValue {
  const Setting* setting;
  std::optional<std::string> value;
  SettingSource source;

  bool isSet() const { return source != SettingSource::DEFAULT; }
};

// What the library would find, were it loaded in the current folder with this environment.
struct SettingsReport {
  std::array<SettingsFile, 3> files; // admin, user, system
  std::vector<SettingValue> values;  // in the order of the table

  const SettingValue& operator[](std::string_view key) const; // one of the table's keys
  int number(std::string_view key) const;
  bool flag(std::string_view key) const;
};

// Reads them once for the process. Writes nothing to standard error.
SettingsReport readSettings();

const char* nameOf(SettingSource source); // "admin file"
const char* nameOf(SettingType type);     // "bool"

// Where a value stands, for messages: "the variable ZOL_GL_DISPLAY", "the user file /..".
std::string placeOf(const SettingsReport& report, const SettingValue& value);

} // namespace zol::tools
