// The Debian packages: what is in them, what they say of themselves, and that they work unpacked.

#include "scratch_folder.h"
#include "served_program.h"

#include <map>

namespace zol::test {

namespace {

using Words = std::vector<std::string>;

constexpr char kLibraries[] = "usr/" ZOL_LIBRARY_FOLDER "/";

std::string trimmed(std::string text) {
  while (!text.empty() && text.back() == '\n')
    text.pop_back();
  return text;
}

class Packages : public testing::Test {
protected:
  // Made once.
  static void SetUpTestSuite() {
    folder_ = new ScratchFolder;
    const Outcome outcome =
        run({ZOL_CPACK, "-G", "DEB", "--config", ZOL_BUILD_FOLDER "/CPackConfig.cmake", "-B",
             folder_->path().string()});
    ASSERT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    architecture_ = trimmed(run({"dpkg", "--print-architecture"}).out);
  }
  static void TearDownTestSuite() {
    delete folder_;
    folder_ = nullptr;
  }

  static std::string path(const std::string& package) {
    return *folder_ / (package + "_" ZOL_VERSION "_" + architecture_ + ".deb");
  }
  static std::string field(const std::string& package, const char* name) {
    const Outcome outcome = run({"dpkg-deb", "-f", path(package), name});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return trimmed(outcome.out);
  }
  static void unpack(const std::string& package, const ScratchFolder& root) {
    const Outcome outcome = run({"dpkg-deb", "-x", path(package), root.path().string()});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  }
  static void expectFiles(const std::string& package, Words files) {
    files.push_back("usr/share/doc/" + package + "/changelog.gz");
    files.push_back("usr/share/doc/" + package + "/copyright");
    std::sort(files.begin(), files.end());
    const ScratchFolder root;
    unpack(package, root);
    EXPECT_EQ(root.files(), files) << package;
  }
  static void expectNeeds(const std::string& package, const Words& needed) {
    const std::string depends = ", " + field(package, "Depends") + ",";
    for (const std::string& name : needed) {
      EXPECT_TRUE(depends.find(", " + name + ",") != std::string::npos ||
                  depends.find(", " + name + " (") != std::string::npos)
          << package << " does not depend on " << name << ": " << depends;
    }
  }

private:
  static inline ScratchFolder* folder_ = nullptr;
  static inline std::string architecture_;
};

TEST_F(Packages, HaveTheirFilesAndNoOthers) {
  expectFiles("libglx-zol0",
              {std::string(kLibraries) + "libGLX_zol.so.0", "usr/share/man/man7/libGLX_zol.7.gz"});
  expectFiles("libglx-zolsoft0", {std::string(kLibraries) + "libGLX_zolsoft.so.0"});
  expectFiles("xserver-xorg-zol", {"usr/bin/Xzol", "usr/lib/xorg/modules/extensions/libzol.so",
                                   "usr/share/man/man1/Xzol.1.gz"});
  expectFiles("zol-utils",
              {"usr/bin/zolinfo", "usr/bin/zolrun", "usr/share/doc/zol-utils/examples/zol-gl.conf",
               "usr/share/man/man1/zolinfo.1.gz", "usr/share/man/man1/zolrun.1.gz",
               "usr/share/man/man5/zol-gl.conf.5.gz"});
}

// GLVND looks for vendor libraries where the loader does: in the folder of the architecture.
TEST_F(Packages, PutLibrariesWhereThoseOfTheArchitectureLie) {
  const Outcome outcome = run({"dpkg-architecture", "-qDEB_HOST_MULTIARCH"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(kLibraries, "usr/lib/" + trimmed(outcome.out) + "/");
}

TEST_F(Packages, NeedWhatTheyLoad) {
  expectNeeds("libglx-zol0",
              {"libglx0", "libgl1", "libx11-6", "libx11-xcb1", "libxext6", "libxcb-glx0", "libc6"});
  expectNeeds("libglx-zolsoft0", {"libglx0", "libglx-mesa0", "libgl1-mesa-dri", "libc6"});
  expectNeeds("xserver-xorg-zol", {"xserver-xorg-core", "xserver-xorg-video-dummy", "libxau6"});
  const std::string same = " (= " ZOL_VERSION ")";
  expectNeeds("zol-utils", {"libglx-zol0" + same, "xserver-xorg-zol" + same});
  EXPECT_EQ(field("zol-utils", "Recommends"), "libglx-zolsoft0" + same);
}

TEST_F(Packages, SayWhatTheyAre) {
  const std::map<std::string, Words> facts = {
      {"libglx-zol0", {"libs", "same", "GL vendor library that renders on another X server"}},
      {"libglx-zolsoft0",
       {"libs", "same", "GL vendor library for X servers without a GPU to render on"}},
      {"xserver-xorg-zol",
       {"x11", "foreign", "X server without a GPU whose programs render on another X server"}},
      {"zol-utils", {"x11", "foreign", "tools for OpenGL that is rendered on another X server"}},
  };
  for (const auto& [package, expected] : facts) {
    EXPECT_EQ(field(package, "Package"), package);
    EXPECT_EQ(field(package, "Version"), ZOL_VERSION);
    EXPECT_EQ(field(package, "Section"), expected[0]);
    EXPECT_EQ(field(package, "Multi-Arch"), expected[1]);
    const std::string description = field(package, "Description");
    EXPECT_EQ(description.substr(0, description.find('\n')), expected[2]);
    EXPECT_EQ(field(package, "Priority"), "optional");
  }
}

TEST_F(Packages, HaveAChangelogOfTheirVersion) {
  const ScratchFolder root;
  unpack("zol-utils", root);
  const Outcome outcome = run({"gzip", "-d", "-c", root / "usr/share/doc/zol-utils/changelog.gz"});
  EXPECT_EQ(outcome.out.substr(0, outcome.out.find(')')), "zol (" ZOL_VERSION);
}

TEST_F(Packages, WorkTogetherFromARootOfTheirOwn) {
  const ScratchFolder root;
  for (const char* package : {"libglx-zol0", "libglx-zolsoft0", "xserver-xorg-zol", "zol-utils"}) {
    unpack(package, root);
  }
  expectServed(root / "usr/bin/zolrun");
}

} // namespace

} // namespace zol::test
