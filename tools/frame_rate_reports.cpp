#include "frame_rate_reports.h"

#include "run_error.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <utility>
#include <vector>

namespace zol::tools {

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> logsIn(const fs::path& folder) {
  std::vector<fs::path> result;
  std::error_code failure; // a folder that is not there yet has no logs
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const fs::path& path = entry->path();
    if (path.filename().string().starts_with("zol-gl.")) result.push_back(path);
  }
  return result;
}

fs::path makePrivateFolder() {
  std::error_code failure;
  std::string path = (fs::temp_directory_path(failure) / "zolrun-XXXXXX").string();
  if (failure || mkdtemp(path.data()) == nullptr)
    throw RunError("cannot make a folder for the library's log: " + path + ": " + strerror(errno));
  return path;
}

// The process of a record: "<letter> <month> <day> <time> <pid>:<tid> ...".
std::string processOf(const std::string& record) {
  const size_t colon = record.find(" ZOLGL (");
  if (colon == std::string::npos) return "?";
  const size_t begin = record.rfind(' ', colon - 1) + 1;
  return record.substr(begin, record.find(':', begin) - begin);
}

// What the library writes to standard error by itself, too.
bool isOfMissingFunction(const std::string& record) {
  return record.ends_with(" is NULL");
}

} // namespace

FrameRateReports::FrameRateReports(fs::path folder)
    : isPrivate_(folder.empty()), folder_(isPrivate_ ? makePrivateFolder() : std::move(folder)) {
  for (const fs::path& path : logsIn(folder_)) {
    std::error_code failure;
    const std::uintmax_t size = fs::file_size(path, failure);
    if (!failure) logs_[path].read = size;
  }
}

FrameRateReports::~FrameRateReports() {
  std::error_code failure;
  if (isPrivate_) fs::remove_all(folder_, failure);
}

void FrameRateReports::poll() {
  for (const fs::path& path : logsIn(folder_))
    follow(path, logs_[path]);
}

void FrameRateReports::follow(const fs::path& path, Log& log) {
  std::error_code failure;
  const std::uintmax_t size = fs::file_size(path, failure);
  if (failure || size <= log.read) return;
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(log.read));
  std::string text(size - log.read, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<size_t>(file.gcount()));
  log.read += text.size();
  text.insert(0, std::exchange(log.unfinished, {}));
  size_t begin = 0;
  for (size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
    print(text.substr(begin, end - begin));
  log.unfinished = text.substr(begin);
}

void FrameRateReports::print(const std::string& record) const {
  if (const size_t report = record.find("): Produced "); report != std::string::npos) {
    fprintf(stderr, "zolrun: process %s: %s\n", processOf(record).c_str(),
            record.c_str() + report + strlen("): "));
  } else if (isPrivate_ && (record.starts_with("W ") || record.starts_with("E ")) &&
             !isOfMissingFunction(record)) {
    fprintf(stderr, "%s\n", record.c_str());
  }
}

} // namespace zol::tools
