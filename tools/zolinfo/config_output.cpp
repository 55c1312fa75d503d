#include "output.h"
#include "output_parts.h"
#include "text_table.h"

namespace zol::tools {

namespace {

const char* nameOf(SettingsFile::State state) {
  switch (state) {
  case SettingsFile::State::absent:
    return "absent";
  case SettingsFile::State::read:
    return "read";
  case SettingsFile::State::broken:
    return "broken";
  case SettingsFile::State::unused:
    break;
  }
  return "unused";
}

std::string describe(const SettingsFile& file) {
  if (file.state == SettingsFile::State::unused) {
    return "not used, because the system file is broken";
  }
  if (file.state != SettingsFile::State::broken) return nameOf(file.state);
  const std::string line = file.line ? " in line " + std::to_string(file.line) : std::string();
  return "BROKEN" + line + ": " + file.reason;
}

std::string shown(const std::optional<std::string>& value) {
  return value.value_or("(unset)");
}

std::optional<std::string> defaultOf(const Setting& setting) {
  return setting.defaultText ? std::optional<std::string>(setting.defaultText) : std::nullopt;
}

} // namespace

std::string configTextOf(const SettingsReport& settings, const Findings& findings) {
  TextTable files;
  for (const SettingsFile& file : settings.files)
    files.add({nameOf(file.source), file.path.empty() ? "(no place)" : file.path, describe(file)});
  TextTable values;
  values.add({"section", "key", "type", "value", "default", "from"});
  for (const SettingValue& value : settings.values) {
    const Setting& setting = *value.setting;
    values.add({setting.section, setting.key, nameOf(setting.type), shown(value.value),
                shown(defaultOf(setting)), nameOf(value.source)});
  }
  std::string text = files.text() + "\n" + values.text();
  if (!findings.empty()) text += "\n" + findingsText(findings);
  return text;
}

std::string configJsonOf(const SettingsReport& settings, const Findings& findings) {
  const auto textOrNull = [](const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
  };
  JsonWriter json;
  json.beginObject().key("files").beginArray();
  for (const SettingsFile& file : settings.files) {
    json.beginObject()
        .pair("source", nameOf(file.source))
        .pair("path", file.path)
        .pair("state", nameOf(file.state));
    if (file.state == SettingsFile::State::broken) {
      json.pair("line", file.line).pair("reason", file.reason);
    }
    json.endObject();
  }
  json.endArray().key("settings").beginArray();
  for (const SettingValue& value : settings.values) {
    const Setting& setting = *value.setting;
    json.beginObject()
        .pair("section", setting.section)
        .pair("key", setting.key)
        .pair("variable", setting.variable)
        .pair("type", nameOf(setting.type))
        .pair("value", textOrNull(value.value))
        .pair("default", setting.defaultText)
        .pair("source", nameOf(value.source))
        .endObject();
  }
  json.endArray();
  writeFindings(json, findings);
  return json.endObject().text();
}

} // namespace zol::tools
