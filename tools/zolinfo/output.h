#pragma once

#include "self_check.h"

#include <string>

namespace zol::tools {

// The screens of zolinfo, as text for people and as JSON for scripts.
std::string textOf(const SelfCheck& check);
std::string jsonOf(const SelfCheck& check);

std::string visualsTextOf(const SelfCheck& check);
std::string visualsJsonOf(const SelfCheck& check);

std::string configTextOf(const SettingsReport& settings, const Findings& findings);
std::string configJsonOf(const SettingsReport& settings, const Findings& findings);

} // namespace zol::tools
