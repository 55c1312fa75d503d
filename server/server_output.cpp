#include "server_output.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>
#include <vector>

namespace zol::server {

namespace {

constexpr size_t kTailSize = 64 * 1024;
constexpr size_t kMostErrors = 10;
constexpr std::string_view kFatal = "Fatal server error:";
constexpr std::string_view kEpilogue = "Please consult the";
constexpr std::string_view kErrorMark = "(EE)";

// Errors that a server without input devices and system bus logs at every start.
constexpr std::array<std::string_view, 5> kHarmless = {
    "\"void\"", "`void'", "\"libinput\"", "dbus-core:", "Unable to locate/open config directory",
};

std::string trimmed(std::string_view line) {
  const size_t first = line.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return std::string(line.substr(first, line.find_last_not_of(" \t\r") - first + 1));
}

// The line without its time stamp and error marks.
std::string message(std::string line) {
  if (line.starts_with("[")) line.erase(0, line.find(']') + 1);
  for (size_t mark; (mark = line.find(kErrorMark)) != std::string::npos;) {
    line.erase(mark, kErrorMark.size());
  }
  return trimmed(line);
}

std::vector<std::string> messages(const std::string& text) {
  std::vector<std::string> found;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (std::string words = message(line); !words.empty()) found.push_back(words);
  }
  return found;
}

bool isHarmless(const std::string& line) {
  return std::any_of(kHarmless.begin(), kHarmless.end(),
                     [&](std::string_view part) { return line.find(part) != std::string::npos; });
}

// What the log calls errors before the server gave up, the newest last.
std::vector<std::string> loggedErrors(const std::string& log) {
  std::vector<std::string> found;
  std::istringstream lines(log.substr(0, log.rfind(kFatal)));
  for (std::string line; std::getline(lines, line);) {
    // The legend of the marks at the top of the log has every mark in it.
    if (line.find(kErrorMark) == std::string::npos || line.find("(WW)") != std::string::npos) {
      continue;
    }
    if (std::string words = message(line); !words.empty() && !isHarmless(words)) {
      found.push_back(words);
    }
  }
  if (found.size() > kMostErrors) found.erase(found.begin(), found.end() - kMostErrors);
  return found;
}

std::string reasonFrom(const std::string& standardError) {
  const size_t fatal = standardError.rfind(kFatal);
  if (fatal == std::string::npos) return standardError;
  const size_t start = fatal + kFatal.size();
  return standardError.substr(start, standardError.find(kEpilogue, start) - start);
}

} // namespace

void Tail::append(const char* text, size_t size) {
  text_.append(text, size);
  if (text_.size() > kTailSize) text_.erase(0, text_.size() - kTailSize);
}

std::string failureReport(const std::string& standardError, const std::string& log) {
  std::string report;
  for (const std::string& line : messages(reasonFrom(standardError)))
    report += "  " + line + "\n";
  const std::vector<std::string> errors = loggedErrors(log);
  if (!errors.empty()) report += "Errors in its log:\n";
  for (const std::string& line : errors)
    report += "  " + line + "\n";
  return report;
}

} // namespace zol::server
