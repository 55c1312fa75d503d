#include "authority.h"

#include "tools/unique_fd.h"

#include <X11/Xauth.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <sys/random.h>
#include <sys/stat.h>

namespace zol::server {

namespace {

constexpr char kProtocol[] = "MIT-MAGIC-COOKIE-1";
constexpr size_t kKeySize = 16;
constexpr mode_t kOwnerOnly = 0600;

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

struct DisposeEntry {
  void operator()(Xauth* entry) const { XauDisposeAuth(entry); }
};

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  throw std::runtime_error("the authority file " + path + " " + what);
}

std::string withErrno(const char* what) {
  return std::string(what) + ": " + strerror(errno);
}

bool isKey(const Xauth& entry) {
  return std::string(entry.name, entry.name_length) == kProtocol && entry.data_length > 0;
}

// Whether the server will find a key; without one it would let in whom it lets in without a file.
bool holdsKey(FILE* file) {
  while (const std::unique_ptr<Xauth, DisposeEntry> entry{XauReadAuth(file)}) {
    if (isKey(*entry)) return true;
  }
  return false;
}

std::array<char, kKeySize> newKey() {
  std::array<char, kKeySize> key;
  if (getrandom(key.data(), key.size(), 0) != static_cast<ssize_t>(key.size())) {
    throw std::runtime_error(std::string("no random numbers for a key: ") + strerror(errno));
  }
  return key;
}

// The entry names no display: its number may not be known before the server has picked it.
bool writeKey(FILE* file) {
  std::array<char, kKeySize> key = newKey();
  std::string protocol = kProtocol;
  Xauth entry{};
  entry.family = FamilyWild;
  entry.name = protocol.data();
  entry.name_length = static_cast<unsigned short>(protocol.size());
  entry.data = key.data();
  entry.data_length = static_cast<unsigned short>(key.size());
  return XauWriteAuth(file, &entry) != 0 && fflush(file) == 0;
}

} // namespace

void prepareAuthority(const std::string& path) {
  // A pipe would be waited for.
  const int flags = O_RDONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  const tools::UniqueFd fd(open(path.c_str(), flags, kOwnerOnly));
  struct stat info {};
  if (!fd || fstat(fd.get(), &info) != 0) fail(path, withErrno("cannot be opened"));
  if (!S_ISREG(info.st_mode)) fail(path, "is no file");
  const bool isEmpty = info.st_size == 0;
  const File file(fopen(path.c_str(), isEmpty ? "we" : "re"));
  if (!file) fail(path, withErrno(isEmpty ? "cannot be written" : "cannot be read"));
  if (!isEmpty) {
    if (!holdsKey(file.get())) fail(path, std::string("holds no ") + kProtocol);
  } else if (fchmod(fd.get(), kOwnerOnly) != 0 || !writeKey(file.get())) {
    fail(path, withErrno("cannot be written"));
  }
}

} // namespace zol::server
