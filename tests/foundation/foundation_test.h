#pragma once

#include "foundation/conf_settings.h"
#include "foundation/fakes.h"
#include "foundation/log.h"
#include "foundation/runtime_symbols.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

// Standard error from here to take() or the end of the scope.
class CapturedStderr {
public:
  CapturedStderr() : file(memfd_create("stderr", 0)), saved(dup(STDERR_FILENO)) {
    dup2(file, STDERR_FILENO);
  }
  ~CapturedStderr() { restore(); }

  std::string take() {
    restore();
    return text;
  }

private:
  void restore() {
    if (file < 0) return;
    dup2(saved, STDERR_FILENO);
    close(saved);
    lseek(file, 0, SEEK_SET);
    char part[4096];
    for (ssize_t got; (got = read(file, part, sizeof(part))) > 0;)
      text.append(part, static_cast<size_t>(got));
    close(file);
    file = -1;
  }

  int file;
  int saved;
  std::string text;
};

template <class Action>
std::string stderrOf(Action action) {
  CapturedStderr captured;
  action();
  return captured.take();
}

// Takes ownership of a heap text; "(null)" for null.
inline std::string owned(char* text) {
  std::string copy = text ? text : "(null)";
  std::free(text);
  return copy;
}

inline std::string contentOf(const std::filesystem::path& path) {
  std::ostringstream all;
  all << std::ifstream(path).rdbuf();
  return all.str();
}

// A test in an empty current directory and without any of our settings: HOME is "home" in it, and
// what would be read from "/etc/zol" comes from "system.conf" in it.
class FoundationTest : public testing::Test {
protected:
  FoundationTest() {
    fakes = Fakes();
    static const bool loaded = zol::initRuntimeSymbols();
    if (!loaded) ADD_FAILURE() << "the run-time symbols cannot be loaded";
    fakes = Fakes();
    char pattern[] = "/tmp/zol-foundation-XXXXXX";
    directory = mkdtemp(pattern);
    previousDirectory = std::filesystem::current_path();
    std::filesystem::current_path(directory);
    fakes.paths["/etc/zol/zol-gl.conf"] = directory / "system.conf";
    clearEnvironment();
    setenv("HOME", (directory / "home").c_str(), 1);
    setTimeZone("UTC");
    zol_close_log();
  }

  ~FoundationTest() override {
    zol_close_log();
    std::filesystem::current_path(previousDirectory);
    std::filesystem::remove_all(directory);
    fakes = Fakes();
  }

  static void clearEnvironment() {
#define ZOL_SETTING(field, key, section, env, type, def) unsetenv(env);
#include "foundation/conf_settings.def"
    unsetenv("ZOL_GL_USER_CONFDIR");
    unsetenv("XDG_CONFIG_HOME");
    unsetenv("HOME");
  }

  static void setTimeZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }

  // Writes a file below the test's directory and returns its path.
  std::string write(const std::filesystem::path& name, const std::string& text) {
    const auto path = directory / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
    return path;
  }
  std::string writeAdminFile(const std::string& text) {
    return write("zol-gl.conf.admin", text);
  }
  std::string writeUserFile(const std::string& text) {
    return write("home/.config/zol/zol-gl.conf", text);
  }
  std::string writeSystemFile(const std::string& text) {
    return write("system.conf", text);
  }

  // A new log with this level; records go to standard error unless a directory is given.
  static void openLogAt(const char* level, const std::string& logDirectory = "") {
    setenv("ZOL_GL_LOG_LEVEL", level, 1);
    if (logDirectory.empty())
      unsetenv("ZOL_GL_LOG_DIR");
    else
      setenv("ZOL_GL_LOG_DIR", logDirectory.c_str(), 1);
    zol::conf::Settings::reload();
    zol_close_log();
  }

  std::filesystem::path directory;

private:
  std::filesystem::path previousDirectory;
};
