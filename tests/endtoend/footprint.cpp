#include "endtoend/footprint.h"

#include "rig/shared_segments.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>

namespace zol::endtoend {
namespace {

namespace fs = std::filesystem;

fs::path folderOf(pid_t process) {
  return fs::path("/proc") / std::to_string(process);
}

long residentMemory(pid_t process) {
  std::ifstream stream(folderOf(process) / "status");
  for (std::string word; stream >> word;) {
    if (word != "VmRSS:") continue;
    long kibibytes = 0;
    stream >> kibibytes;
    return kibibytes;
  }
  throw std::runtime_error("process " + std::to_string(process) + " has no memory");
}

std::size_t openFiles(pid_t process) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folderOf(process) / "fd"), fs::directory_iterator()));
}

// The process at the other end of the connection.
pid_t serverOf(const Observer& observer) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (getsockopt(ConnectionNumber(observer.display()), SOL_SOCKET, SO_PEERCRED, &peer, &size) !=
          0 ||
      peer.pid <= 0) {
    throw std::runtime_error("the X server's process is not known");
  }
  return peer.pid;
}

ServerFootprint footprintOf(const Observer& observer) {
  return {residentMemory(serverOf(observer)), observer.resourceCounts()};
}

void compare(const std::string& what, long before, long after, long discretion,
             std::vector<std::string>& grown) {
  if (after <= before + discretion) return;
  grown.push_back(what + " " + std::to_string(before) + " -> " + std::to_string(after));
}

void compare(const std::string& server, const ServerFootprint& before, const ServerFootprint& after,
             std::vector<std::string>& grown) {
  compare(server + ": KiB", before.memory, after.memory, memoryAtDiscretion(before.memory), grown);
  for (const auto& [kind, count] : after.objects) {
    const auto known = before.objects.find(kind);
    compare(server + ": " + kind, known != before.objects.end() ? known->second : 0, count, 0,
            grown);
  }
}

std::ostream& operator<<(std::ostream& stream, const ServerFootprint& server) {
  stream << server.memory << " KiB";
  for (const auto& [kind, count] : server.objects)
    stream << ", " << kind << " " << count;
  return stream;
}

} // namespace

unsigned ServerFootprint::total() const {
  return std::accumulate(objects.begin(), objects.end(), 0u,
                         [](unsigned sum, const auto& entry) { return sum + entry.second; });
}

std::ostream& operator<<(std::ostream& stream, const Footprint& footprint) {
  return stream << "program: " << footprint.memory << " KiB, " << footprint.files << " files, "
                << footprint.segments << " segments\napplication display: " << footprint.application
                << "\nlocal display: " << footprint.local << "\n";
}

Environment oneHeap() {
  Environment environment = {{"MALLOC_ARENA_MAX", "1"}};
  // The address sanitizer holds 256 MiB of freed memory back.
  if (const char* const options = std::getenv("ASAN_OPTIONS"))
    environment["ASAN_OPTIONS"] = options + std::string(":quarantine_size_mb=1");
  return environment;
}

long memoryAtDiscretion(long before) {
// The sanitizers keep a record of each thread that there was and of what it did.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr long kShare = 4;
#else
  constexpr long kShare = 20;
#endif
  return std::max(4096L, before / kShare);
}

std::vector<std::string> growth(const Footprint& before, const Footprint& after) {
  std::vector<std::string> grown;
  const auto number = [](std::size_t count) { return static_cast<long>(count); };
  compare("KiB", before.memory, after.memory, memoryAtDiscretion(before.memory), grown);
  compare("files", number(before.files), number(after.files), 0, grown);
  compare("segments", number(before.segments), number(after.segments), kSegmentsAtDiscretion,
          grown);
  compare("application display", before.application, after.application, grown);
  compare("local display", before.local, after.local, grown);
  return grown;
}

Footprint Scales::weigh(pid_t process) const {
  Footprint result;
  if (process != 0) {
    result.memory = residentMemory(process);
    result.files = openFiles(process);
    result.segments = rig::sharedSegmentsOf(process).size();
  }
  result.application = footprintOf(application_);
  result.local = footprintOf(local_);
  return result;
}

Footprint Scales::weighWhenFlat(pid_t process, const Footprint& before) const {
  Footprint now;
  application_.waitFor(None, [&] {
    now = weigh(process);
    return growth(before, now).empty();
  });
  return now;
}

} // namespace zol::endtoend
