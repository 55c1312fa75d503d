#include "settings_findings.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <strings.h>
#include <unistd.h>

namespace zol::tools {

namespace {

constexpr char kPrefix[] = "ZOL_GL_";
constexpr char kOtherVariable[] = "ZOL_GL_USER_CONFDIR"; // says where the user file is

// Read by the library, and used by no part of it.
constexpr std::string_view kWithoutEffect[] = {
    "cleanup-atexit",
    "disable-zol-gl-unload",
    "debug-wait",
    "free-drawables-without-context",
};

constexpr const char* kLogLevels[] = {"error", "warning", "info", "debug"};

class Collector {
public:
  explicit Collector(const SettingsReport& report) : report_(report) {}

  void files() {
    for (const SettingsFile& file : report_.files) {
      const std::string name = std::string("the ") + nameOf(file.source) + " " + file.path;
      if (file.state == SettingsFile::State::broken) {
        warn(sentence(name) + " is broken" +
                 (file.line ? " in line " + std::to_string(file.line) : std::string()) + ": " +
                 file.reason + " Nothing in it counts.",
             "Mend the line, or remove the file.");
      } else if (file.state == SettingsFile::State::unused) {
        warn(sentence(name) + " is not used, because the system file is broken.",
             "Mend the system file.");
      } else if (file.state == SettingsFile::State::read) {
        if (file.source == SettingSource::ADMIN_FILE) adminFile(file);
        for (const SettingsFile::Entry& entry : file.entries)
          fileEntry(name, entry);
      }
    }
  }

  void variables() {
    std::map<std::string, std::string> sorted; // the environment has no order of its own
    for (char** variable = environ; *variable; ++variable) {
      char* const end = strchr(*variable, '=');
      if (end && strncmp(*variable, kPrefix, strlen(kPrefix)) == 0) {
        sorted.emplace(std::string(*variable, end), end + 1);
      }
    }
    for (const auto& [name, value] : sorted)
      environmentVariable(name, value);
  }

  void values() {
    for (std::string_view key : kWithoutEffect) {
      const SettingValue& value = report_[key];
      if (!value.isSet()) continue;
      warn(quoted(value.setting->key) + " is set to " + *value.value + ", but it changes nothing.",
           "Remove it from " + placeOf(report_, value) + ".");
    }
    readbackInterval();
    logLevel();
  }

  Findings found;

private:
  void warn(std::string text, std::string advice) {
    found.push_back({Finding::Level::warning, "settings", std::move(text), std::move(advice)});
  }

  void adminFile(const SettingsFile& file) {
    warn("The admin file " + file.path +
             " is in the current folder: it stands above every other source, for programs that are "
             "started here.",
         "Remove it, or start programs from another folder, if that is not meant.");
  }

  void fileEntry(const std::string& fileName, const SettingsFile::Entry& entry) {
    const auto table = settingTable();
    const auto row = std::ranges::find_if(table, [&](const Setting& setting) {
      return strcasecmp(setting.key, entry.key.c_str()) == 0;
    });
    const std::string name = quoted(entry.key) + " in " + fileName;
    if (row == table.end()) {
      const Setting* const near = nearestSetting(entry.key);
      warn(name + " is no setting.", near ? std::string("Is ") + quoted(near->key) + " meant?"
                                          : "zolinfo --config lists all settings.");
    } else if (strcasecmp(row->section, entry.section.c_str()) != 0) {
      warn(name + " stands in section [" + entry.section + "] and is not found there.",
           std::string("Move it to [") + row->section + "].");
    } else if (!isValueOf(row->type, entry.value)) {
      ignoredValue(name, *row, entry.value);
    }
  }

  void environmentVariable(const std::string& name, const std::string& value) {
    if (name == kOtherVariable) return;
    const Setting* const setting = findSettingOfVariable(name);
    if (!setting) {
      const Setting* const near = nearestSettingOfVariable(name);
      warn("The variable " + name + " is no setting.",
           near ? std::string("Is ") + near->variable + " meant?"
                : "Unset it; zolinfo --config lists all settings.");
      return;
    }
    const std::string trimmed = withoutOuterSpace(value);
    if (trimmed.empty()) return; // as good as unset
    if (value.size() + 1 > longest(setting->type)) {
      warn("The variable " + name + " is longer than " +
               std::to_string(longest(setting->type) - 1) + " characters and is ignored.",
           "Give it a shorter value.");
    } else if (!isValueOf(setting->type, trimmed)) {
      ignoredValue("The variable " + name, *setting, trimmed);
    }
  }

  void ignoredValue(const std::string& name, const Setting& setting, const std::string& value) {
    warn(name + " is set to " + quoted(value) + ", which is ignored.",
         std::string("Set it to ") + valuesOf(setting.type) + ".");
  }

  void readbackInterval() {
    const SettingValue& value = report_["readback-interval"];
    if (report_.number("readback-interval") >= 0) return;
    warn("\"readback-interval\" is " + *value.value +
             ": programs sleep after each frame, for up to 71 minutes.",
         "Set it to 0 or more in " + placeOf(report_, value) + ".");
  }

  void logLevel() {
    const SettingValue& value = report_["level"];
    const auto isLevel = [&](const char* name) {
      return strcasecmp(name, value.value->c_str()) == 0;
    };
    if (std::ranges::any_of(kLogLevels, isLevel)) return;
    warn("\"level\" is " + quoted(*value.value) + ", which counts as warning.",
         "Set it to error, warning, info or debug in " + placeOf(report_, value) + ".");
  }

  static size_t longest(SettingType type) {
    switch (type) {
    case SettingType::flag:
      return zol::Settings::BOOL_VARIABLE_SIZE;
    case SettingType::number:
      return zol::Settings::NUMBER_VARIABLE_SIZE;
    case SettingType::text:
      break;
    }
    return zol::Settings::STRING_VARIABLE_SIZE;
  }

  static std::string withoutOuterSpace(const std::string& text) {
    constexpr char kSpace[] = " \t\n\v\f\r";
    const size_t begin = text.find_first_not_of(kSpace);
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find_last_not_of(kSpace) - begin + 1);
  }

  const SettingsReport& report_;
};

} // namespace

Findings findingsAbout(const SettingsReport& report) {
  Collector collector(report);
  collector.files();
  collector.variables();
  collector.values();
  return std::move(collector.found);
}

} // namespace zol::tools
