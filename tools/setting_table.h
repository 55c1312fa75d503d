#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace zol::tools {

enum class SettingType { flag, number, text };

// One setting of the library, as settings files and the environment name it.
struct Setting {
  const char* key;
  const char* section;
  const char* variable;
  SettingType type;
  const char* defaultText; // as a settings file would have it; null for none
};

// In the order in which the library reads them.
std::span<const Setting> settingTable();

const Setting* findSetting(std::string_view key);                // null for none
const Setting* findSettingOfVariable(std::string_view variable); // null for none

// The setting whose key, or whose variable, is spelled most like the text; null when none is near.
const Setting* nearestSetting(std::string_view key);
const Setting* nearestSettingOfVariable(std::string_view variable);

// What values of the type are, for messages: "true, false, 1 or 0".
const char* valuesOf(SettingType type);

// Whether the library takes the text for a value of the type.
bool isValueOf(SettingType type, const std::string& text);

} // namespace zol::tools
