// Who may use the display: by default the programs of the user who started it, with an authority
// file those that have its key.

#include "fixture.h"
#include "tests/tools/program.h"

#include <csignal>
#include <filesystem>
#include <fstream>

namespace zol::test {

namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

constexpr char kRefused[] = "Authorization required";

Words joined(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

// What makes a command that of another user. Who is not root needs sudo's leave; without it the
// tests fail.
Words asNobody() {
  if (geteuid() == 0) return {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
  return {"sudo", "-n", "-u", "nobody"};
}

// "env" stands where sudo would drop the variables.
Words xdpyinfo(const std::string& display, const std::string& authority) {
  return {"env", "XAUTHORITY=" + authority, "xdpyinfo", "-display", display};
}

void expectLetIn(const Words& command) {
  const Outcome outcome = run(command);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("ZOL-V1"), std::string::npos) << outcome.out;
}

void expectRefused(const Words& command) {
  const Outcome outcome = run(command);
  EXPECT_EQ(outcome.status, 1) << outcome.out;
  EXPECT_NE(outcome.err.find(kRefused), std::string::npos) << outcome.err;
}

std::string contents(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class Access : public testing::Test {
protected:
  Access() {
    fs::create_directory(folder_);
    fs::permissions(folder_, fs::perms(0755));
  }
  ~Access() override { fs::remove_all(folder_); }

  std::string path(const char* name) const { return (folder_ / name).string(); }

  const fs::path folder_ =
      fs::temp_directory_path() / ("zol-access-test-" + std::to_string(getpid()));
  const std::string none_ = path("none");
};

TEST_F(Access, IsForTheProgramsOfTheUserWhoStartedTheServer) {
  const auto server = startXzol();
  expectLetIn(xdpyinfo(server->name(), none_));
  expectRefused(joined(asNobody(), xdpyinfo(server->name(), none_)));
}

TEST_F(Access, IsForThoseWhoHaveTheKeyOfTheFile) {
  const auto server = startXzol({"--auth", path("keys")});
  EXPECT_EQ(fs::status(path("keys")).permissions(), fs::perms(0600));
  expectLetIn(xdpyinfo(server->name(), path("keys")));
  expectRefused(xdpyinfo(server->name(), none_));

  expectRefused(joined(asNobody(), xdpyinfo(server->name(), path("keys"))));
  fs::permissions(path("keys"), fs::perms(0644));
  expectLetIn(joined(asNobody(), xdpyinfo(server->name(), path("keys"))));
}

TEST_F(Access, EachNewFileHasAKeyOfItsOwn) {
  const auto one = startXzol({"--auth", path("one")});
  std::ofstream(path("two")).close(); // empty is as good as missing
  const auto two = startXzol({"--auth", path("two")});
  EXPECT_NE(contents(path("one")), contents(path("two")));
  expectLetIn(xdpyinfo(two->name(), path("two")));
  EXPECT_EQ(run(xdpyinfo(two->name(), path("one"))).status, 1);
}

TEST_F(Access, AFileWithKeysIsTakenAsItIs) {
  const std::string number = std::to_string(20000 + getpid() % 30000);
  const Outcome made = run({"xauth", "-q", "-f", path("keys"), "add", ":" + number,
                            "MIT-MAGIC-COOKIE-1", "00112233445566778899aabbccddeeff"});
  ASSERT_EQ(made.status, 0) << made.err;
  const std::string before = contents(path("keys"));
  Program xzol({ZOL_XZOL, ":" + number, "-displayfd", "1", "--auth", path("keys")});
  xzol.waitForOutput("\n");
  EXPECT_EQ(contents(path("keys")), before);
  expectLetIn(xdpyinfo(":" + number, path("keys")));
  expectRefused(xdpyinfo(":" + number, none_));
  xzol.signal(SIGTERM);
  EXPECT_EQ(xzol.wait().status, 0);
}

TEST_F(Access, IsNotOpenedByAFileThatIsNoUse) {
  std::ofstream(path("text")) << "no key in here";
  fs::create_directory(path("folder"));
  const std::vector<std::pair<std::string, std::string>> refusals = {
      {path("text"), "holds no MIT-MAGIC-COOKIE-1"},
      {path("folder"), "cannot be opened: Is a directory"},
      {path("missing/keys"), "cannot be opened: No such file or directory"},
      {"/dev/null", "is no file"},
  };
  for (const auto& [file, reason] : refusals) {
    const Outcome outcome = run({ZOL_XZOL, "--auth", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "Xzol: the authority file " + file + " " + reason + "\n");
    EXPECT_EQ(outcome.out, "");
  }
}

// Out of a copy, as the build tree may lie where other users cannot look.
TEST_F(Access, ToAServerOfAnOrdinaryUserIsForThatUser) {
  const fs::path modules = folder_ / "lib" / "xorg" / "modules" / "extensions";
  fs::create_directories(modules);
  fs::create_directory(folder_ / "bin");
  fs::copy(ZOL_XZOL, folder_ / "bin" / "Xzol");
  fs::copy(ZOL_SERVER_MODULE, modules / "libzol.so");
  Program xzol(joined(asNobody(), {(folder_ / "bin" / "Xzol").string()}));
  xzol.waitForOutput("\n");
  const std::string display = xzol.output().substr(0, xzol.output().find('\n'));
  expectLetIn(joined(asNobody(), xdpyinfo(display, none_)));
  expectRefused(xdpyinfo(display, none_)); // root is another user too
  const Words kill = {"kill", std::to_string(xzol.pid())};
  EXPECT_EQ(run(geteuid() == 0 ? kill : joined({"sudo", "-n"}, kill)).status,
            0); // sudo's is root's
  EXPECT_EQ(xzol.wait().status, 0);
  EXPECT_FALSE(fs::exists("/tmp/.X11-unix/X" + display.substr(1)));
}

} // namespace

} // namespace zol::test
