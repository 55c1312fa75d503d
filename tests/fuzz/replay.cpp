// The main() of a fuzz target in builds without a fuzzer: runs the inputs of the files and folders
// that it is given, each once.

#include "fuzz/fuzz.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

void replay(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    if (std::filesystem::is_regular_file(argv[i])) {
      replay(argv[i]);
      ++count;
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      replay(entry.path());
      ++count;
    }
  }
  std::printf("%d inputs\n", count);
  return count > 0 ? 0 : 1; // a corpus that is not there proves nothing
}
