#include "rig/fixture.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>

using namespace zol::rig;

namespace {

const std::string kFind = "char* findSystemGLXVendor()";

std::string attempt(const std::string& name) {
  return "D " + kFind + ": Attempting to load detected system glVND vendor library 'libGLX_" +
         name + ".so.0'...";
}

std::string isSelf(const std::string& name) {
  return "W " + kFind + ": System vendor '" + name + "' is this library itself, skipping";
}

bool isLoaded(const std::string& fileName) {
  void* const handle = dlopen(fileName.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

class VendorList : public Rig {
protected:
  // Starts a local display that announces these names.
  void announce(const std::string& names) {
    const auto& local = startAnnouncingServer(names);
    set("DISPLAY", startApplicationServer(local.name()).name());
    set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
  }
  int enterWith(const std::string& names) {
    announce(names);
    return enter();
  }

  // The search's own lines, after the first.
  Lines search() { return searchIn(logged()); }
  static Lines searchIn(Lines lines) {
    std::erase_if(lines, [](const std::string& line) {
      return line.find(kFind) == std::string::npos ||
             line.find("Searching on local") != std::string::npos;
    });
    return lines;
  }
};

TEST_F(VendorList, TakesTheOnlyOne) {
  ASSERT_EQ(enterWith("recorder"), 1);
  EXPECT_TRUE(hasLine(logged(), "I " + kMainLabel +
                                    ": Vendor 'libGLX_recorder.so.0' was selected for local "
                                    "display"));
}

TEST_F(VendorList, PassesOverALibraryThatIsMissing) {
  ASSERT_EQ(enterWith("missing recorder"), 1);
  const Lines lines = logged();
  EXPECT_LINES(searchIn(lines), {attempt("missing"),
                                 "W " + kFind +
                                     ": DSO dlopen failed for 'libGLX_missing.so.0' with error: "
                                     "'libGLX_missing.so.0: cannot open shared object file: No "
                                     "such file or directory'",
                                 attempt("recorder")});
  EXPECT_TRUE(hasLine(lines, "I " + kMainLabel +
                                 ": Vendor 'libGLX_recorder.so.0' was selected for local "
                                 "display"));
}

TEST_F(VendorList, PassesOverALibraryWithoutAnEntry) {
  ASSERT_EQ(enterWith("nomain recorder"), 1);
  EXPECT_LINES(search(), {attempt("nomain"),
                          "W " + kFind +
                              ": System vendor  'libGLX_nomain.so.0' does not seem to support "
                              "glVND",
                          attempt("recorder")});
  EXPECT_FALSE(isLoaded("libGLX_nomain.so.0"));
}

TEST_F(VendorList, PassesOverALibraryThatDeclines) {
  ASSERT_EQ(enterWith("refuser recorder"), 1);
  EXPECT_LINES(search(), {attempt("refuser"),
                          "W " + kFind +
                              ": System vendor 'libGLX_refuser.so.0' does not support local "
                              "screen on the given display or incorrect ABI",
                          attempt("recorder")});
  EXPECT_FALSE(isLoaded("libGLX_refuser.so.0"));
  // What the one that declined wrote into them is undone.
  EXPECT_EQ(recorder().importsReceived(), VendorHost::slotsAsGiven());
}

TEST_F(VendorList, StopsAtTheFirstThatServes) {
  ASSERT_EQ(enterWith("recorder refuser"), 1);
  EXPECT_LINES(search(), {attempt("recorder")});
}

TEST_F(VendorList, NeverTakesTheLibraryItself) {
  ASSERT_EQ(enterWith("zol recorder"), 1);
  EXPECT_LINES(search(), {isSelf("zol"), attempt("recorder")});
}

// The loader's search path is read when a process begins.
RIG_SCENARIO(entersWithAnotherSearchPath) {
  return VendorHost().enter() == 1 ? 0 : 99;
}

TEST_F(VendorList, NeverTakesALinkToTheLibraryItself) {
  announce("other recorder");
  std::filesystem::create_symlink(ZOL_LIBRARY, testDirectory() + "/libGLX_other.so.0");
  ScenarioOptions options;
  options.environment["LD_LIBRARY_PATH"] = testDirectory() + ":" + std::getenv("LD_LIBRARY_PATH");
  const ScenarioResult result = runScenario("entersWithAnotherSearchPath", options);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_LINES(searchIn(texts(LogFile(testDirectory(), result.process).all())),
               {attempt("other"), isSelf("libGLX_other.so.0"), attempt("recorder")});
}

TEST_F(VendorList, CopesWithANameTooLongForAFile) {
  const std::string name(244, 'v'); // the announcement itself holds 255 characters
  ASSERT_EQ(enterWith(name + " recorder"), 1);
  EXPECT_EQ(search().back(), attempt("recorder"));
}

TEST_F(VendorList, ThatIsExhaustedEndsInARefusal) {
  EXPECT_EQ(enterWith("missing nomain refuser"), 0);
  EXPECT_EQ(logged().back(),
            "E " + kMainLabel + ": No supported glVND vendor found on local display");
}

} // namespace
