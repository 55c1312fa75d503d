#include "process_usage.h"

#include <ctime>
#include <fstream>
#include <stdexcept>
#include <string>

namespace zol::bench {

namespace {

double processorTime(pid_t process) {
  clockid_t clock{};
  timespec time{};
  if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0)
    throw std::runtime_error("there is no process " + std::to_string(process));
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace

ProcessUsage ProcessUsage::of(pid_t process) {
  ProcessUsage usage;
  usage.processorSeconds = processorTime(process);
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string name; status >> name;) {
    if (name == "RssAnon:") status >> usage.anonymousKb;
    if (name == "RssShmem:") status >> usage.sharedKb;
  }
  return usage;
}

} // namespace zol::bench
