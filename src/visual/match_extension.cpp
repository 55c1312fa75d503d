#include "visual/match_extension.h"

#include <cstring>

bool matchExtension(const char* list, const char* name) {
  if (!list || !name || !*name || std::strchr(name, ' ')) return false;

  const size_t length = std::strlen(name);
  for (const char* word = list; (word = std::strstr(word, name)); word += length) {
    const bool starts = word == list || word[-1] == ' ';
    const bool ends = word[length] == ' ' || word[length] == '\0';
    if (starts && ends) return true;
  }
  return false;
}
