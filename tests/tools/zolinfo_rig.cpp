#include "zolinfo_rig.h"

#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace zol::test {

namespace fs = std::filesystem;

namespace {

bool matches(const char* text, const char* pattern) {
  if (!*pattern) return !*text;
  if (*pattern == '*') {
    for (;; ++text) {
      if (matches(text, pattern + 1)) return true;
      if (!*text) return false;
    }
  }
  return *text == *pattern && matches(text + 1, pattern + 1);
}

// What the test was started with must not count.
Program::Environment withoutSettings() {
  Program::Environment changes;
  for (char** variable = environ; *variable; ++variable) {
    const std::string text = *variable;
    if (text.starts_with("ZOL_GL_")) changes[text.substr(0, text.find('='))] = "";
  }
  for (const char* name : {"DISPLAY", "LD_LIBRARY_PATH", "__GLX_VENDOR_LIBRARY_NAME"})
    changes[name] = "";
  return changes;
}

} // namespace

TemporaryFolder::TemporaryFolder() {
  std::string pattern = fs::canonical(fs::temp_directory_path()) / "zolinfo-test-XXXXXX";
  if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code failure;
  fs::remove_all(path_, failure);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& text) const {
  const fs::path file = path_ / name;
  fs::create_directories(file.parent_path());
  std::ofstream(file) << text;
  return file;
}

SilentDisplay::SilentDisplay() : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  fs::create_directories("/tmp/.X11-unix");
  for (int number = 20000 + getpid() % 20000;; ++number) {
    name_ = ":" + std::to_string(number);
    socket_ = "/tmp/.X11-unix/X" + std::to_string(number);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, socket_.c_str(), sizeof address.sun_path - 1);
    if (bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) break;
    if (errno != EADDRINUSE) throw std::runtime_error("no socket for a silent display");
  }
  if (listen(listener_.get(), 5) != 0) throw std::runtime_error("nobody can connect");
}

SilentDisplay::~SilentDisplay() {
  fs::remove(socket_);
}

std::unique_ptr<tools::DisplayServer> startXzol(std::vector<std::string> options) {
  options.insert(options.begin(), ZOL_XZOL);
  std::string error;
  auto server = tools::DisplayServer::start(std::move(options), &error);
  if (!server) throw std::runtime_error(error);
  return server;
}

Outcome Zolinfo::run(std::vector<std::string> words, Program::Environment environment) const {
  Program::Environment all = withoutSettings();
  all["ZOL_GL_USER_CONFDIR"] = folder.path();
  for (auto& [name, value] : environment)
    all[name] = value;
  words.insert(words.begin(), {"env", "-C", folder.path(), ZOL_ZOLINFO});
  return test::run(std::move(words), all);
}

std::string findingsIn(const Outcome& outcome) {
  const size_t result = outcome.out.find("\nresult");
  if (result == std::string::npos) return "no result in: " + outcome.out + outcome.err;
  const size_t end = outcome.out.find("\n\n", result);
  return end == std::string::npos ? "" : outcome.out.substr(end + 2);
}

bool matchesLines(const std::string& text, const std::string& pattern, std::string* difference) {
  std::istringstream texts(text);
  std::istringstream patterns(pattern);
  std::string line;
  std::string wanted;
  for (;;) {
    const bool hasLine = !!std::getline(texts, line);
    const bool hasWanted = !!std::getline(patterns, wanted);
    if (!hasLine && !hasWanted) return true;
    if (hasLine && hasWanted && matches(line.c_str(), wanted.c_str())) continue;
    *difference =
        "wanted: " + (hasWanted ? wanted : "the end") + "\ngot:    " + (hasLine ? line : "the end");
    return false;
  }
}

} // namespace zol::test
