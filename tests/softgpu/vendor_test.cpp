// Which libraries are at work.
#include "softgpu/fixture.h"

#include <algorithm>
#include <set>
#include <sys/stat.h>

namespace zol::softgpu::test {
namespace {

using Vendor = PbufferTest;

std::set<std::string> loaded(const std::string& part) {
  std::set<std::string> paths;
  for (const std::string& line : loadedFiles())
    if (const auto slash = line.find('/'); slash != std::string::npos)
      if (line.find(part, slash) != std::string::npos) paths.insert(line.substr(slash));
  return paths;
}

TEST_F(Vendor, IsThisLibraryWithMesaBehindIt) {
  EXPECT_EQ(loaded("libGLX_zolsoft.so.0"), std::set<std::string>{ZOLSOFT_LIBRARY});
  EXPECT_EQ(loaded("libGLX_mesa.so.0").size(), 1U); // through links, as the file it is
  makeCurrent(makePbuffer(), makeContext());
  const std::string renderer = reinterpret_cast<const char*>(gl.glGetString(GL_RENDERER));
  const char* const asked = getenv("GALLIUM_DRIVER");
  EXPECT_NE(renderer.find(asked ? asked : "llvmpipe"), std::string::npos) << renderer;
}

TEST_F(Vendor, GivesOutItsOwnFunctionsUnderEveryName) {
  auto hooked = [](const char* name) {
    return reinterpret_cast<void*>(gl.glXGetProcAddress(reinterpret_cast<const GLubyte*>(name)));
  };
  for (const char* name : {"glXSwapBuffers", "glXMakeCurrent", "glDrawBuffer", "glReadBuffer",
                           "glGetIntegerv", "glXCreatePbuffer", "glXGetProcAddressARB"})
    EXPECT_EQ(hooked(name), find(name)) << name;
}

} // namespace
} // namespace zol::softgpu::test
