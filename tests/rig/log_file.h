#pragma once

#include <gtest/gtest.h>
#include <ios>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zol::rig {

using Lines = std::vector<std::string>;

struct LogRecord {
  char level;
  pid_t process;
  pid_t thread;
  std::string tag;
  std::string label;
  std::string message;

  // "D void zol_init(void*): START", the form in which tests write what they expect; a tag other
  // than "ZOLGL" precedes the label in brackets.
  std::string text() const;
};

// The log file of a process in a log directory, read record by record.
class LogFile {
public:
  explicit LogFile(std::string directory, pid_t process = 0); // 0: this process

  // All records written so far; none while there is no file.
  std::vector<LogRecord> all() const;
  // Those since the last take().
  std::vector<LogRecord> take();
  std::string path() const; // "" while there is no file

private:
  std::string directory_;
  pid_t process_;
  std::streamoff taken_ = 0; // bytes
};

std::vector<LogRecord> parseLog(const std::string& text);

Lines texts(const std::vector<LogRecord>& records);
Lines textsOfThread(const std::vector<LogRecord>& records, pid_t thread);
Lines textsOfOtherThreads(const std::vector<LogRecord>& records, pid_t thread);

// Compares line by line. An expected line is taken to the letter but for these marks, which stand
// for what a test cannot know:
//   <ptr> a pointer as "%p" prints it    <hex> hexadecimal digits    <num> a decimal number
//   <any> anything
testing::AssertionResult sameLines(const Lines& expected, const Lines& actual);
bool matchesLine(const std::string& expected, const std::string& actual);

// The predicate on lines for EXPECT_TRUE: some line matches.
bool hasLine(const Lines& lines, const std::string& expected);

} // namespace zol::rig

#define EXPECT_LINES(actual, ...)                                                                  \
  EXPECT_TRUE(::zol::rig::sameLines(::zol::rig::Lines __VA_ARGS__, actual))
