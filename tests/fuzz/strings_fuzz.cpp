// Splitting texts, joining file names, formatting into buffers of a size.

#include "foundation/strings.h"
#include "fuzz/fuzz.h"

using zol::fuzz::ExactText;
using zol::fuzz::Input;

namespace {

void split(const std::string& text, const std::string& delimiters, unsigned most) {
  // Room for one entry is needed in any case.
  std::vector<char*> parts(most > 0 ? most : 1, nullptr);
  const ExactText exact(text);
  const unsigned count = zolStrsplit(exact, parts.data(), most, ExactText(delimiters));
  FUZZ_CHECK(count <= parts.size());
  FUZZ_CHECK((count == 0) == text.empty());
  std::size_t at = 0;
  for (unsigned i = 0; i < count; ++i) {
    if (parts[i] == nullptr) {
      FUZZ_CHECK(i == 0 && count == 1);
      continue;
    }
    const std::string part = parts[i];
    FUZZ_CHECK(!part.empty() && part.find_first_of(delimiters) == std::string::npos);
    at = text.find(part, at);
    FUZZ_CHECK(at != std::string::npos);
    at += part.size();
    std::free(parts[i]);
  }
}

void join(const std::string& first, const std::string& second, const std::string& third) {
  const ExactText exact[] = {ExactText(first), ExactText(second), ExactText(third)};
  char* const name = zolBuildFilename(exact[0], exact[1].get(), exact[2].get(), nullptr);
  if (name == nullptr) {
    FUZZ_CHECK(first.size() + second.size() + third.size() > 2000); // some are charged twice
    return;
  }
  FUZZ_CHECK(std::strlen(name) < 4096);
  std::free(name);
}

void format(const std::string& text, unsigned size) {
  if (size == 0) return;
  std::vector<char> buffer(size, 'x');
  const int kept = zolSprintf(buffer.data(), size, "%s", text.c_str());
  const std::string expected = text.substr(0, size - 1);
  FUZZ_CHECK(kept == static_cast<int>(expected.size()) && expected == buffer.data());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const unsigned most = input.byte() % 32;
  const std::string first = input.line();
  const std::string second = input.line();
  const std::string third = input.line();
  split(first, second, most);
  join(first, second, third);
  format(first, most);
  return 0;
}
