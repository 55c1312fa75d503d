#include "display/same_display.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t kNameBuffer = 512;
constexpr std::size_t kMostNames = 16; // of one host: the official one and its aliases

struct DisplayName {
  std::string host;
  std::string display;
};

DisplayName splitDisplayName(const char* name) {
  // A name that is too long to be one is treated as empty.
  std::string text = std::strlen(name) < kNameBuffer ? name : "";
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return {std::move(text), ":0.0"};
  return {text.substr(0, colon), text.substr(colon + 1)};
}

bool looksLikeAddress(const char* name) {
  return std::isdigit(static_cast<unsigned char>(*name)) != 0 &&
         std::count(name, name + std::strlen(name), '.') == 3;
}

const hostent* resolve(const char* name) {
  if (!looksLikeAddress(name)) {
    const hostent* const host = gethostbyname(name);
    if (host == nullptr) std::fprintf(stderr, "no gethostbyname for %s\n", name);
    return host;
  }
  std::uint32_t address = 0;
  const char* part = name;
  for (int i = 0; i < 4; ++i) {
    if (i > 0) part = std::strchr(part, '.') + 1;
    address = address << 8 | (static_cast<std::uint32_t>(std::strtol(part, nullptr, 10)) & 0xFF);
  }
  const std::uint32_t networkOrder = htonl(address);
  const hostent* const host = gethostbyaddr(&networkOrder, sizeof networkOrder, AF_INET);
  if (host == nullptr) std::fprintf(stderr, "no gethostbyaddr for %s\n", name);
  return host;
}

std::vector<std::string> namesOf(const hostent& host) {
  std::vector<std::string> names{host.h_name};
  for (char** alias = host.h_aliases; *alias != nullptr && names.size() < kMostNames; ++alias) {
    names.emplace_back(*alias);
  }
  return names;
}

// Whether `other` is this machine, asked for an empty host name on the other side.
bool isThisMachine(const char* other, bool otherIsSecond) {
  const auto ask = [&](const char* self) {
    return otherIsSecond ? sameHost(self, other) : sameHost(other, self);
  };
  if (ask("localhost")) return true;
  char self[256];
  if (gethostname(self, sizeof self) != 0) return false;
  self[sizeof self - 1] = '\0';
  return *self != '\0' && ask(self);
}

} // namespace

bool zolIsSameXDisplay(Display* a, Display* b) {
  return zolIsSameXDisplayName(DisplayString(a), DisplayString(b));
}

bool zolIsSameXDisplayName(const char* a, const char* b) {
  const DisplayName first = splitDisplayName(a);
  const DisplayName second = splitDisplayName(b);
  return sameHost(first.host.c_str(), second.host.c_str()) && first.display == second.display;
}

bool sameHost(const char* a, const char* b) {
  if (std::strcmp(a, b) == 0) return true;
  if (*a == '\0') return isThisMachine(b, true);
  if (*b == '\0') return isThisMachine(a, false);

  const hostent* const hostA = resolve(a);
  if (hostA == nullptr) return false;
  const std::vector<std::string> known = namesOf(*hostA); // the resolver reuses its record
  const hostent* const hostB = resolve(b);
  if (hostB == nullptr) return false;
  const auto isKnown = [&](const char* name) {
    return std::find(known.begin(), known.end(), name) != known.end();
  };
  if (isKnown(hostB->h_name)) return true;
  for (char** alias = hostB->h_aliases; *alias != nullptr; ++alias) {
    if (isKnown(*alias)) return true;
  }
  return false;
}
