#include "rig/fixture.h"

#include <dlfcn.h>

using namespace zol::rig;

namespace {

const std::string kFind = "char* findSystemGLXVendor()";

std::string attempt(const std::string& name) {
  return "D " + kFind + ": Attempting to load detected system glVND vendor library 'libGLX_" +
         name + ".so.0'...";
}

bool isLoaded(const std::string& fileName) {
  void* const handle = dlopen(fileName.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

class VendorList : public Rig {
protected:
  // Enters with a local display that announces these names.
  int enterWith(const std::string& names) {
    const auto& local = startAnnouncingServer(names);
    set("DISPLAY", startApplicationServer(local.name()).name());
    set("ZOL_GL_INITIALIZE_COPYBACK_AT_INIT", "0");
    return enter();
  }

  // The search's own lines, after the first.
  Lines search() {
    Lines lines = logged();
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
  EXPECT_LINES(search(), {attempt("missing"),
                          "W " + kFind +
                              ": DSO dlopen failed for 'libGLX_missing.so.0' with error: "
                              "'libGLX_missing.so.0: cannot open shared object file: No such "
                              "file or directory'",
                          attempt("recorder")});
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
}

TEST_F(VendorList, StopsAtTheFirstThatServes) {
  ASSERT_EQ(enterWith("recorder refuser"), 1);
  EXPECT_LINES(search(), {attempt("recorder")});
}

TEST_F(VendorList, NeverTakesTheLibraryItself) {
  ASSERT_EQ(enterWith("zol recorder"), 1);
  const Lines lines = search();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].substr(0, 2), "W ") << lines[0];
  EXPECT_NE(lines[0].find("zol"), std::string::npos) << lines[0];
  EXPECT_EQ(lines[1], attempt("recorder"));
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
