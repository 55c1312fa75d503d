#include "setting_table.h"

#include "foundation/settings.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace zol::tools {

namespace {

// Types and defaults of the rows, as this table has them.
struct Flag {
  static constexpr SettingType kType = SettingType::flag;
  static constexpr const char* text(bool value) { return value ? "true" : "false"; }
};
using SharedFlag = Flag;

struct Number {
  static constexpr SettingType kType = SettingType::number;
};

struct Text {
  static constexpr SettingType kType = SettingType::text;
  static constexpr const char* text(const char* value) { return value; }
};

template <class Type>
constexpr const char* defaultText(auto value, const char* spelled) {
  if constexpr (Type::kType == SettingType::number)
    return spelled;
  else
    return Type::text(value);
}

constexpr Setting kTable[] = {
#define ZOL_SETTING(field, key, section, env, type, def)                                           \
  {key, section, env, type::kType, defaultText<type>(def, #def)},
#include "foundation/conf_settings.def"
};

// The number of letters to insert, remove or change that makes one text of the other.
size_t distance(std::string_view from, std::string_view to) {
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

using Name = const char* Setting::*;

const Setting* find(Name name, std::string_view text) {
  const auto found = std::ranges::find(kTable, text, name);
  return found == std::end(kTable) ? nullptr : &*found;
}

const Setting* nearest(Name name, std::string_view text) {
  const auto farness = [&](const Setting& setting) { return distance(text, setting.*name); };
  const auto found = std::ranges::min_element(kTable, {}, farness);
  return farness(*found) <= std::max<size_t>(2, text.size() / 3) ? &*found : nullptr;
}

} // namespace

std::span<const Setting> settingTable() {
  return kTable;
}

const Setting* findSetting(std::string_view key) {
  return find(&Setting::key, key);
}

const Setting* findSettingOfVariable(std::string_view variable) {
  return find(&Setting::variable, variable);
}

const Setting* nearestSetting(std::string_view key) {
  return nearest(&Setting::key, key);
}

const Setting* nearestSettingOfVariable(std::string_view variable) {
  return nearest(&Setting::variable, variable);
}

const char* valuesOf(SettingType type) {
  switch (type) {
  case SettingType::flag:
    return "true, false, 1 or 0";
  case SettingType::number:
    return "a whole number";
  case SettingType::text:
    break;
  }
  return "a text that is not empty";
}

bool isValueOf(SettingType type, const std::string& text) {
  bool invalid = false;
  switch (type) {
  case SettingType::flag:
    Settings::toBool(text.c_str(), &invalid);
    return !invalid;
  case SettingType::number:
    Settings::toInt(text.c_str(), &invalid);
    return !invalid;
  case SettingType::text:
    break;
  }
  return !text.empty() && text != "<null>";
}

} // namespace zol::tools
