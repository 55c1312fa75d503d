#include "rig/log_file.h" // GoogleTest goes before Xlib, which defines None and True
#include "rig/recorder.h"
#include "rig/servers.h"
#include "rig/vendor_host.h"

#include <array>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <set>
#include <thread>

using namespace zol::rig;

namespace {

using Texts = Lines;

template <class Function>
Function driverFunction(const char* name) {
  return reinterpret_cast<Function>(recorder().address(name));
}

#define DRIVER(function) driverFunction<decltype(&::function)>(#function)

class RecordingDriver : public testing::Test {
protected:
  // The driver is entered the way a front end does it.
  int enter() {
    void* const handle = dlopen("libGLX_mesa.so.0", RTLD_NOW);
    if (handle == nullptr) return -1;
    const auto entry = reinterpret_cast<__PFNGLXMAINPROC>(dlsym(handle, "__glx_Main"));
    return entry(1u << 16, nullptr, nullptr, &imports_);
  }

  Display* openLocal() {
    const auto& server = startPlainServer();
    recorder().nameDisplay(server.name(), "local");
    return XOpenDisplay(server.name().c_str());
  }

  __GLXapiImports imports_{};
};

TEST_F(RecordingDriver, IsWhatTheLoaderFindsUnderTheNameThatServersAnnounce) {
  recorder();
  ASSERT_EQ(enter(), 1);
  EXPECT_EQ(texts(recorder().take()), Texts{"__glx_Main(0x10000, NULL, NULL, imports)"});
  EXPECT_EQ(imports_.getProcAddress(reinterpret_cast<const GLubyte*>("glFlush")),
            recorder().address("glFlush"));
  EXPECT_EQ(recorder().lookups(), Texts{"glFlush"});
}

TEST_F(RecordingDriver, HasEveryFunctionOfTheTableOnce) {
  Texts names;
#define ZOL_SYSTEM_FUNCTION(function, message) names.push_back(#function);
#include "vendor/system_functions.def"
  EXPECT_EQ(names.size(), 157u);
  std::set<void*> addresses;
  for (const std::string& name : names) {
    void* const address = recorder().address(name);
    EXPECT_NE(address, nullptr) << name;
    addresses.insert(address);
  }
  EXPECT_EQ(addresses.size(), names.size());
  EXPECT_EQ(recorder().address("glNoSuchFunction"), nullptr);
}

TEST_F(RecordingDriver, WritesCallsWithTheirArguments) {
  Display* const local = openLocal();
  const GLXFBConfig config = recorder().addConfig({});
  const GLXContext context =
      DRIVER(glXCreateNewContext)(local, config, GLX_RGBA_TYPE, nullptr, True);
  const int attributes[] = {GLX_PBUFFER_WIDTH, 20, GLX_PBUFFER_HEIGHT, 30, 0};
  const GLXPbuffer pbuffer = DRIVER(glXCreatePbuffer)(local, config, attributes);
  EXPECT_EQ(DRIVER(glXMakeCurrent)(local, pbuffer, context), True);
  GLuint buffer = 0;
  DRIVER(glGenBuffers)(1, &buffer);
  DRIVER(glBindBuffer)(GL_PIXEL_PACK_BUFFER, buffer);
  DRIVER(glDeleteBuffers)(1, &buffer);
  DRIVER(glXMakeCurrent)(local, 0, nullptr);
  EXPECT_EQ(texts(recorder().take()),
            (Texts{"glXCreateNewContext(local, fb1, GLX_RGBA_TYPE, NULL, 1) = ctx1",
                   "glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=20, GLX_PBUFFER_HEIGHT=30, 0})"
                   " = pbuffer1",
                   "glXMakeCurrent(local, pbuffer1, ctx1)", "glGenBuffers(1) = 1",
                   "glBindBuffer(GL_PIXEL_PACK_BUFFER, 1)", "glDeleteBuffers(1, {1})",
                   "glXMakeCurrent(local, 0, NULL)"}));
  EXPECT_EQ(recorder().complaints(), Texts{});
  XCloseDisplay(local);
}

TEST_F(RecordingDriver, FailsTheCallsThatTheTestNames) {
  Display* const local = openLocal();
  recorder().fail("glXCreateNewContext", 2);
  const auto create = DRIVER(glXCreateNewContext);
  EXPECT_NE(create(local, nullptr, GLX_RGBA_TYPE, nullptr, True), nullptr);
  EXPECT_EQ(create(local, nullptr, GLX_RGBA_TYPE, nullptr, True), nullptr);
  EXPECT_NE(create(local, nullptr, GLX_RGBA_TYPE, nullptr, True), nullptr);
  EXPECT_EQ(texts(recorder().take())[1],
            "glXCreateNewContext(local, NULL, GLX_RGBA_TYPE, NULL, 1) -> failed");
  XCloseDisplay(local);
}

TEST_F(RecordingDriver, RefusesAndLacksWhatTheTestSays) {
  recorder().setAbsent("glFlush");
  EXPECT_EQ(recorder().address("glFlush"), nullptr);
  EXPECT_NE(recorder().address("glFinish"), nullptr);
  recorder().setAbsent("__glx_Main");
  EXPECT_EQ(enter(), 0);
  EXPECT_EQ(imports_.getProcAddress, nullptr);
}

TEST_F(RecordingDriver, DeliversTheFrameThatTheTestSets) {
  Display* const local = openLocal();
  const GLXContext context =
      DRIVER(glXCreateNewContext)(local, nullptr, GLX_RGBA_TYPE, nullptr, True);
  const GLXPbuffer pbuffer = DRIVER(glXCreatePbuffer)(local, nullptr, std::array{0}.data());
  DRIVER(glXMakeCurrent)(local, pbuffer, context);
  GLuint buffer = 0;
  DRIVER(glGenBuffers)(1, &buffer);
  DRIVER(glBindBuffer)(GL_PIXEL_PACK_BUFFER, buffer);
  DRIVER(glBufferData)(GL_PIXEL_PACK_BUFFER, 2 * 2 * 4, nullptr, GL_STREAM_READ);
  recorder().setFrame([](int x, int y) { return 0xff000000u + static_cast<unsigned>(x + 10 * y); });
  DRIVER(glReadPixels)(0, 0, 2, 2, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
  const void* const pixels = DRIVER(glMapBufferRange)(GL_PIXEL_PACK_BUFFER, 0, 16, GL_MAP_READ_BIT);
  ASSERT_NE(pixels, nullptr);
  const std::uint32_t expected[] = {0xff000000u, 0xff000001u, 0xff00000au, 0xff00000bu};
  EXPECT_EQ(std::memcmp(pixels, expected, sizeof expected), 0);
  EXPECT_EQ(recorder().complaints(), Texts{});
  XCloseDisplay(local);
}

TEST_F(RecordingDriver, ComplainsAboutUsesThatNoDriverForgives) {
  Display* const local = openLocal();
  DRIVER(glReadBuffer)(GL_FRONT);
  DRIVER(glXDestroyPbuffer)(local, 0x5a000009);
  const GLXContext context =
      DRIVER(glXCreateNewContext)(local, nullptr, GLX_RGBA_TYPE, nullptr, True);
  DRIVER(glXDestroyContext)(local, context);
  DRIVER(glXDestroyContext)(local, context);
  EXPECT_EQ(recorder().complaints(),
            (Texts{"glReadBuffer without a context",
                   "destruction of a pbuffer that does not exist: 0x5a000009",
                   "glXDestroyContext of ctx1, again"}));
  XCloseDisplay(local);
}

TEST_F(RecordingDriver, ComplainsAboutTwoThreadsOnTheLocalDisplayAtOnce) {
  Display* const local = openLocal();
  recorder().setHook("glXSwapBuffers", [&] {
    std::thread([&] { DRIVER(glXIsDirect)(local, nullptr); }).join();
  });
  DRIVER(glXSwapBuffers)(local, 0);
  EXPECT_EQ(recorder().complaints(),
            Texts{"glXIsDirect on the local display while another thread is in glXSwapBuffers"});
  XCloseDisplay(local);
}

} // namespace
