// Words of lists of extensions.

#include "fuzz/fuzz.h"
#include "visual/match_extension.h"

#include <algorithm>
#include <sstream>

using zol::fuzz::ExactText;

namespace {

// The plain way: cut at each blank, compare. A word that stands behind itself without a blank
// between is no word of the list.
bool isWordOf(const std::string& list, const std::string& name) {
  if (name.empty() || name.find(' ') != std::string::npos) return false;
  std::istringstream stream(list);
  for (std::string word; std::getline(stream, word, ' ');)
    if (word == name) return true;
  return false;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zol::fuzz::Input input(data, size);
  const std::string name = input.line();
  const std::string list = input.line();
  FUZZ_CHECK(matchExtension(ExactText(list), ExactText(name)) == isWordOf(list, name));
  FUZZ_CHECK(!matchExtension(nullptr, ExactText(name)));
  FUZZ_CHECK(!matchExtension(ExactText(list), nullptr));
  return 0;
}
