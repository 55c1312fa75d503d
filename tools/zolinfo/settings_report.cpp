#include "settings_report.h"

#include "../unique_fd.h"
#include "foundation/conf_settings.h"
#include "foundation/ini_reader.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <system_error>

namespace zol::tools {

namespace {

constexpr char kFileName[] = "zol-gl.conf";

// Keeps the library's own complaints about broken files away: the report names them.
class QuietStandardError {
public:
  QuietStandardError() : saved_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    const UniqueFd nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (saved_ && nowhere) dup2(nowhere.get(), STDERR_FILENO);
  }
  ~QuietStandardError() {
    if (saved_) dup2(saved_.get(), STDERR_FILENO);
  }
  QuietStandardError(const QuietStandardError&) = delete;
  QuietStandardError& operator=(const QuietStandardError&) = delete;

private:
  UniqueFd saved_;
};

std::string absolute(const char* path) {
  std::error_code failure;
  return path ? std::filesystem::absolute(path, failure).string() : std::string();
}

int store(void* file, const char* section, const char* key, const char* value) {
  static_cast<SettingsFile*>(file)->entries.push_back({section, key, value});
  return 1;
}

SettingsFile readFile(SettingSource source, const char* path) {
  SettingsFile file{.source = source, .path = absolute(path), .reason = {}, .entries = {}};
  if (!path || access(path, F_OK) != 0) return file;
  IniReader reader(path);
  file.state = SettingsFile::State::read;
  if (reader.parseIniFile(store, &file)) return file;
  const ErrorState& error = *reader.getParserState();
  file.state = SettingsFile::State::broken;
  file.line = error.line;
  file.reason = error.message;
  return file;
}

std::array<SettingsFile, 3> readFiles() {
  const SettingsPaths paths(kFileName);
  std::array<SettingsFile, 3> files = {
      readFile(SettingSource::ADMIN_FILE, paths.admin.get()),
      readFile(SettingSource::USER_FILE, paths.user.get()),
      readFile(SettingSource::SYSTEM_FILE, paths.system.get()),
  };
  // A broken system file takes the user's out of use as well.
  if (files[2].state == SettingsFile::State::broken &&
      files[1].state == SettingsFile::State::read) {
    files[1].state = SettingsFile::State::unused;
  }
  return files;
}

std::optional<std::string> lookUp(const zol::Settings& settings, const Setting& row,
                                  SettingSource& source) {
  switch (row.type) {
  case SettingType::flag: {
    const bool def = row.defaultText == std::string_view("true");
    return settings.boolSetting(row.variable, row.section, row.key, def, &source) ? "true"
                                                                                  : "false";
  }
  case SettingType::number:
    return std::to_string(settings.intSetting(row.variable, row.section, row.key,
                                              std::atoi(row.defaultText), &source));
  case SettingType::text:
    break;
  }
  const HeapText text(
      settings.stringSetting(row.variable, row.section, row.key, row.defaultText, &source));
  return text ? std::optional<std::string>(text.get()) : std::nullopt;
}

} // namespace

SettingsReport readSettings() {
  SettingsReport report{.files = readFiles(), .values = {}};
  const QuietStandardError quiet;
  const conf::Settings& settings = conf::settings();
  for (const Setting& row : settingTable()) {
    SettingSource source = SettingSource::DEFAULT;
    std::optional<std::string> value = lookUp(settings, row, source);
    report.values.push_back({&row, std::move(value), source});
  }
  return report;
}

const SettingValue& SettingsReport::operator[](std::string_view key) const {
  return *std::ranges::find(
      values, key, [](const SettingValue& value) { return std::string_view(value.setting->key); });
}

int SettingsReport::number(std::string_view key) const {
  return std::atoi((*this)[key].value->c_str());
}

bool SettingsReport::flag(std::string_view key) const {
  return (*this)[key].value == "true";
}

const char* nameOf(SettingSource source) {
  switch (source) {
  case SettingSource::ADMIN_FILE:
    return "admin file";
  case SettingSource::ENVIRONMENT:
    return "environment";
  case SettingSource::USER_FILE:
    return "user file";
  case SettingSource::SYSTEM_FILE:
    return "system file";
  case SettingSource::DEFAULT:
    break;
  }
  return "default";
}

const char* nameOf(SettingType type) {
  switch (type) {
  case SettingType::flag:
    return "bool";
  case SettingType::number:
    return "int";
  case SettingType::text:
    break;
  }
  return "string";
}

std::string placeOf(const SettingsReport& report, const SettingValue& value) {
  if (value.source == SettingSource::ENVIRONMENT) {
    return std::string("the variable ") + value.setting->variable;
  }
  for (const SettingsFile& file : report.files) {
    if (file.source == value.source)
      return std::string("the ") + nameOf(file.source) + " " + file.path;
  }
  return "the default";
}

} // namespace zol::tools
