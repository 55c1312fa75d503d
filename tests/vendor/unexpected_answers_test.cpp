// What the system and the local display answer where nobody expects it.

#include "rig/fixture.h"

#include <X11/Xlib-xcb.h>
#include <xcb/glx.h>

#include <cerrno>
#include <dlfcn.h>
#include <unistd.h>

using namespace zol::rig;

namespace {

bool linksAreUnreadable = false;
bool connectionsAreBroken = false;
bool extensionsAreMissing = false;
int extensionErrors = 0; // that many questions for ZOL-V1 or GLX raise an X error

// The server string to lie about, 0: none; and how long it is said to be.
int stringsUntilLie = 0;
int (*lieAboutLength)(const xcb_glx_query_server_string_reply_t* reply) = nullptr;
// The server string that is asked for a screen which does not exist, 0: none.
int stringsUntilWrongScreen = 0;

template <class Function>
Function* realFunction(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Whether this is the one that was counted down to.
bool isDue(int& counter) {
  return counter > 0 && --counter == 0;
}

} // namespace

// Too large an allocation fails under the sanitizers as it does without them.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

// Those of libc, Xlib and xcb, which these stand before.
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
  return isDue(stringsUntilLie) ? lieAboutLength(reply) : length;
}

__attribute__((visibility("default"))) xcb_glx_query_server_string_cookie_t
xcb_glx_query_server_string(xcb_connection_t* connection, std::uint32_t screen,
                            std::uint32_t name) {
  static auto* const real =
      realFunction<decltype(xcb_glx_query_server_string)>("xcb_glx_query_server_string");
  return real(connection, isDue(stringsUntilWrongScreen) ? 99 : screen, name);
}

__attribute__((visibility("default"))) xcb_connection_t* XGetXCBConnection(Display* display) {
  static auto* const real = realFunction<decltype(XGetXCBConnection)>("XGetXCBConnection");
  return connectionsAreBroken ? xcb_connect("no display", nullptr) : real(display);
}

__attribute__((visibility("default"))) Bool XQueryExtension(Display* display, const char* name,
                                                            int* opcode, int* event, int* error) {
  static auto* const real = realFunction<decltype(XQueryExtension)>("XQueryExtension");
  if (extensionErrors > 0 && (name == std::string("ZOL-V1") || name == std::string("GLX"))) {
    --extensionErrors;
    XMapWindow(display, None); // no such window
    XSync(display, False);
  }
  return real(display, name, opcode, event, error);
}

__attribute__((visibility("default"))) XExtCodes* XInitExtension(Display* display,
                                                                 const char* name) {
  static auto* const real = realFunction<decltype(XInitExtension)>("XInitExtension");
  return extensionsAreMissing ? nullptr : real(display, name);
}
}

namespace {

const std::string kFind = "char* findSystemGLXVendor()";
const std::string kQuery = "char* queryXServerString(Display*, int, int)";

class UnexpectedAnswer : public Rig {
protected:
  void announce(const std::string& names) {
    const auto& local = startAnnouncingServer(names);
    set("DISPLAY", startApplicationServer(local.name()).name());
    set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
    searching_ = "D " + kFind + ": Searching on local 3D accelerated X display " + local.name();
    notSupported_ = "E " + kFind + ": ERROR: glVND not supported on X display " + local.name();
  }
  // No driver is found, and this is all that the search says.
  void expectNothingFound(const Lines& search) {
    EXPECT_EQ(enter(), 0);
    Lines lines = logged();
    std::erase_if(lines, [](const std::string& line) {
      return line.find(kFind) == std::string::npos && line.find(kQuery) == std::string::npos;
    });
    EXPECT_TRUE(sameLines(Lines{searching_ + "..."} + search, lines));
  }

  std::string searching_;
  std::string notSupported_;
};

TEST_F(UnexpectedAnswer, ThatTellsNoProgramNameExcludesNobody) {
  startServers();
  linksAreUnreadable = true;
  for (int call = 1; call <= 2; ++call) { // the program is looked at each time
    EXPECT_EQ(enter(), 1);
    EXPECT_TRUE(
        hasLine(logged(), "W bool isExcluded(): ZOL-GL GLVND: Could not obtain process name"));
  }
  linksAreUnreadable = false;
}

TEST_F(UnexpectedAnswer, ThatIsAnErrorWhileLookingForExtensionsIsNotTheProgramsToSee) {
  static int seen = 0;
  XSetErrorHandler([](Display*, XErrorEvent*) { return ++seen; });
  startServers();
  extensionErrors = 2;
  EXPECT_EQ(enter(), 1);
  EXPECT_EQ(extensionErrors, 0);
  EXPECT_EQ(seen, 0);
}

TEST_F(UnexpectedAnswer, ThatTheExtensionIsGoneLeadsToTheFirstDisplay) {
  startServers();
  outside::fail("XOpenDisplay", 1, 2); // there may be such a display, of somebody else
  extensionsAreMissing = true;
  EXPECT_EQ(enter(), 0);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, "W " + kFind +
                                 ": The local 3D accelerated X display is not specified. Using "
                                 "default display (:0.0)."));
  EXPECT_TRUE(
      hasLine(lines, "D " + kFind + ": Searching on local 3D accelerated X display :0.0..."));
}

TEST_F(UnexpectedAnswer, OfABrokenConnectionIsNone) {
  announce("recorder");
  connectionsAreBroken = true;
  expectNothingFound({notSupported_});
}

TEST_F(UnexpectedAnswer, ThatIsAnErrorIsNoExtensions) {
  announce("recorder");
  stringsUntilWrongScreen = 1;
  expectNothingFound(
      {"W " + kQuery + ": Could not get the GLX query server string", notSupported_});
}

// The search adds no word of its own.
TEST_F(UnexpectedAnswer, ThatIsAnErrorIsNoList) {
  announce("recorder");
  stringsUntilWrongScreen = 2; // after the extensions
  expectNothingFound({"W " + kQuery + ": Could not get the GLX query server string"});
}

TEST_F(UnexpectedAnswer, WithAListLongerThanWhatWasSentIsNone) {
  announce("recorder");
  stringsUntilLie = 2; // after the extensions
  lieAboutLength = [](const xcb_glx_query_server_string_reply_t* reply) {
    return static_cast<int>(reply->length) * 4 + 1;
  };
  expectNothingFound({"W " + kQuery + ": Could not get GLX query string from reply"});
}

TEST_F(UnexpectedAnswer, WithAListThatNoMemoryHoldsIsNone) {
  announce("recorder");
  stringsUntilLie = 2;
  lieAboutLength = [](const xcb_glx_query_server_string_reply_t*) { return -2; };
  expectNothingFound({"W " + kQuery + ": Could not allocate memory for query string: -2"});
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

// A server that a program merely shows its windows on has no say in what files are loaded.
TEST_F(UnexpectedAnswer, WithAPathIsPassedOver) {
  announce("x/../../recorder ../recorder recorder");
  EXPECT_EQ(enter(), 1);
  const Lines lines = logged();
  for (const char* path : {"x/../../recorder", "../recorder"}) {
    EXPECT_TRUE(
        hasLine(lines, "W " + kFind + ": System vendor name '" + path + "' is a path, skipping"));
    EXPECT_FALSE(hasLine(lines, "<any>'libGLX_" + std::string(path) + "<any>"));
  }
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
