// Two names of displays, and a resolver that answers as the input has it.

#include "display/host_record.h"
#include "display/same_display.h"
#include "fuzz/fuzz.h"

#include <netdb.h>
#include <unistd.h>

using zol::fuzz::ExactText;

namespace {

std::string ownName;
std::vector<std::string> answers; // of the resolver, in turn; an empty one: not found
std::size_t next = 0;

// "official alias alias ...".
hostent* answer() {
  if (answers.empty()) return nullptr;
  const std::string& text = answers[next++ % answers.size()];
  if (text.empty()) return nullptr;
  std::vector<std::string> names;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t blank = std::min(text.find(' ', at), text.size());
    names.push_back(text.substr(at, blank - at));
    at = blank + 1;
  }
  return hostRecord(names);
}

} // namespace

// Those of libc, which these stand before.
extern "C" {
hostent* gethostbyname(const char*) {
  return answer();
}

hostent* gethostbyaddr(const void*, socklen_t, int) {
  return answer();
}

int gethostname(char* name, size_t size) noexcept {
  if (ownName.empty()) return -1;
  std::strncpy(name, ownName.c_str(), size); // unterminated when it does not fit, as libc's
  return 0;
}
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zol::fuzz::Input input(data, size);
  const std::string first = input.line();
  const std::string second = input.line();
  ownName = input.line();
  answers.clear();
  next = 0;
  while (input.left() > 0)
    answers.push_back(input.line());

  zolIsSameXDisplayName(ExactText(first), ExactText(second));
  zolIsSameXDisplayName(ExactText(second), ExactText(first));
  FUZZ_CHECK(zolIsSameXDisplayName(ExactText(first), ExactText(first)));
  FUZZ_CHECK(sameHost(ExactText(second), ExactText(second)));
  return 0;
}
