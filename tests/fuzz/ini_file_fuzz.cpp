// A settings file: read, looked up, written and read again.

#include "foundation/ini_file.h"
#include "foundation/ini_reader.h"
#include "fuzz/fuzz.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <sys/mman.h>
#include <unistd.h>

// A file is written to the disk at once; one in memory need not be.
extern "C" void __wrap_sync() {}

namespace {

using zol::fuzz::Input;

struct Pair {
  std::string section;
  std::string name;
  std::string value;
};

class MemoryFile {
public:
  MemoryFile() : descriptor(memfd_create("fuzz", 0)) {
    FUZZ_CHECK(descriptor >= 0);
    name_ = "/proc/self/fd/" + std::to_string(descriptor);
  }
  ~MemoryFile() { close(descriptor); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  const char* name() const { return name_.c_str(); }
  void fill(const std::string& text) const {
    FUZZ_CHECK(write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
  }

private:
  int descriptor;
  std::string name_;
};

std::string upper(std::string text) {
  for (char& c : text)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

int collect(void* pairs, const char* section, const char* name, const char* value) {
  static_cast<std::vector<Pair>*>(pairs)->push_back({upper(section), upper(name), value});
  return 1;
}

// Whether what is written can be read back: lines fit a reader's line, no section begins with the
// name of another (its pairs would be written there too), and no name would be taken for something
// else.
bool canComeBack(const std::vector<Pair>& pairs) {
  constexpr std::size_t longestLine = 195;
  for (const Pair& pair : pairs) {
    if (pair.section.empty() || pair.name.empty()) return false;
    if (pair.section.find(':') != std::string::npos) return false;
    if (pair.name.size() + pair.value.size() > longestLine) return false;
    for (const Pair& other : pairs)
      if (other.section != pair.section && other.section.starts_with(pair.section)) return false;
  }
  return true;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile source;
  source.fill(Input(data, size).rest());
  std::vector<Pair> pairs;
  zol::IniReader reader(source.name());
  const bool whole = reader.parseIniFile(collect, &pairs) == 1;
  FUZZ_CHECK(whole == (reader.getParserState() == nullptr));

  zol::IniFile file;
  FUZZ_CHECK(file.parse(source.name()) == whole);
  FUZZ_CHECK((file.getParserState() == nullptr) == whole);
  if (!whole) {
    FUZZ_CHECK(file.getValue("GENERAL", "KEY") == nullptr);
    return 0;
  }
  std::map<std::string, std::string> last;
  for (const Pair& pair : pairs)
    last[pair.section + "::" + pair.name] = pair.value;
  const auto holdsAll = [&](const zol::IniFile& where) {
    return std::all_of(pairs.begin(), pairs.end(), [&](const Pair& pair) {
      if (pair.section.empty() || pair.name.empty()) return true;
      const char* const value = where.getValue(pair.section.c_str(), pair.name.c_str());
      return value != nullptr && last[pair.section + "::" + pair.name] == value;
    });
  };
  FUZZ_CHECK(holdsAll(file));

  const MemoryFile copy;
  FUZZ_CHECK(file.write(copy.name()));
  zol::IniFile again;
  const bool readBack = again.parse(copy.name());
  if (canComeBack(pairs)) FUZZ_CHECK(readBack && holdsAll(again));

  for (const Pair& pair : pairs)
    file.removeValue(pair.section.c_str(), pair.name.c_str());
  for (const Pair& pair : pairs)
    if (!pair.section.empty() && !pair.name.empty())
      FUZZ_CHECK(file.getValue(pair.section.c_str(), pair.name.c_str()) == nullptr);
  return 0;
}
