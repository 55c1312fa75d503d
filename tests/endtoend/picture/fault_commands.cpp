#include "endtoend/picture/words.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace zol::endtoend {
namespace {

// Takes all keys for thread-specific data but as many as are left to others.
std::string takeKeys(Stage&, std::istringstream& words) {
  const auto left = next<std::size_t>(words);
  std::vector<pthread_key_t> keys;
  for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;)
    keys.push_back(key);
  if (keys.size() < left) throw std::runtime_error("there are not as many keys");
  for (std::size_t i = 0; i < left; ++i)
    pthread_key_delete(keys[i]);
  return ok(std::to_string(keys.size() - left));
}

// From now on the process can open as many more files.
std::string limitFiles(Stage&, std::istringstream& words) {
  const auto left = next<rlim_t>(words);
  rlimit limit{};
  const int lowest = dup(STDIN_FILENO);
  if (lowest < 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0) throw std::runtime_error("no files");
  close(lowest);
  limit.rlim_cur = static_cast<rlim_t>(lowest) + left;
  if (setrlimit(RLIMIT_NOFILE, &limit) != 0) throw std::runtime_error("no such limit");
  return ok();
}

} // namespace

const Commands& faultCommands() {
  static const Commands commands = {
      {"take-keys", takeKeys},     // LEFT: how many it took
      {"limit-files", limitFiles}, // LEFT
  };
  return commands;
}

} // namespace zol::endtoend
