#include "zolrun_options.h"

#include "setting_table.h"

#include <algorithm>
#include <cstdlib>

namespace zol::tools {

namespace {

// The options that stand for a setting each.
struct SettingOption {
  const char* name;
  const char* key;
  const char* value; // null: the word that follows
};

constexpr SettingOption kSettingOptions[] = {
    {"--gl-display", "gl-display", nullptr}, {"--fps", "copyback-frame-rate", nullptr},
    {"--log-level", "level", nullptr},       {"--log-dir", "directory", nullptr},
    {"--no-readback", "no-readback", "1"},   {"--strategy", "copyback-strategy", nullptr},
};

constexpr size_t kLongestText = 1023; // the library reads no more of a variable

// Where only some values of the type mean anything to the library.
struct Meaning {
  const char* key;
  const char* values; // separated by blanks
  const char* sentence;
};

constexpr Meaning kMeanings[] = {
    {"level", " error warning info debug ", "error, warning, info or debug"},
    {"copyback-strategy", " 0 1 2 ", "0, 1 or 2"},
};

std::string allKeys() {
  std::string result;
  for (const Setting& setting : settingTable())
    result += std::string("\n  ") + setting.key;
  return result;
}

void checkValue(const std::string& option, const Setting& setting, const std::string& value) {
  const auto refuse = [&](const std::string& wanted) {
    throw UsageError(option + " takes " + wanted + ", not \"" + value + "\"");
  };
  const auto meaning = std::ranges::find_if(
      kMeanings, [&](const Meaning& row) { return std::string(row.key) == setting.key; });
  if (meaning != std::end(kMeanings)) {
    const bool isWord = value.find(' ') == std::string::npos && !value.empty();
    if (!isWord || std::string(meaning->values).find(" " + value + " ") == std::string::npos)
      refuse(meaning->sentence);
  }
  if (!isValueOf(setting.type, value)) refuse(valuesOf(setting.type));
  if (option == "--fps" && std::atoi(value.c_str()) < 1) refuse("a number of 1 or more");
  if (value.size() > kLongestText)
    throw UsageError(option + ": the library reads no more than " + std::to_string(kLongestText) +
                     " characters");
}

// "KEY=VALUE" of --set.
void setAny(const std::string& text, std::map<std::string, std::string>& settings) {
  const size_t end = text.find('=');
  if (end == std::string::npos) throw UsageError("--set takes KEY=VALUE, not \"" + text + "\"");
  const std::string key = text.substr(0, end);
  const std::string value = text.substr(end + 1);
  const Setting* const setting = findSetting(key);
  if (setting == nullptr) {
    const Setting* const near = nearestSetting(key);
    throw UsageError("there is no setting \"" + key + "\"" +
                     (near ? std::string("; did you mean ") + near->key + "?" : "") +
                     "\nThe settings are:" + allKeys());
  }
  checkValue("--set " + key, *setting, value);
  settings[setting->variable] = value;
}

// Whether the next words are an option that stands for a setting; they are taken then.
bool takeSetting(Arguments& arguments, std::map<std::string, std::string>& settings) {
  for (const SettingOption& option : kSettingOptions) {
    std::optional<std::string> value;
    if (option.value == nullptr)
      value = arguments.takeValue(option.name);
    else if (arguments.takeFlag(option.name))
      value = option.value;
    if (!value) continue;
    const Setting& setting = *findSetting(option.key);
    checkValue(option.name, setting, *value);
    settings[setting.variable] = *value;
    return true;
  }
  if (const auto text = arguments.takeValue("--set")) {
    setAny(*text, settings);
    return true;
  }
  return false;
}

} // namespace

ZolrunOptions ZolrunOptions::parse(Arguments arguments) {
  ZolrunOptions options;
  while (!arguments.atEnd() && arguments.peek().starts_with("-")) {
    if (arguments.takeFlag("--")) break;
    if (arguments.takeFlag("--help")) {
      options.help = true;
    } else if (arguments.takeFlag("--version")) {
      options.version = true;
    } else if (arguments.takeFlag("--headless")) {
      options.headless = true;
    } else if (auto geometry = arguments.takeValue("--geometry")) {
      options.geometry = Geometry::parse(*geometry);
    } else if (arguments.takeFlag("--show-fps")) {
      options.showFps = true;
    } else if (arguments.takeFlag("--verbose")) {
      options.verbose = true;
    } else if (!takeSetting(arguments, options.settings)) {
      throw UsageError("unknown option " + arguments.peek());
    }
  }
  options.command = arguments.takeRest();
  if (options.help || options.version) return options;
  if (options.geometry && !options.headless) {
    throw UsageError("--geometry is the size of the screen that --headless makes");
  }
  if (options.showFps) {
    const auto level = options.settings.find("ZOL_GL_LOG_LEVEL");
    if (level != options.settings.end() && (level->second == "error" || level->second == "warning"))
      throw UsageError("--show-fps needs --log-level info or debug");
  }
  if (options.command.empty()) throw UsageError("no command given");
  return options;
}

} // namespace zol::tools
