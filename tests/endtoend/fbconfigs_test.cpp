// What programs learn of FBConfigs and strings, and what they draw in windows and contexts that
// they make of FBConfigs.

#include "endtoend/delivery.h"
#include "endtoend/play.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace zol::endtoend {
namespace {

std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

void play(const std::string& name, const Script& script) {
  playThroughLibrary(name, script, appDisplay(), {});
}

// A window of an FBConfig with a context by the name of "new", "core" or "compatible".
Window stage(Play& play, const std::string& kind, const std::string& context, int x) {
  PictureProgram& program = play.program();
  const std::string name = "w" + std::to_string(x);
  play.same("find-config c " + kind);
  play.same("visual-of c");
  const Window window = std::stoul(
      program.ask("glx-window " + name + " c 200 150 " + std::to_string(x) + " 0"), nullptr, 16);
  if (context == "new") {
    program.ask("new-context " + name + " c");
  } else {
    program.ask("version-context " + name + " c 3 3 " + context);
  }
  program.ask("current " + name + " " + name);
  return window;
}

struct Kind {
  const char* name;
  const char* words;
  const char* context;
};

class Config : public testing::TestWithParam<Kind> {};

TEST_P(Config, MakesAWindowThatShowsTheSamePixels) {
  play(GetParam().name, [](Play& play) {
    const Window window = stage(play, GetParam().words, GetParam().context, 0);
    for (const int frame : {1, 2}) {
      play.show({"draw quadrants " + std::to_string(frame), "show w0"}, window, "quadrants", frame);
    }
    play.show({"resize w0 311 97", "frames bar 3 4"}, window, "bar", 4);
    play.same("current-draw w0");
    play.same("current-read w0");
    play.tell({"release", "forget w0", "destroy-glx-window w0", "destroy w0"});
  });
}

std::string nameOf(const testing::TestParamInfo<Kind>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(, Config,
                         testing::Values(Kind{"New24Double", "24 double", "new"},
                                         Kind{"New32Double", "32 double", "new"},
                                         Kind{"New24Single", "24 single", "new"},
                                         Kind{"New32Single", "32 single", "new"},
                                         Kind{"Core24Double", "24 double", "core"},
                                         Kind{"Core24Single", "24 single", "core"},
                                         Kind{"Core32Double", "32 double", "core"},
                                         Kind{"Compatible24Double", "24 double", "compatible"}),
                         nameOf);

TEST(Configs, AreChosenAsOnTheLocalDisplay) {
  play("choices", [](Play& play) {
    for (const char* request :
         {"", " double=1 red=8 depth=16", " double=0 red=8", " double=1 alpha=8 stencil=8",
          " double=1 accum=16", " double=1 render=1 drawables=5", " sample-buffers=1 samples=4",
          " stereo=1", " double=1 red=16", " level=1", " type=32770"}) {
      play.same("choose-config c" + std::string(request));
    }
  });
}

// What a program gets that takes the first that is offered.
TEST(Configs, GiveTheBuffersThatWereAskedFor) {
  play("buffers", [](Play& play) {
    for (const char* request :
         {"double=1 red=8 depth=16", "double=1 red=8 accum=16", "double=0 alpha=8 stencil=8",
          "double=1 red=8 sample-buffers=1 samples=4", "double=1 depth=24 stencil=8"}) {
      play.same("choose-config c " + std::string(request));
      play.tell({"glx-window w c 100 100", "new-context w c", "current w w"});
      for (const char* bits : {"0x0d52", "0x0d53", "0x0d54", "0x0d55", "0x0d56", "0x0d57", "0x0d58",
                               "0x0c32", "0x80a9"}) {
        play.same("get-integer " + std::string(bits));
      }
      play.tell({"release", "forget w", "destroy-glx-window w", "destroy w"});
    }
  });
}

// Smoothed edges too, and the first frame of a window that is resized.
TEST(Configs, WithSamplesShowTheSamePixels) {
  for (const char* buffers : {"1", "0"}) {
    play(std::string("samples") + buffers, [=](Play& play) {
      play.same(std::string("choose-config c double=") + buffers +
                " red=8 alpha=8 depth=24 stencil=8 sample-buffers=1 samples=4");
      const Window window =
          std::stoul(play.program().ask("glx-window w c 200 150 0 0"), nullptr, 16);
      play.tell({"new-context w c", "current w w"});
      EXPECT_EQ(play.same("get-integer 0x80a9"), "4");
      play.show({"draw quadrants 1", "show w"}, window, "quadrants", 1);
      play.show({"draw gradient 2", "draw star 2", "show w"}, window, "star", 2);
      play.show({"resize w 311 97", "frames bar 3 4"}, window, "bar", 4);
      play.show({"draw star 5", "show w"}, window, "star", 5);
    });
  }
}

// Whichever a program takes, the window that it makes of its visual can be drawn into.
TEST(Configs, AllHaveAVisualOfTheApplicationsDisplay) {
  const Folder folder;
  PictureProgram program(folder, appDisplay());
  EXPECT_GT(std::stoi(program.ask("check-configs")), 10);
  EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  EXPECT_EQ(program.end(), 0);
}

TEST(Configs, MakeContextsThatShareObjects) {
  play("shared", [](Play& play) {
    PictureProgram& program = play.program();
    const Window left = stage(play, "24 double", "new", 0);
    const Window right = stage(play, "24 double", "compatible", 300);
    program.ask("new-context user c w0");
    program.ask("version-context late c 3 0 compatible w0");
    for (const char* user : {"user", "late"}) {
      play.tell({"current w0 w0", "texture 2", "draw bar 1", "show w0"});
      play.show({"current w300 " + std::string(user), "draw texture 0", "show w300"}, left, "bar",
                1);
      play.look(right, "texture", 2);
    }
  });
}

TEST(Configs, MakeNoContextOfAVersionThatTheDriverDoesNotHave) {
  const Folder folder;
  PictureProgram program(folder, appDisplay());
  program.ask("find-config c 24 double");
  EXPECT_EQ(program.askInVain("version-context w c 9 9 core"), "no context");
  // The error is the program's to count, as it would be without the library.
  EXPECT_EQ(program.ask("errors"), "1") << program.errors();
  program.ask("version-context w c 3 3 core");
  EXPECT_EQ(program.end(), 0);
}

constexpr int kVendor = 1, kVersion = 2, kExtensions = 3;

std::string answer(const std::string& step, const std::string& display,
                   const Environment& environment = {}) {
  const Folder folder;
  PictureProgram program(folder, display, environment);
  std::string result = program.ask(step);
  EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  EXPECT_EQ(program.end(), 0);
  return result;
}

std::string ask(const char* what, int name, const std::string& display,
                const Environment& environment = {}) {
  return answer(what + std::string(" ") + std::to_string(name), display, environment);
}

TEST(Strings, NameTheLibrarysMaker) {
  EXPECT_EQ(ask("client-string", kVendor, appDisplay()), "YRSO Systems");
  EXPECT_EQ(ask("server-string", kVendor, appDisplay()), "YRSO Systems");
  const Environment original = {{"ZOL_GL_ORIGINAL_VENDOR", "1"}};
  EXPECT_EQ(ask("client-string", kVendor, appDisplay(), original),
            ask("client-string", kVendor, localDisplay()));
  EXPECT_EQ(ask("server-string", kVendor, appDisplay(), original),
            ask("server-string", kVendor, localDisplay()));
}

TEST(Strings, AreTheLocalDisplaysForTheVersionAndTheServer) {
  EXPECT_EQ(answer("has-glx", appDisplay()), "yes");
  EXPECT_EQ(answer("version", appDisplay()), answer("version", localDisplay()));
  EXPECT_EQ(ask("client-string", kVersion, appDisplay()),
            ask("client-string", kVersion, localDisplay()));
  for (const int name : {kVersion, kExtensions}) {
    EXPECT_EQ(ask("server-string", name, appDisplay()), ask("server-string", name, localDisplay()));
  }
}

// In the library's order, its own name last.
std::string filtered(const std::string& extensions, const std::string& without = "") {
  std::string result;
  for (const char* supported :
       {"GLX_ARB_get_proc_address", "GLX_ARB_multisample", "GLX_ARB_create_context",
        "GLX_ARB_create_context_profile", "GLX_EXT_visual_info", "GLX_EXT_visual_rating",
        "GLX_SGIX_fbconfig", "GLX_SGIX_pbuffer", "GLX_NV_float_buffer", "GLX_ARB_fbconfig_float",
        "GLX_EXT_fbconfig_packed_float", "GLX_EXT_texture_from_pixmap",
        "GLX_EXT_framebuffer_sRGB"}) {
    const std::vector<std::string> offered = wordsOf(extensions);
    if (std::find(offered.begin(), offered.end(), supported) != offered.end() &&
        supported != without) {
      result += supported + std::string(" ");
    }
  }
  return result + "GLX_YRSO_zol_remote_rendering_bridge";
}

TEST(Strings, NameTheExtensionsThatReachTheApplicationsDisplay) {
  const std::string straight = answer("extensions", localDisplay());
  ASSERT_NE(straight.find("GLX_SGIX_pbuffer"), std::string::npos);
  EXPECT_EQ(answer("extensions", appDisplay()), filtered(straight));
  EXPECT_EQ(ask("client-string", kExtensions, appDisplay()),
            filtered(ask("client-string", kExtensions, localDisplay())));
  for (const char* variable : {"ZOL_GL_GLX_EXT_BLACKLIST", "ZOL_GL_GLX_EXT_DENYLIST"}) {
    EXPECT_EQ(answer("extensions", appDisplay(), {{variable, "GLX_SGIX_pbuffer GLX_none"}}),
              filtered(straight, "GLX_SGIX_pbuffer"));
  }
}

TEST(Strings, OfGlAreTheDrivers) {
  play("strings", [](Play& play) {
    stage(play, "24 double", "core", 0);
    for (const char* name : {"0x1f00", "0x1f01", "0x1f02", "0x8b8c"})
      play.same("gl-string " + std::string(name));
    play.same("gl-extensions");
  });
}

} // namespace
} // namespace zol::endtoend
