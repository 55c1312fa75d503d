#pragma once

#include "foundation/settings.h"
#include "foundation/singleton.h"

#include <atomic>

namespace zol::conf {

// A flag that one thread may switch while others read it.
class SharedFlag {
public:
  SharedFlag(bool initial = false) : value(initial) {}
  SharedFlag& operator=(bool newValue) {
    value.store(newValue, std::memory_order_relaxed);
    return *this;
  }
  operator bool() const { return value.load(std::memory_order_relaxed); }

private:
  std::atomic<bool> value;
};

// The types of the rows of conf_settings.def.
// (Xlib has a macro Bool)
using Flag = bool;
using Number = int;
using Text = char*; // owned by the record; null when unset

// The settings of the process: one field per row of conf_settings.def, read once.
//
// Thread safety: created once; read by all threads without a lock. reload() is not safe against
// concurrent readers.
class Settings : public zol::Settings, public Singleton<Settings> {
public:
  Settings();
  ~Settings() override;

  static void init();
  static void reload();

  void parse() override;
  void freeSettings();

#define ZOL_SETTING(field, key, section, env, type, def) type field{};
#include "foundation/conf_settings.def"
};

// The settings of the process, created on first use.
inline Settings& settings() {
  return *Settings::instance();
}

} // namespace zol::conf
