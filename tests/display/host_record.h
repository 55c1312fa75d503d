#pragma once

#include <cstddef>
#include <netdb.h>
#include <string>
#include <vector>

// The record of a host with an official name and aliases, in the one place that a resolver uses
// again and again.
inline hostent* hostRecord(const std::vector<std::string>& official) {
  static std::vector<std::string> names;
  static std::vector<char*> aliases;
  static hostent record;
  names = official;
  aliases.clear();
  for (std::size_t i = 1; i < names.size(); ++i)
    aliases.push_back(names[i].data());
  aliases.push_back(nullptr);
  record.h_name = names[0].data();
  record.h_aliases = aliases.data();
  return &record;
}
