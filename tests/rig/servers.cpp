#include "rig/servers.h"

#include <memory>
#include <stdexcept>

namespace zol::rig {
namespace {

tools::DisplayServer& startOrThrow(std::vector<std::string> command,
                                   const std::vector<std::string>& options) {
  // Made before the library registers what it does at exit, and so destroyed after that.
  static std::vector<std::unique_ptr<tools::DisplayServer>> servers;
  command.insert(command.end(), options.begin(), options.end());
  std::string error;
  auto server = tools::DisplayServer::start(std::move(command), &error);
  if (server == nullptr) throw std::runtime_error("no X server for this test: " + error);
  servers.push_back(std::move(server));
  return *servers.back();
}

} // namespace

tools::DisplayServer& startApplicationServer(const std::string& glDisplay,
                                             const std::vector<std::string>& options) {
  std::vector<std::string> command{ZOL_XZOL, "--geometry", "800x600"};
  if (!glDisplay.empty()) command.insert(command.end(), {"--gl-display", glDisplay});
  return startOrThrow(std::move(command), options);
}

tools::DisplayServer& startPlainServer(const std::vector<std::string>& options) {
  return startOrThrow({"Xvfb", "-screen", "0", "800x600x24", "-nolisten", "tcp", "-noreset"},
                      options);
}

tools::DisplayServer& startAnnouncingServer(const std::string& vendorNames,
                                            const std::vector<std::string>& options) {
  return startOrThrow({ZOL_XZOL, "--geometry", "800x600", "--vendor-names", vendorNames}, options);
}

} // namespace zol::rig
