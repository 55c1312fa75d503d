#include "library_log.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace zol::tools {

namespace {

struct Record {
  char level = 0; // of 'E', 'W', 'I', 'D'; 0 for a line that is none of the library's
  std::string message;
};

// "E Nov 20 22:41:38:123456 100:100 ZOLGL (int f(int)): message"
Record recordOf(const std::string& line) {
  constexpr char kLevels[] = "EWID";
  if (line.size() < 2 || line[1] != ' ' || !strchr(kLevels, line[0])) return {};
  if (line.find(" ZOLGL (") == std::string::npos && line.find(" ZOL (") == std::string::npos) {
    return {};
  }
  const size_t label = line.find("): ");
  if (label == std::string::npos) return {};
  return {line[0], line.substr(label + 3)};
}

bool takeBetween(const std::string& message, const char* before, const char* after,
                 std::string& text) {
  if (!message.starts_with(before)) return false;
  const size_t begin = strlen(before);
  const size_t end = message.find(after, begin);
  if (end == std::string::npos) return false;
  text = message.substr(begin, end - begin);
  return true;
}

void readMapping(const std::string& message, LibraryLog& log) {
  unsigned int config = 0;
  unsigned int local = 0;
  unsigned int app = 0;
  const char* const text = message.c_str();
  if (sscanf(text,
             "LVI %*s fbconfig %*[^,], fbconfig id 0x%x, local visual id 0x%x, app visual id 0x%x",
             &config, &local, &app) == 3) {
    log.visuals[app] = {config, local, {}};
  } else if (sscanf(text, "Could not find any compatible FBConfig for app visual id %x", &app) ==
             1) {
    log.visuals[app].droppedBecause = "no FBConfig like it";
  } else if (sscanf(text, "Could not determine a local XVisual for app visual %x", &app) == 1) {
    log.visuals[app].droppedBecause = "no local visual of its depth";
  }
}

constexpr char kLostConnection[] = "XIO:  "; // Xlib's last words before it ends the program

// What Mesa says where it cannot do its work; other drivers are as terse as it gets.
bool isDriversComplaint(const std::string& line) {
  return line.starts_with("libGL error: ") || line.starts_with("MESA-LOADER: ") ||
         line.starts_with("MESA: error: ");
}

// What every driver lacks is nobody's complaint.
bool isComplaint(const Record& record) {
  return (record.level == 'E' || record.level == 'W') && !record.message.ends_with(" is NULL");
}

} // namespace

void LibraryLog::complain(const std::string& text) {
  if (std::ranges::find(complaints, text) == complaints.end()) complaints.push_back(text);
}

LibraryLog LibraryLog::parse(const std::string& text) {
  LibraryLog log;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const Record record = recordOf(line);
    if (isDriversComplaint(line)) log.complain(line);
    if (line.starts_with(kLostConnection)) log.complain(line.substr(strlen(kLostConnection)));
    if (!record.level) continue;
    const std::string& message = record.message;
    takeBetween(message, "Vendor '", "' was selected for local display", log.driver);
    std::string banner;
    if (takeBetween(message, "YRSO ZOL-GL ", " bit version)", banner)) {
      const size_t bracket = banner.rfind(" (");
      log.version = banner.substr(0, bracket);
      log.wordSize = banner.substr(std::min(banner.size(), bracket + 2));
    }
    readMapping(message, log);
    if (isComplaint(record)) log.complain(message);
  }
  return log;
}

} // namespace zol::tools
