#include "foundation/foundation_test.h"

#include <atomic>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>

namespace {

class LogRace : public FoundationTest {};

// The other thread is half-way through opening the log when this one opens it.
TEST_F(LogRace, IsLostByTheThreadThatComesLast) {
  const std::string pipe = directory / "uptime";
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  std::filesystem::create_directories(directory / "logs");
  openLogAt("debug", directory / "logs");
  fakes.paths["/proc/uptime"] = pipe;
  bool second = true;
  std::atomic<bool> finished = false;
  std::jthread other([&] {
    second = zol_open_log();
    finished = true;
  });
  int writer = -1; // the other one is reading once this end can be opened
  while (writer < 0 && !finished) {
    writer = open(pipe.c_str(), O_WRONLY | O_NONBLOCK);
    std::this_thread::yield();
  }
  ASSERT_GE(writer, 0) << "the log was opened without a look at the uptime";
  {
    const std::lock_guard lock(fakesMutex);
    fakes.paths.erase("/proc/uptime");
  }
  const bool first = zol_open_log();
  ZOLGL_DEBUG("one");
  ASSERT_EQ(8, ::write(writer, "1.0 1.0\n", 8));
  close(writer);
  other.join();
  EXPECT_TRUE(first);
  EXPECT_FALSE(second);
  ZOLGL_DEBUG("two");

  // The winner's file has both records.
  std::string text;
  for (const auto& file : std::filesystem::directory_iterator(directory / "logs")) {
    if (contentOf(file.path()).empty()) continue;
    EXPECT_EQ("", text);
    text = contentOf(file.path());
  }
  EXPECT_NE(std::string::npos, text.find("one\n"));
  EXPECT_NE(std::string::npos, text.find("two\n"));
}

} // namespace
