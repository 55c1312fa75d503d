#include "endtoend/displays.h"

#include "tools/display_server.h"

#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <stdexcept>

namespace zol::endtoend {
namespace {

using ServerPointer = std::unique_ptr<tools::DisplayServer>;
using Words = std::vector<std::string>;

// Room for the largest picture beside others.
constexpr const char* kScreen = "2560x1600";

// Stops in the reverse order of starting: an application display before its local display.
class Servers : public testing::Environment {
public:
  void TearDown() override {
    names_.clear();
    while (!running_.empty())
      running_.pop_back();
  }

  const std::string& get(const Words& command) {
    const auto known = names_.find(command);
    if (known != names_.end()) return known->second;
    std::string error;
    ServerPointer server = tools::DisplayServer::start(command, &error);
    if (server == nullptr) throw std::runtime_error("no X server for this test: " + error);
    running_.push_back(std::move(server));
    return names_[command] = running_.back()->name();
  }

private:
  std::map<Words, std::string> names_;
  std::vector<ServerPointer> running_;
};

Servers& servers() {
  // GoogleTest owns the environments that it is given.
  static auto* const instance = new Servers;
  return *instance;
}

[[maybe_unused]] const testing::Environment* const registered =
    testing::AddGlobalTestEnvironment(&servers());

Words plain() {
  return {"Xvfb", "-screen", "0", "1280x1024x24", "-nolisten", "tcp", "-noreset"};
}

} // namespace

const std::string& localDisplay() {
  return servers().get({ZOL_XZOL, "--geometry", kScreen, "--vendor-names", "zolsoft mesa"});
}

const std::string& appDisplay() {
  return appDisplayFor(localDisplay());
}

const std::string& appDisplayWithout(const std::string& extension) {
  return servers().get(
      {ZOL_XZOL, "--geometry", kScreen, "--gl-display", localDisplay(), "-extension", extension});
}

const std::string& appDisplayFor(const std::string& glDisplay) {
  return servers().get({ZOL_XZOL, "--geometry", kScreen, "--gl-display", glDisplay});
}

const std::string& plainDisplay() {
  return servers().get(plain());
}

const std::string& displayWithoutGlx() {
  Words command = plain();
  command.insert(command.end(), {"-extension", "GLX"});
  return servers().get(command);
}

} // namespace zol::endtoend
