#include "rig/fixture.h"
#include "rig/lock_probe.h"

#include <cstring>
#include <thread>

using namespace zol::rig;

namespace {

const std::string kVersion = "int zol_glXQueryVersion(Display*, int*, int*)";
const std::string kExtension = "int zol_glXQueryExtension(Display*, int*, int*)";
const std::string kServerString = "const char* zol_glXQueryServerString(Display*, int, int)";
const std::string kExtensions = "const char* zol_glXQueryExtensionsString(Display*, int)";
const std::string kClientString = "const char* zol_glXGetClientString(Display*, int)";
const std::string kStringi = "const GLubyte* zol_glGetStringi(GLenum, GLuint)";

// All that the library can carry, in the order in which it names them.
const std::string kSupported =
    "GLX_ARB_get_proc_address GLX_ARB_multisample GLX_ARB_create_context "
    "GLX_ARB_create_context_profile GLX_EXT_visual_info GLX_EXT_visual_rating GLX_SGIX_fbconfig "
    "GLX_SGIX_pbuffer GLX_NV_float_buffer GLX_ARB_fbconfig_float GLX_EXT_fbconfig_packed_float "
    "GLX_EXT_texture_from_pixmap GLX_EXT_framebuffer_sRGB";
const std::string kOwn = " GLX_YRSO_zol_remote_rendering_bridge";

class GLXStrings : public Rig {
protected:
  void open() {
    start();
    display_ = openDisplay();
    queryVersion_ = GL_OF(host(), glXQueryVersion);
    queryExtension_ = GL_OF(host(), glXQueryExtension);
    serverString_ = GL_OF(host(), glXQueryServerString);
    extensions_ = GL_OF(host(), glXQueryExtensionsString);
    clientString_ = GL_OF(host(), glXGetClientString);
    forget();
  }
  // open(), and the displays are paired already.
  void openPaired() {
    open();
    queryExtension_(display_, nullptr, nullptr);
    forget();
  }
  void offerExtensions(const std::string& extensions) {
    recorder().setExtensions("local", extensions);
    recorder().setString("glXGetClientString", GLX_EXTENSIONS, extensions);
  }
  static Lines pairingLines(Display* display) {
    const std::string pointer = address(display);
    return {debugLine(kSetupAppDisplayLabel, "setting TSD appdpy " + pointer),
            debugLine(kSetupAppDisplayLabel, "ZOL ext is enabled on display <any> (<ptr>)"),
            "I " + kGetLocalDisplayLabel + ": opened local display <any> mapped to " + pointer};
  }

  Display* display_ = nullptr;
  decltype(&::glXQueryVersion) queryVersion_ = nullptr;
  decltype(&::glXQueryExtension) queryExtension_ = nullptr;
  decltype(&::glXQueryServerString) serverString_ = nullptr;
  decltype(&::glXQueryExtensionsString) extensions_ = nullptr;
  decltype(&::glXGetClientString) clientString_ = nullptr;
};

// Version and extension ------------------------------------------------------------------------

TEST_F(GLXStrings, VersionIsTheLocalDrivers) {
  open();
  recorder().setAnswer("glXQueryVersion", 7, {3, 9});
  int major = 0, minor = 0;
  EXPECT_EQ(queryVersion_(display_, &major, &minor), True); // whatever the driver means by true
  EXPECT_EQ(major, 3);
  EXPECT_EQ(minor, 9);
  EXPECT_LINES(logged(), {debugLine(kVersion, "START")} + pairingLines(display_));
  EXPECT_LINES(driverCalls(), {"glXQueryVersion(local, &, &)"});
}

TEST_F(GLXStrings, VersionThatTheDriverDoesNotTellIsNone) {
  open();
  recorder().fail("glXQueryVersion");
  int major = 5, minor = 5;
  EXPECT_EQ(queryVersion_(display_, &major, &minor), False);
  EXPECT_EQ(major, 5);
  EXPECT_EQ(minor, 5);
}

TEST_F(GLXStrings, ExtensionIsTheLocalDriversUnchanged) {
  open();
  recorder().setAnswer("glXQueryExtension", 7, {150, 90});
  int errorBase = 0, eventBase = 0;
  EXPECT_EQ(queryExtension_(display_, &errorBase, &eventBase), 7);
  EXPECT_EQ(errorBase, 150);
  EXPECT_EQ(eventBase, 90);
  EXPECT_LINES(logged(), {debugLine(kExtension, "START")} + pairingLines(display_));
  EXPECT_LINES(driverCalls(), {"glXQueryExtension(local, &, &)"});
}

TEST_F(GLXStrings, OfNoDisplayAreTheDriversBusiness) {
  open();
  recorder().setString("glXQueryServerString", GLX_VERSION, "9.9");
  recorder().setString("glXGetClientString", GLX_VERSION, "8.8");
  int first = 0, second = 0;
  EXPECT_EQ(queryVersion_(nullptr, &first, &second), True);
  EXPECT_EQ(queryExtension_(nullptr, &first, &second), True);
  EXPECT_STREQ(serverString_(nullptr, 0, GLX_VERSION), "9.9");
  EXPECT_STREQ(clientString_(nullptr, GLX_VERSION), "8.8");
  EXPECT_EQ(extensions_(nullptr, 0), nullptr);
  EXPECT_LINES(
      logged(),
      {debugLine(kVersion, "START"), debugLine(kVersion, "Called with NULL display"),
       debugLine(kExtension, "START"), debugLine(kExtension, "Called with NULL display"),
       debugLine(kServerString, "querying 2"), debugLine(kServerString, "Called with NULL display"),
       debugLine(kClientString, "querying 2"), debugLine(kClientString, "Called with NULL display"),
       debugLine(kExtensions, "START"), debugLine(kExtensions, "Called with NULL display")});
  EXPECT_LINES(driverCalls(), {"glXQueryVersion(NULL, &, &)", "glXQueryExtension(NULL, &, &)",
                               "glXQueryServerString(NULL, 0, 2)", "glXGetClientString(NULL, 2)"});
}

TEST_F(GLXStrings, AreAskedForUnderTheLocalDisplaysMutex) {
  openPaired();
  offerExtensions(kSupported);
  int first = 0, second = 0;
  EXPECT_LOCKED(host(), display_, "glXQueryVersion", queryVersion_(display_, &first, &second));
  EXPECT_LOCKED(host(), display_, "glXQueryExtension", queryExtension_(display_, &first, &second));
  EXPECT_LOCKED(host(), display_, "glXQueryServerString", serverString_(display_, 0, GLX_VERSION));
  EXPECT_LOCKED(host(), display_, "glXQueryExtensionsString", extensions_(display_, 0));
  EXPECT_LOCKED(host(), display_, "glXGetClientString", clientString_(display_, GLX_VERSION));
  EXPECT_LOCKED(host(), display_, "glXGetClientString", clientString_(display_, GLX_EXTENSIONS));
}

// Server string --------------------------------------------------------------------------------

TEST_F(GLXStrings, ServersVendorIsTheLibrarysOwn) {
  open();
  recorder().setString("glXQueryServerString", GLX_VENDOR, "a driver's maker");
  EXPECT_STREQ(serverString_(display_, 0, GLX_VENDOR), "YRSO Systems");
  EXPECT_STREQ(serverString_(nullptr, 0, GLX_VENDOR), "YRSO Systems");
  EXPECT_LINES(logged(),
               {debugLine(kServerString, "querying 1"), debugLine(kServerString, "querying 1")});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(GLXStrings, ServersVendorMayBeTheDrivers) {
  set("ZOL_GL_ORIGINAL_VENDOR", "1");
  openPaired();
  recorder().setString("glXQueryServerString", GLX_VENDOR, "a driver's maker");
  EXPECT_STREQ(serverString_(display_, 0, GLX_VENDOR), "a driver's maker");
  EXPECT_LINES(logged(), {debugLine(kServerString, "querying 1")});
  EXPECT_LINES(driverCalls(), {"glXQueryServerString(local, 0, 1)"});
}

TEST_F(GLXStrings, OtherServerStringsAreTheDriversWhole) {
  openPaired();
  recorder().setString("glXQueryServerString", GLX_VERSION, "1.4");
  recorder().setString("glXQueryServerString", GLX_EXTENSIONS, "GLX_SGI_swap_control GLX_FOO");
  EXPECT_STREQ(serverString_(display_, 7, GLX_VERSION), "1.4");
  EXPECT_STREQ(serverString_(display_, 7, GLX_EXTENSIONS), "GLX_SGI_swap_control GLX_FOO");
  EXPECT_EQ(serverString_(display_, 7, 0x20F6), nullptr);
  EXPECT_LINES(logged(),
               {debugLine(kServerString, "querying 2"), debugLine(kServerString, "querying 3"),
                debugLine(kServerString, "querying 8438")});
  // The screen is the local display's, never the one that was asked for.
  EXPECT_LINES(driverCalls(),
               {"glXQueryServerString(local, 0, 2)", "glXQueryServerString(local, 0, 3)",
                "glXQueryServerString(local, 0, 8438)"});
}

TEST_F(GLXStrings, AreThoseOfTheLocalDisplaysOwnScreen) {
  startServersWithSecondScreen();
  begin();
  Display* const display = openDisplay();
  const auto serverString = GL_OF(host(), glXQueryServerString);
  const auto extensions = GL_OF(host(), glXQueryExtensionsString);
  forget();
  serverString(display, 0, GLX_VERSION);
  extensions(display, 0);
  EXPECT_LINES(driverCalls(),
               {"glXQueryServerString(local, 1, 2)", "glXQueryExtensionsString(local, 1)"});
}

// Extensions -----------------------------------------------------------------------------------

TEST_F(GLXStrings, ExtensionsAreTheSupportedOnesInOrderAndTheLibrarysOwn) {
  open();
  offerExtensions("GLX_SGI_swap_control GLX_EXT_framebuffer_sRGB GLX_EXT_texture_from_pixmap "
                  "GLX_EXT_fbconfig_packed_float GLX_ARB_fbconfig_float GLX_NV_float_buffer "
                  "GLX_SGIX_pbuffer GLX_SGIX_fbconfig GLX_EXT_visual_rating GLX_EXT_visual_info "
                  "GLX_ARB_create_context_profile GLX_ARB_create_context GLX_ARB_multisample "
                  "GLX_ARB_get_proc_address GLX_EXT_buffer_age");
  EXPECT_EQ(extensions_(display_, 5), kSupported + kOwn);
  EXPECT_LINES(logged(), {debugLine(kExtensions, "START")} + pairingLines(display_) +
                             Lines{debugLine(kExtensions, "Extensions: " + kSupported + kOwn)});
  EXPECT_LINES(driverCalls(), {"glXQueryExtensionsString(local, 0)"});
}

TEST_F(GLXStrings, ClientExtensionsAreFilteredAlike) {
  open();
  recorder().setExtensions("local", "GLX_SGIX_pbuffer");
  recorder().setString("glXGetClientString", GLX_EXTENSIONS,
                       "GLX_MESA_swap_control " + kSupported + " GLX_EXT_import_context");
  EXPECT_EQ(clientString_(display_, GLX_EXTENSIONS), kSupported + kOwn);
  EXPECT_LINES(logged(), {debugLine(kClientString, "querying 3")} + pairingLines(display_) +
                             Lines{debugLine(kClientString, "Extensions: " + kSupported + kOwn)});
  EXPECT_LINES(driverCalls(), {"glXGetClientString(local, 3)"});
  EXPECT_EQ(extensions_(display_, 0), "GLX_SGIX_pbuffer" + kOwn); // a cache of its own
}

TEST_F(GLXStrings, ExtensionsAreComparedAsWholeWords) {
  open();
  offerExtensions("GLX_ARB_multisample_extended GLX_ARB_multisample XGLX_SGIX_pbuffer "
                  "GLX_SGIX_fbconfig\tGLX_EXT_visual_info GLX_EXT_visual_rating:");
  EXPECT_EQ(extensions_(display_, 0), "GLX_ARB_multisample" + kOwn);
  EXPECT_EQ(clientString_(display_, GLX_EXTENSIONS), "GLX_ARB_multisample" + kOwn);
}

TEST_F(GLXStrings, WithoutSupportedExtensionsTheLibrarysOwnFollowsABlank) {
  open();
  offerExtensions("GLX_SGI_swap_control");
  EXPECT_EQ(extensions_(display_, 0), kOwn);
  EXPECT_STREQ(clientString_(display_, GLX_EXTENSIONS), " GLX_YRSO_zol_remote_rendering_bridge");
}

TEST_F(GLXStrings, WithoutAnyExtensionsTheLibrarysOwnIsLeft) {
  open();
  recorder().fail("glXQueryExtensionsString");
  EXPECT_EQ(extensions_(display_, 0), kOwn);
  EXPECT_EQ(clientString_(display_, GLX_EXTENSIONS), kOwn); // no string set: null
}

// The texts differ for the same settings.
TEST_F(GLXStrings, ExtensionsMayBeExcludedByBothSettings) {
  set("ZOL_GL_GLX_EXT_BLACKLIST", "GLX_SGIX_pbuffer GLX_NV_float_buffer");
  set("ZOL_GL_GLX_EXT_DENYLIST", "GLX_ARB_multisample");
  openPaired();
  offerExtensions("GLX_ARB_multisample GLX_SGIX_fbconfig GLX_SGIX_pbuffer GLX_NV_float_buffer");
  const std::string left = "GLX_SGIX_fbconfig" + kOwn;
  EXPECT_EQ(extensions_(display_, 0), left);
  EXPECT_LINES(
      logged(),
      {debugLine(kExtensions, "START"), debugLine(kExtensions, "Extensions: " + left),
       debugLine(kExtensions, "Denylisted Extensions: GLX_ARB_multisample"),
       debugLine(kExtensions, "Excluded Extensions: GLX_SGIX_pbuffer GLX_NV_float_buffer")});
  EXPECT_EQ(clientString_(display_, GLX_EXTENSIONS), left);
  EXPECT_LINES(logged(), {debugLine(kClientString, "querying 3"),
                          debugLine(kClientString, "Extensions: " + left),
                          debugLine(kClientString, "Excluded Extensions: GLX_ARB_multisample"),
                          debugLine(kClientString, "Excluded Extensions (legacy): GLX_SGIX_pbuffer "
                                                   "GLX_NV_float_buffer")});
}

TEST_F(GLXStrings, ExtensionsMayBeExcludedByTheOlderSettingAlone) {
  set("ZOL_GL_GLX_EXT_BLACKLIST", "GLX_SGIX_pbuffer");
  openPaired();
  offerExtensions("GLX_SGIX_fbconfig GLX_SGIX_pbuffer");
  const std::string left = "GLX_SGIX_fbconfig" + kOwn;
  EXPECT_EQ(extensions_(display_, 0), left);
  EXPECT_LINES(logged(),
               {debugLine(kExtensions, "START"), debugLine(kExtensions, "Extensions: " + left),
                debugLine(kExtensions, "Excluded Extensions: GLX_SGIX_pbuffer")});
  EXPECT_EQ(clientString_(display_, GLX_EXTENSIONS), left);
  EXPECT_LINES(logged(),
               {debugLine(kClientString, "querying 3"),
                debugLine(kClientString, "Extensions: " + left),
                debugLine(kClientString, "Excluded Extensions (legacy): GLX_SGIX_pbuffer")});
}

TEST_F(GLXStrings, ExtensionsAreBuiltOnceForTheProcess) {
  open();
  offerExtensions("GLX_SGIX_pbuffer");
  const char* const extensions = extensions_(display_, 0);
  const char* const client = clientString_(display_, GLX_EXTENSIONS);
  EXPECT_NE(extensions, client);
  offerExtensions("GLX_ARB_multisample");
  Display* const other = openDisplay();
  forget();
  // Whatever is asked, and by whomever.
  EXPECT_EQ(extensions_(other, 0), extensions);
  EXPECT_EQ(extensions_(nullptr, 0), extensions);
  EXPECT_EQ(clientString_(other, GLX_EXTENSIONS), client);
  EXPECT_EQ(clientString_(nullptr, GLX_EXTENSIONS), client);
  std::thread([&] {
    EXPECT_EQ(extensions_(other, 0), extensions);
    EXPECT_EQ(clientString_(other, GLX_EXTENSIONS), client);
  }).join();
  EXPECT_LINES(logged(),
               {debugLine(kExtensions, "START"), debugLine(kExtensions, "START"),
                debugLine(kClientString, "querying 3"), debugLine(kClientString, "querying 3")});
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_EQ(driverCallsOfOthers(), Lines{});
}

// Whoever comes before the string is there builds one too, and the last one stays. The other is
// never freed, as somebody has it.
TEST_F(GLXStrings, ExtensionsThatTwoBuildAtOnceAreThoseOfTheLater) {
  openPaired();
  offerExtensions("GLX_SGIX_pbuffer");
  struct Answers {
    const char* mine;
    const char* others;
  };
  const auto askAtOnce = [](const char* function, const std::function<const char*()>& ask) {
    Answers answers{};
    {
      const LockProbe probe(function, [&] { answers.others = ask(); });
      answers.mine = ask();
    }
    EXPECT_NE(answers.mine, answers.others) << function;
    EXPECT_EQ(answers.mine, "GLX_SGIX_pbuffer" + kOwn) << function;
    EXPECT_EQ(answers.others, "GLX_SGIX_pbuffer" + kOwn) << function;
    const char* const kept = ask();
    EXPECT_TRUE(kept == answers.mine || kept == answers.others) << function;
    return answers;
  };
  static Answers extensions, client; // the leak checker finds them here
  extensions = askAtOnce("glXQueryExtensionsString", [this] { return extensions_(display_, 0); });
  client =
      askAtOnce("glXGetClientString", [this] { return clientString_(display_, GLX_EXTENSIONS); });
}

// Client string --------------------------------------------------------------------------------

TEST_F(GLXStrings, ClientsVendorIsTheLibrarysOwn) {
  open();
  recorder().setString("glXGetClientString", GLX_VENDOR, "a driver's maker");
  EXPECT_STREQ(clientString_(display_, GLX_VENDOR), "YRSO Systems");
  EXPECT_LINES(logged(), {debugLine(kClientString, "querying 1")});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(GLXStrings, ClientsVendorMayBeTheDrivers) {
  set("ZOL_GL_ORIGINAL_VENDOR", "1");
  openPaired();
  recorder().setString("glXGetClientString", GLX_VENDOR, "a driver's maker");
  EXPECT_STREQ(clientString_(display_, GLX_VENDOR), "a driver's maker");
  EXPECT_LINES(logged(), {debugLine(kClientString, "querying 1")});
  EXPECT_LINES(driverCalls(), {"glXGetClientString(local, 1)"});
}

TEST_F(GLXStrings, OtherClientStringsAreTheDrivers) {
  openPaired();
  recorder().setString("glXGetClientString", GLX_VERSION, "1.4");
  EXPECT_STREQ(clientString_(display_, GLX_VERSION), "1.4");
  EXPECT_EQ(clientString_(display_, 4), nullptr);
  EXPECT_LINES(logged(),
               {debugLine(kClientString, "querying 2"), debugLine(kClientString, "querying 4")});
  EXPECT_LINES(driverCalls(), {"glXGetClientString(local, 2)", "glXGetClientString(local, 4)"});
}

// No local display -----------------------------------------------------------------------------

TEST_F(GLXStrings, OfADisplayThatCannotBePairedAreNone) {
  open();
  outside::fail("XOpenDisplay", 100);
  int first = 5, second = 5;
  EXPECT_EQ(queryVersion_(display_, &first, &second), False);
  EXPECT_EQ(queryExtension_(display_, &first, &second), False);
  EXPECT_EQ(serverString_(display_, 0, GLX_VERSION), nullptr);
  EXPECT_EQ(extensions_(display_, 0), nullptr);
  EXPECT_EQ(first, 5);
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_STREQ(serverString_(display_, 0, GLX_VENDOR), "YRSO Systems");
  outside::fail("XOpenDisplay", 0);
  offerExtensions("GLX_SGIX_pbuffer");
  EXPECT_EQ(extensions_(display_, 0), "GLX_SGIX_pbuffer" + kOwn); // the failure is not kept
}

// Unlike the others these are not about a display.
TEST_F(GLXStrings, ForClientsOfADisplayThatCannotBePairedAreTheDrivers) {
  open();
  outside::fail("XOpenDisplay", 100);
  recorder().setString("glXGetClientString", GLX_VERSION, "8.8");
  offerExtensions("GLX_SGIX_pbuffer");
  EXPECT_STREQ(clientString_(display_, GLX_VERSION), "8.8");
  EXPECT_EQ(clientString_(display_, GLX_EXTENSIONS), "GLX_SGIX_pbuffer" + kOwn);
  EXPECT_STREQ(clientString_(display_, GLX_VENDOR), "YRSO Systems");
  EXPECT_LINES(driverCalls(), {"glXGetClientString(NULL, 2)", "glXGetClientString(NULL, 3)"});
}

// Indexed GL extensions ------------------------------------------------------------------------

class IndexedStrings : public GLXStrings {
protected:
  void bind() {
    openPaired();
    GLXContext const context = createContext(display_, visuals_.doubled);
    const Window window = createWindow(display_, visuals_.doubled, 64, 48);
    ASSERT_EQ(makeCurrent(display_, window, context), True);
    getStringi_ = GL_OF(host(), glGetStringi);
    forget();
  }
  std::string extension(GLuint index) {
    const GLubyte* const text = getStringi_(GL_EXTENSIONS, index);
    return text != nullptr ? reinterpret_cast<const char*>(text) : "(null)";
  }
  decltype(&::glGetStringi) getStringi_ = nullptr;
};

TEST_F(IndexedStrings, AreTheDriversButForOneThatIsMasked) {
  bind();
  recorder().setString("glGetStringi", 0, "GL_ARB_sync");
  recorder().setString("glGetStringi", 1, "GL_EXT_x11_sync_object");
  recorder().setString("glGetStringi", 2, "gl_ext_X11_SYNC_OBJECT");
  recorder().setString("glGetStringi", 3, "GL_EXT_x11_sync_object2");
  recorder().setString("glGetStringi", 4, "");
  EXPECT_EQ(extension(0), "GL_ARB_sync");
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(extension(1), "");
  EXPECT_LINES(logged(), {"I " + kStringi + ": Masking extension: GL_EXT_x11_sync_object"});
  EXPECT_EQ(extension(2), "");
  EXPECT_LINES(logged(), {"I " + kStringi + ": Masking extension: GL_EXT_x11_sync_object"});
  EXPECT_EQ(extension(3), "GL_EXT_x11_sync_object2");
  EXPECT_EQ(extension(4), "");
  EXPECT_EQ(extension(5), "(null)");
  EXPECT_EQ(logged(), Lines{});
  EXPECT_LINES(driverCalls(), {"glGetStringi(GL_EXTENSIONS, 0)", "glGetStringi(GL_EXTENSIONS, 1)",
                               "glGetStringi(GL_EXTENSIONS, 2)", "glGetStringi(GL_EXTENSIONS, 3)",
                               "glGetStringi(GL_EXTENSIONS, 4)", "glGetStringi(GL_EXTENSIONS, 5)"});
}

TEST_F(IndexedStrings, OfADriverWithoutThemAreNone) {
  recorder().setAbsent("glGetStringi");
  bind();
  EXPECT_EQ(getStringi_(GL_EXTENSIONS, 0), nullptr);
}

// glGetString still lists what is masked by index.
TEST_F(IndexedStrings, AreMaskedWhereTheWholeStringIsNot) {
  bind();
  EXPECT_EQ(host().find("glGetString"), recorder().address("glGetString"));
}

} // namespace
