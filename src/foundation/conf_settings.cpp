#include "foundation/conf_settings.h"

#include <cstdlib>
#include <type_traits>

namespace zol::conf {

namespace {

constexpr int SETTING_COUNT = 0
#define ZOL_SETTING(field, key, section, env, type, def) +1
#include "foundation/conf_settings.def"
    ;
static_assert(SETTING_COUNT == 39);

constexpr int STRING_COUNT = 0
#define ZOL_SETTING(field, key, section, env, type, def) +std::is_same_v<type, Text>
#include "foundation/conf_settings.def"
    ;
static_assert(STRING_COUNT == 8);

// One row: where to look it up.
struct Source {
  const zol::Settings& settings;
  const char* env;
  const char* section;
  const char* key;
};

template <class AnyFlag>
requires std::is_same_v<AnyFlag, Flag> || std::is_same_v<AnyFlag, SharedFlag>
void read(const Source& source, AnyFlag& field, bool def) {
  field = source.settings.boolSetting(source.env, source.section, source.key, def);
}
void read(const Source& source, Number& field, int def) {
  field = source.settings.intSetting(source.env, source.section, source.key, def);
}
void read(const Source& source, Text& field, const char* def) {
  field = source.settings.stringSetting(source.env, source.section, source.key, def);
}

template <class Field>
void release(Field& field) {
  if constexpr (std::is_same_v<Field, Text>) {
    std::free(field);
    field = nullptr;
  }
}

} // namespace

Settings::Settings() : zol::Settings("zol-gl.conf") {
  Settings::parse();
}

Settings::~Settings() {
  freeSettings();
  closeIniFiles();
}

void Settings::init() {
  instance();
}

void Settings::reload() {
  instance()->parse();
}

void Settings::parse() {
  zol::Settings::parse();
  freeSettings();
#define ZOL_SETTING(field, key, section, env, type, def)                                           \
  read({*this, env, section, key}, field, def);
#include "foundation/conf_settings.def"
}

void Settings::freeSettings() {
#define ZOL_SETTING(field, key, section, env, type, def) release(field);
#include "foundation/conf_settings.def"
}

} // namespace zol::conf
