#pragma once

#include "program.h"
#include "tools/display_server.h"
#include "tools/unique_fd.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace zol::test {

// An empty folder that goes with the object.
class TemporaryFolder {
public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // Returns the file's path.
  std::string write(const std::string& name, const std::string& text) const;

private:
  std::filesystem::path path_;
};

// A display that accepts connections and never says a word.
class SilentDisplay {
public:
  SilentDisplay();
  ~SilentDisplay();
  SilentDisplay(const SilentDisplay&) = delete;
  SilentDisplay& operator=(const SilentDisplay&) = delete;

  const std::string& name() const { return name_; }

private:
  std::string name_;
  std::filesystem::path socket_;
  tools::UniqueFd listener_;
};

std::unique_ptr<tools::DisplayServer> startXzol(std::vector<std::string> options = {});

// An application display and its local display, a software one.
struct DisplayPair {
  std::unique_ptr<tools::DisplayServer> local = startXzol({"--vendor-names", "zolsoft mesa"});
  std::unique_ptr<tools::DisplayServer> application = startXzol({"--gl-display", local->name()});
};

// Runs zolinfo in a folder of its own: `folder` has the admin file, if any, and the user file.
// Settings of the test's own environment do not reach it.
class Zolinfo {
public:
  Outcome run(std::vector<std::string> words, Program::Environment environment = {}) const;

  // "folder/.." texts as zolinfo shows them.
  std::string adminFile() const { return folder.path() / "zol-gl.conf.admin"; }
  std::string userFile() const { return folder.path() / "zol-gl.conf"; }

  TemporaryFolder folder;
};

// What follows the line that begins with "result".
std::string findingsIn(const Outcome& outcome);

// Whether the text is the pattern, in which each '*' stands for any characters of one line. The
// first line that differs goes to *difference.
bool matchesLines(const std::string& text, const std::string& pattern, std::string* difference);

} // namespace zol::test

#define EXPECT_LINES(text, pattern)                                                                \
  do {                                                                                             \
    std::string difference;                                                                        \
    EXPECT_TRUE(::zol::test::matchesLines(text, pattern, &difference)) << difference << "\nin:\n"  \
                                                                       << (text);                  \
  } while (false)
