#include "rig/fixture.h"

#include <cstdlib>
#include <filesystem>

using namespace zol::rig;

namespace {

RIG_SCENARIO(entersDeniedByItsWholePath) {
  setenv("ZOL_GL_DENYLIST", std::filesystem::read_symlink("/proc/self/exe").c_str(), 1);
  VendorHost host;
  return 10 + host.enter();
}

class DeniedProgram : public Rig {};

TEST_F(DeniedProgram, MayBeNamedByItsWholePath) {
  startServers();
  describeVisuals();
  const ScenarioResult result = runScenario("entersDeniedByItsWholePath");
  EXPECT_EQ(result.exitStatus, 10);
  EXPECT_TRUE(hasLine(texts(LogFile(testDirectory(), result.process).all()),
                      "I bool isExcluded(): ZOL-GL GLVND: " + result.path +
                          " is excluded, ZOL-GL disabled."));
}

} // namespace
