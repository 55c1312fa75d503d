// cmake --install: the whole in a folder of the user's choice.

#include "scratch_folder.h"
#include "served_program.h"

namespace zol::test {

namespace {

TEST(Installation, WorksInAFolderOfItsOwn) {
  const ScratchFolder folder;
  const Outcome outcome =
      run({ZOL_CMAKE, "--install", ZOL_BUILD_FOLDER, "--prefix", folder / "prefix"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  for (const char* file :
       {"bin/Xzol", "bin/zolinfo", "bin/zolrun", "lib/xorg/modules/extensions/libzol.so",
        "share/man/man1/Xzol.1.gz", "share/man/man5/zol-gl.conf.5.gz",
        "share/man/man7/libGLX_zol.7.gz", ZOL_LIBRARY_FOLDER "/libGLX_zol.so.0",
        ZOL_LIBRARY_FOLDER "/libGLX_zolsoft.so.0"}) {
    EXPECT_TRUE(std::filesystem::exists(folder / "prefix/" + file)) << file;
  }
  expectServed(folder / "prefix/bin/zolrun");
}

// The loader takes the one that is of the program's word size.
TEST(Installation, ShowsProgramsTheLibrariesOfBothWordSizes) {
  const ScratchFolder folder;
  const Outcome outcome =
      run({ZOL_CMAKE, "--install", ZOL_BUILD_FOLDER, "--prefix", folder / "prefix"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto pathOfPrograms = [&] {
    const Outcome printed =
        run({folder / "prefix/bin/zolrun", "--headless", "--", "printenv", "LD_LIBRARY_PATH"},
            {{"LD_LIBRARY_PATH", "/some/where"}});
    EXPECT_EQ(printed.err, "");
    return printed.out;
  };
  const std::string own = folder / "prefix/" ZOL_LIBRARY_FOLDER;
  EXPECT_EQ(pathOfPrograms(), own + ":/some/where\n");
  const std::string other = folder / "prefix/lib/i386-linux-gnu";
  std::filesystem::create_directories(other);
  std::filesystem::copy_file(own + "/libGLX_zol.so.0", other + "/libGLX_zol.so.0");
  EXPECT_EQ(pathOfPrograms(), own + ":" + other + ":/some/where\n");
}

} // namespace

} // namespace zol::test
