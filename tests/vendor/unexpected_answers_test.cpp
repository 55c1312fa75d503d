// What the system and the local display answer where nobody expects it.

#include "rig/fixture.h"

#include <xcb/glx.h>

#include <cerrno>
#include <dlfcn.h>
#include <unistd.h>

using namespace zol::rig;

namespace {

bool linksAreUnreadable = false;
int stringsUntilLie = 0; // 0: no lie

template <class Function>
Function* realFunction(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// Those of libc and xcb, which these stand before.
extern "C" {
__attribute__((visibility("default"))) ssize_t readlink(const char* path, char* buffer,
                                                        size_t size) noexcept {
  static auto* const real = realFunction<ssize_t(const char*, char*, size_t)>("readlink");
  if (!linksAreUnreadable) return real(path, buffer, size);
  errno = EACCES;
  return -1;
}

__attribute__((visibility("default"))) int
xcb_glx_query_server_string_string_length(const xcb_glx_query_server_string_reply_t* reply) {
  static auto* const real = realFunction<int(const xcb_glx_query_server_string_reply_t*)>(
      "xcb_glx_query_server_string_string_length");
  const int length = real(reply);
  // One byte more than there is room for in what was sent.
  return stringsUntilLie > 0 && --stringsUntilLie == 0 ? static_cast<int>(reply->length) * 4 + 1
                                                       : length;
}
}

namespace {

const std::string kFind = "char* findSystemGLXVendor()";

class UnexpectedAnswer : public Rig {
protected:
  void announce(const std::string& names) {
    const auto& local = startAnnouncingServer(names);
    set("DISPLAY", startApplicationServer(local.name()).name());
    set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
  }
};

TEST_F(UnexpectedAnswer, ThatTellsNoProgramNameExcludesNobody) {
  startServers();
  linksAreUnreadable = true;
  EXPECT_EQ(enter(), 1);
  linksAreUnreadable = false;
  EXPECT_TRUE(
      hasLine(logged(), "W bool isExcluded(): ZOL-GL GLVND: Could not obtain process name"));
}

TEST_F(UnexpectedAnswer, WithAListLongerThanWhatWasSentIsNone) {
  announce("recorder");
  stringsUntilLie = 2; // after the extensions
  EXPECT_EQ(enter(), 0);
  EXPECT_EQ(stringsUntilLie, 0);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, "W char* queryXServerString(Display*, int, int): Could not get GLX "
                             "query string from reply"));
  EXPECT_EQ(lines.back(), "E " + kMainLabel + ": No supported glVND vendor found on local display");
}

// "libGLX_" and ".so.0" leave 242 characters of the file name's 254.
TEST_F(UnexpectedAnswer, WithANameThatJustFitsIsTried) {
  const std::string name(242, 'v');
  announce(name + " recorder");
  EXPECT_EQ(enter(), 1);
  EXPECT_TRUE(hasLine(logged(), "D " + kFind +
                                    ": Attempting to load detected system glVND vendor library "
                                    "'libGLX_" +
                                    name + ".so.0'..."));
}

TEST_F(UnexpectedAnswer, WithANameTooLongByOneIsPassedOver) {
  const std::string name(243, 'v');
  announce(name + " recorder");
  EXPECT_EQ(enter(), 1);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, "W " + kFind + ": System vendor name '" + name.substr(0, 64) +
                                 "...' is too long, skipping"));
  EXPECT_FALSE(hasLine(lines, "<any>'libGLX_vvv<any>"));
}

} // namespace
