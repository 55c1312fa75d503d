#include "rig/log_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <unistd.h>

namespace zol::rig {
namespace {

// Reads "D Nov 23 04:05:06:000789 12:34 ZOLGL (" at the beginning of a line; its length, 0 when the
// line is no record.
std::size_t readPrefix(const std::string& line, LogRecord* record) {
  char level = 0, tag[16] = "";
  int day, hour, minute, second, micro, length = 0;
  if (std::sscanf(line.c_str(), "%c %*3[A-Za-z] %d %d:%d:%d:%6d %d:%d %15[A-Z] (%n", &level, &day,
                  &hour, &minute, &second, &micro, &record->process, &record->thread, tag,
                  &length) != 9 ||
      length == 0 || std::strchr("EWID", level) == nullptr) {
    return 0;
  }
  record->level = level;
  record->tag = tag;
  return static_cast<std::size_t>(length);
}

// The label ends at the parenthesis that closes the prefix: "): " outside of any other pair.
std::size_t labelEnd(const std::string& line, std::size_t start) {
  int depth = 1;
  for (std::size_t i = start; i < line.size(); ++i) {
    if (line[i] == '(') ++depth;
    if (line[i] == ')' && --depth == 0) return i;
  }
  return std::string::npos;
}

std::string readFile(const std::string& path, std::streamoff from = 0) {
  std::ifstream stream(path, std::ios::binary);
  stream.seekg(from);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// The longest beginning of the text, from `start` on, that consists of these characters.
std::size_t run(const std::string& text, std::size_t start, const char* characters) {
  const std::size_t end = text.find_first_not_of(characters, start);
  return (end == std::string::npos ? text.size() : end) - start;
}

// How many characters of the text a mark may stand for at most; 0: it does not fit here.
std::size_t fits(const std::string& mark, const std::string& text, std::size_t start) {
  constexpr const char* kHex = "0123456789abcdef";
  if (mark == "<hex>") return run(text, start, kHex);
  if (mark == "<num>") {
    const std::size_t sign = text.compare(start, 1, "-") == 0 ? 1 : 0;
    const std::size_t digits = run(text, start + sign, "0123456789");
    return digits > 0 ? sign + digits : 0;
  }
  if (text.compare(start, 5, "(nil)") == 0) return 5;
  const std::size_t digits = text.compare(start, 2, "0x") == 0 ? run(text, start + 2, kHex) : 0;
  return digits > 0 ? 2 + digits : 0;
}

bool matchesFrom(const std::string& expected, std::size_t e, const std::string& actual,
                 std::size_t a) {
  for (; e < expected.size(); ++e, ++a) {
    const std::string mark = expected.substr(e, 5);
    if (mark == "<any>") {
      for (; a <= actual.size(); ++a) {
        if (matchesFrom(expected, e + 5, actual, a)) return true;
      }
      return false;
    }
    if (mark == "<ptr>" || mark == "<hex>" || mark == "<num>") {
      const std::size_t most = a < actual.size() ? fits(mark, actual, a) : 0;
      return most > 0 && matchesFrom(expected, e + 5, actual, a + most);
    }
    if (a >= actual.size() || expected[e] != actual[a]) return false;
  }
  return a == actual.size();
}

} // namespace

std::string LogRecord::text() const {
  const std::string mark = tag == "ZOLGL" || tag.empty() ? "" : "[" + tag + "] ";
  return std::string(1, level) + " " + mark + label + ": " + message;
}

LogFile::LogFile(std::string directory, pid_t process)
    : directory_(std::move(directory)), process_(process != 0 ? process : getpid()) {}

std::string LogFile::path() const {
  const std::string ending = "." + std::to_string(process_) + ".log";
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory_, error)) {
    const std::string name = entry.path().filename();
    if (name.rfind("zol-gl.", 0) == 0 && name.size() > ending.size() &&
        name.compare(name.size() - ending.size(), ending.size(), ending) == 0) {
      return entry.path();
    }
  }
  return "";
}

std::vector<LogRecord> LogFile::all() const {
  return parseLog(readFile(path()));
}

std::vector<LogRecord> LogFile::take() {
  std::string text = readFile(path(), taken_);
  text.erase(text.rfind('\n') + 1); // what has been written of a line that is not over
  taken_ += static_cast<std::streamoff>(text.size());
  return parseLog(text);
}

std::vector<LogRecord> parseLog(const std::string& text) {
  std::vector<LogRecord> records;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    LogRecord record{'?', 0, 0, "", "", ""};
    const std::size_t label = readPrefix(line, &record);
    const std::size_t end = label > 0 ? labelEnd(line, label) : std::string::npos;
    if (end != std::string::npos && line.compare(end, 3, "): ") == 0) {
      record.label = line.substr(label, end - label);
      record.message = line.substr(end + 3);
      records.push_back(record);
    } else if (!records.empty()) {
      records.back().message += "\n" + line; // a message with a line end of its own
    } else {
      records.push_back({'?', 0, 0, "", "", line});
    }
  }
  return records;
}

Lines texts(const std::vector<LogRecord>& records) {
  Lines lines;
  for (const LogRecord& record : records)
    lines.push_back(record.text());
  return lines;
}

Lines textsOfThread(const std::vector<LogRecord>& records, pid_t thread) {
  Lines lines;
  for (const LogRecord& record : records) {
    if (record.thread == thread) lines.push_back(record.text());
  }
  return lines;
}

Lines textsOfOtherThreads(const std::vector<LogRecord>& records, pid_t thread) {
  Lines lines;
  for (const LogRecord& record : records) {
    if (record.thread != thread) lines.push_back(record.text());
  }
  return lines;
}

bool matchesLine(const std::string& expected, const std::string& actual) {
  return matchesFrom(expected, 0, actual, 0);
}

testing::AssertionResult sameLines(const Lines& expected, const Lines& actual) {
  const std::size_t rows = std::max(expected.size(), actual.size());
  bool same = true;
  std::string table;
  for (std::size_t i = 0; i < rows; ++i) {
    const bool both = i < expected.size() && i < actual.size();
    if (both && matchesLine(expected[i], actual[i])) {
      table += "    " + actual[i] + "\n";
      continue;
    }
    same = false;
    if (i < expected.size()) table += "  - " + expected[i] + "\n";
    if (i < actual.size()) table += "  + " + actual[i] + "\n";
  }
  if (same) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "lines differ (- expected, + found):\n" << table;
}

bool hasLine(const Lines& lines, const std::string& expected) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::string& line) { return matchesLine(expected, line); });
}

} // namespace zol::rig
