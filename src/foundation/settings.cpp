#include "foundation/settings.h"

#include "foundation/heap_text.h"
#include "foundation/strings.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <sys/auxv.h>
#include <unistd.h>

namespace zol {

namespace {

constexpr unsigned PATH_VALUE_SIZE = 1024;

// A program with more rights than its caller takes nothing from the caller: neither variables nor
// files that they or the current directory lead to.
bool distrustsCaller() {
  return getauxval(AT_SECURE) != 0;
}

const char* variable(const char* name) {
  return distrustsCaller() ? nullptr : std::getenv(name);
}

// Copies the variable into the buffer. A value that does not fit is ignored entirely.
bool readEnvironment(const char* name, char* buffer, size_t size) {
  const char* value = variable(name);
  const size_t needed = value ? std::strlen(value) + 1 : 0;
  if (!value || needed > size) return false;
  std::memcpy(buffer, value, needed);
  return true;
}

std::string_view trimmed(std::string_view text) {
  const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  while (!text.empty() && isSpace(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back()))
    text.remove_suffix(1);
  return text;
}

// The directory of the user's file; false when none can be formed.
bool userDirectory(char (&directory)[PATH_VALUE_SIZE]) {
  if (readEnvironment("ZOL_GL_USER_CONFDIR", directory, sizeof(directory)))
    return *directory != '\0';
  char value[PATH_VALUE_SIZE];
  const bool xdg = variable("XDG_CONFIG_HOME") != nullptr;
  if (!readEnvironment(xdg ? "XDG_CONFIG_HOME" : "HOME", value, sizeof(value)) || !*value)
    return false;
  const int length =
      std::snprintf(directory, sizeof(directory), "%s%s", value, xdg ? "/zol" : "/.config/zol");
  return length < static_cast<int>(sizeof(directory));
}

HeapText userPath(const char* fileName) {
  char directory[PATH_VALUE_SIZE];
  if (userDirectory(directory)) return HeapText(zolBuildFilename(directory, fileName, nullptr));
  char home[PATH_VALUE_SIZE];
  if (!readEnvironment("HOME", home, sizeof(home))) return nullptr;
  return HeapText(zolBuildFilename(home, ".zol", "conf", fileName, nullptr));
}

// The bare file name, and so a file in the current directory, although the buffer is sized for the
// system's path: deliberate.
HeapText adminPath(const char* fileName, const char* systemPath) {
  if (distrustsCaller()) return nullptr;
  const auto size = static_cast<unsigned>(std::strlen(systemPath) + 7);
  HeapText path(static_cast<char*>(std::malloc(size)));
  if (path) zolSprintf(path.get(), size, "%s.admin", fileName);
  return path;
}

std::unique_ptr<IniFile> openIfPresent(const char* path) {
  if (!path || access(path, F_OK) != 0) return nullptr;
  return std::make_unique<IniFile>(path, false);
}

// Reports a file that does not parse.
bool parseReported(IniFile* file) {
  if (!file || file->parse(nullptr)) return true;
  if (const ErrorState* error = file->getParserState())
    std::fprintf(stderr, "Cannot parse settings file \"%s\":<errnum %d> <linenum %d> <errstr %s>\n",
                 file->getFilename(), error->code, error->line, error->message);
  return false;
}

bool isNoValue(const char* text) {
  return !text || !*text || std::strcmp(text, "<null>") == 0;
}

std::optional<long> wholeNumber(const char* text) {
  char* end = nullptr;
  const long number = std::strtol(text, &end, 10);
  if (end == text || *end) return std::nullopt;
  return number;
}

// The admin file, the environment, the user's file, the system's file: the first value that
// converts wins. `convert` takes a text and a bool* that it sets when the text is invalid.
template <size_t BufferSize, class Convert>
auto lookUp(const IniFile* const (&files)[3], const char* envName, const char* section,
            const char* key, Convert convert, SettingSource* source)
    -> std::optional<decltype(convert("", nullptr))> {
  using Result = std::optional<decltype(convert("", nullptr))>;
  const auto converted = [&](const char* text, SettingSource where) -> Result {
    if (!text) return std::nullopt;
    bool invalid = true;
    auto result = convert(text, &invalid);
    if (invalid) return std::nullopt;
    if (source) *source = where;
    return result;
  };
  const auto inFile = [&](const IniFile* file, SettingSource where) {
    return converted(file ? file->getValue(section, key) : nullptr, where);
  };
  if (source) *source = SettingSource::DEFAULT;
  if (auto found = inFile(files[0], SettingSource::ADMIN_FILE)) return found;
  char buffer[BufferSize];
  if (readEnvironment(envName, buffer, sizeof(buffer))) {
    const std::string_view text = trimmed(buffer);
    buffer[text.data() - buffer + text.size()] = '\0';
    if (auto found = converted(text.data(), SettingSource::ENVIRONMENT)) return found;
  }
  if (auto found = inFile(files[1], SettingSource::USER_FILE)) return found;
  return inFile(files[2], SettingSource::SYSTEM_FILE);
}

} // namespace

SettingsPaths::SettingsPaths(const char* fileName)
    : system(zolBuildFilename("/etc", "zol", fileName, nullptr)) {
  if (system) admin = adminPath(fileName, system.get());
  user = userPath(fileName);
}

Settings::Settings(const char* fileName) {
  const SettingsPaths paths(fileName);
  adminFile = openIfPresent(paths.admin.get());
  userFile = openIfPresent(paths.user.get());
  systemFile = openIfPresent(paths.system.get());
}

Settings::~Settings() = default;

void Settings::parse() {
  if (!parseReported(adminFile.get())) adminFile.reset();
  if (!parseReported(userFile.get())) userFile.reset();
  if (!parseReported(systemFile.get())) {
    systemFile.reset();
    userFile.reset(); // deliberate: a broken system file takes the user's out of use as well
  }
}

void Settings::closeIniFiles() {
  adminFile.reset();
  userFile.reset();
  systemFile.reset();
}

bool Settings::boolSetting(const char* envName, const char* section, const char* key, bool def,
                           SettingSource* source) const {
  return lookUp<BOOL_VARIABLE_SIZE>({adminFile.get(), userFile.get(), systemFile.get()}, envName,
                                    section, key, toBool, source)
      .value_or(def);
}

int Settings::intSetting(const char* envName, const char* section, const char* key, int def,
                         SettingSource* source) const {
  return lookUp<NUMBER_VARIABLE_SIZE>({adminFile.get(), userFile.get(), systemFile.get()}, envName,
                                      section, key, toInt, source)
      .value_or(def);
}

double Settings::doubleSetting(const char* envName, const char* section, const char* key,
                               double def, SettingSource* source) const {
  return lookUp<NUMBER_VARIABLE_SIZE>({adminFile.get(), userFile.get(), systemFile.get()}, envName,
                                      section, key, toDouble, source)
      .value_or(def);
}

char* Settings::stringSetting(const char* envName, const char* section, const char* key,
                              const char* def, SettingSource* source) const {
  const auto copy = [](const char* text, bool* invalid) {
    *invalid = isNoValue(text);
    return *invalid ? nullptr : strdup(text);
  };
  const auto found = lookUp<STRING_VARIABLE_SIZE>(
      {adminFile.get(), userFile.get(), systemFile.get()}, envName, section, key, copy, source);
  if (found) return *found;
  return def ? strdup(def) : nullptr;
}

bool Settings::toBool(const char* text, bool* invalid) {
  *invalid = isNoValue(text);
  if (*invalid) return false;
  if (strcasecmp(text, "false") == 0) return false;
  if (strcasecmp(text, "true") == 0) return true;
  const std::optional<long> number = wholeNumber(text);
  *invalid = number != 0 && number != 1;
  return number == 1;
}

int Settings::toInt(const char* text, bool* invalid) {
  const std::optional<long> number = isNoValue(text) ? std::nullopt : wholeNumber(text);
  *invalid = !number;
  return static_cast<int>(number.value_or(0));
}

double Settings::toDouble(const char* text, bool* invalid) {
  *invalid = true;
  if (isNoValue(text)) return 0;
  char* end = nullptr;
  const double number = std::strtod(text, &end);
  *invalid = end == text || *end;
  return number;
}

char* Settings::toString(const char* text) {
  return isNoValue(text) ? nullptr : strdup(text);
}

} // namespace zol
