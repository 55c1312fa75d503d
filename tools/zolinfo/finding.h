#pragma once

#include <string>
#include <vector>

namespace zol::tools {

// Something that the user should know about, and what to do.
struct Finding {
  enum class Level { failure, warning }; // failure: programs are not served

  Level level;
  std::string about;  // one word for scripts: "display", "settings"
  std::string text;   // what is the matter, a sentence
  std::string advice; // what to do, a sentence
};

using Findings = std::vector<Finding>;

inline bool hasFailure(const Findings& findings) {
  for (const Finding& finding : findings) {
    if (finding.level == Finding::Level::failure) return true;
  }
  return false;
}

// Texts from elsewhere: as the beginning of a sentence, and without the full stop at their end.
inline std::string sentence(std::string text) {
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] -= 'a' - 'A';
  return text;
}
inline std::string withoutStop(std::string text) {
  if (text.ends_with('.')) text.pop_back();
  return text;
}

inline std::string quoted(const std::string& text) {
  return '"' + text + '"';
}

} // namespace zol::tools
