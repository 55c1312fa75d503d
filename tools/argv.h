#pragma once

#include <string>
#include <vector>

namespace zol::tools {

// The words as the exec functions take them; valid as long as they are.
inline std::vector<char*> argvOf(std::vector<std::string>& words) {
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words)
    argv.push_back(word.data());
  argv.push_back(nullptr);
  return argv;
}

} // namespace zol::tools
