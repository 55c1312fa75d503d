#include "rig/log_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <unistd.h>

namespace zol::rig {
namespace {

constexpr const char* kPrefix =
    "^([EWID]) [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2}:[0-9]{6} "
    "([0-9]+):([0-9]+) ([A-Z]+) \\(";

// The label ends at the parenthesis that closes the prefix: "): " outside of any other pair.
std::size_t labelEnd(const std::string& line, std::size_t start) {
  int depth = 1;
  for (std::size_t i = start; i < line.size(); ++i) {
    if (line[i] == '(') ++depth;
    if (line[i] == ')' && --depth == 0) return i;
  }
  return std::string::npos;
}

std::string readFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string escape(char c) {
  static const std::string special = R"(\^$.|?*+()[]{})";
  return special.find(c) != std::string::npos ? std::string("\\") + c : std::string(1, c);
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
  std::vector<LogRecord> records = all();
  records.erase(records.begin(),
                records.begin() + static_cast<std::ptrdiff_t>(std::min(taken_, records.size())));
  taken_ += records.size();
  return records;
}

std::vector<LogRecord> parseLog(const std::string& text) {
  static const std::regex prefix(kPrefix);
  std::vector<LogRecord> records;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    std::smatch match;
    const bool starts = std::regex_search(line, match, prefix);
    const std::size_t label = starts ? static_cast<std::size_t>(match.length(0)) : 0;
    const std::size_t end = starts ? labelEnd(line, label) : std::string::npos;
    if (end != std::string::npos && line.compare(end, 3, "): ") == 0) {
      records.push_back({match[1].str()[0], std::stoi(match[2]), std::stoi(match[3]), match[4],
                         line.substr(label, end - label), line.substr(end + 3)});
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
  static const std::pair<std::string, std::string> marks[] = {
      {"<ptr>", "(0x[0-9a-f]+|\\(nil\\))"},
      {"<hex>", "[0-9a-f]+"},
      {"<num>", "-?[0-9]+"},
      {"<any>", "[^]*"},
  };
  std::string pattern;
  for (std::size_t i = 0; i < expected.size();) {
    const auto mark = std::find_if(std::begin(marks), std::end(marks), [&](const auto& candidate) {
      return expected.compare(i, candidate.first.size(), candidate.first) == 0;
    });
    if (mark != std::end(marks)) {
      pattern += mark->second;
      i += mark->first.size();
    } else {
      pattern += escape(expected[i++]);
    }
  }
  return std::regex_match(actual, std::regex(pattern));
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
