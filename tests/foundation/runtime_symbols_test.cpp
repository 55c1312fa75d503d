#include "foundation/foundation_test.h"
#include "foundation/runtime_symbols.h"

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <sstream>

namespace {

const std::vector<std::string> THREAD_SYMBOLS = {
    "pthread_create",
    "pthread_join",
    "pthread_once",
    "pthread_mutex_init",
    "pthread_mutex_destroy",
    "pthread_mutex_lock",
    "pthread_mutex_unlock",
    "pthread_mutexattr_init",
    "pthread_mutexattr_destroy",
    "pthread_mutexattr_settype",
    "pthread_key_create",
    "pthread_key_delete",
    "pthread_getspecific",
    "pthread_setspecific",
    "sem_init",
    "sem_destroy",
    "sem_wait",
    "sem_post",
};

std::vector<std::pair<std::string, bool>> entries() {
  std::vector<std::pair<std::string, bool>> all;
#define ZOL_THREAD_SYMBOL(name) all.emplace_back(#name, zol::runtimeSymbols.name != nullptr);
#define ZOL_CLOCK_SYMBOL(name) ZOL_THREAD_SYMBOL(name)
#include "foundation/runtime_symbols.def"
  return all;
}

int fakeLibrary = 0;
void* const FAKE_LIBRARY = &fakeLibrary;

// Every test fills an empty table; the real one is put back at the end.
class RuntimeSymbols : public FoundationTest {
protected:
  RuntimeSymbols() : real(zol::runtimeSymbols) {
    zol::isMultiThreadApplication();
    fakes.dlsymed.clear();
    zol::finiRuntimeSymbols();
    fakes.dlclosed.clear();
    zol::runtimeSymbols = {};
  }
  ~RuntimeSymbols() override {
    fakes.dlopen = nullptr;
    zol::finiRuntimeSymbols();
    zol::runtimeSymbols = real;
  }

  // The name is nowhere to be found.
  void hide(const std::string& hidden) {
    fakes.dlsym = [hidden](void*, const std::string& name) -> std::optional<void*> {
      if (name == hidden) return nullptr;
      return std::nullopt;
    };
  }
  // The process has no clock of its own; the libraries in `present` exist.
  void hideClockOfProcess(std::vector<std::string> present) {
    fakes.dlsym = [](void* handle, const std::string& name) -> std::optional<void*> {
      if (name != "clock_gettime") return std::nullopt;
      return handle == FAKE_LIBRARY ? FAKE_LIBRARY : nullptr;
    };
    fakes.dlopen = [present](const std::string& file) -> std::optional<void*> {
      if (file.rfind("librt", 0) != 0) return std::nullopt;
      return std::count(present.begin(), present.end(), file) ? FAKE_LIBRARY : nullptr;
    };
    fakes.closeForReal = false;
  }
  bool init(std::string* message) {
    bool result = false;
    *message = stderrOf([&] { result = zol::initRuntimeSymbols(); });
    return result;
  }

  zol::RuntimeSymbols real;
  std::string message;
};

TEST_F(RuntimeSymbols, AreNineteenInTheirOrder) {
  auto names = THREAD_SYMBOLS;
  names.push_back("clock_gettime");
  std::vector<std::string> inTable;
  for (const auto& [name, set] : entries())
    inTable.push_back(name);
  EXPECT_EQ(names, inTable);
}

TEST_F(RuntimeSymbols, AreAllSetAfterInit) {
  EXPECT_TRUE(init(&message));
  EXPECT_EQ("", message);
  for (const auto& [name, set] : entries())
    EXPECT_TRUE(set) << name;
}

TEST_F(RuntimeSymbols, AreLookedUpInOrderAfterTheClock) {
  EXPECT_TRUE(init(&message));
  auto expected = THREAD_SYMBOLS;
  expected.insert(expected.begin(), "clock_gettime");
  EXPECT_EQ(expected, fakes.dlsymed);
}

TEST_F(RuntimeSymbols, OpenNoRealTimeLibraryWhereTheProcessHasTheClock) {
  EXPECT_TRUE(init(&message));
  EXPECT_EQ(std::vector<std::string>{"libpthread.so.0"}, fakes.dlopened);
}

TEST_F(RuntimeSymbols, AreResolvedAtOnceInEveryLibrary) {
  hideClockOfProcess({"librt.so"});
  EXPECT_TRUE(init(&message));
  EXPECT_EQ(std::vector<int>(3, RTLD_NOW), fakes.dlopenFlags);
}

TEST_F(RuntimeSymbols, TakeTheClockFromLibrt1) {
  hideClockOfProcess({"librt.so.1", "librt.so"});
  EXPECT_TRUE(init(&message));
  EXPECT_EQ((std::vector<std::string>{"librt.so.1", "libpthread.so.0"}), fakes.dlopened);
  EXPECT_EQ(FAKE_LIBRARY, reinterpret_cast<void*>(zol::runtimeSymbols.clock_gettime));
}

TEST_F(RuntimeSymbols, TakeTheClockFromLibrtWhenThereIsNoLibrt1) {
  hideClockOfProcess({"librt.so"});
  EXPECT_TRUE(init(&message));
  EXPECT_EQ((std::vector<std::string>{"librt.so.1", "librt.so", "libpthread.so.0"}),
            fakes.dlopened);
  EXPECT_EQ(FAKE_LIBRARY, reinterpret_cast<void*>(zol::runtimeSymbols.clock_gettime));
}

TEST_F(RuntimeSymbols, FailWithoutAnyLibrt) {
  hideClockOfProcess({});
  EXPECT_FALSE(init(&message));
  EXPECT_EQ("Failed to open librt\n", message);
  for (const auto& [name, set] : entries())
    EXPECT_FALSE(set) << name;
}

TEST_F(RuntimeSymbols, AClockMissingFromLibrtIsNotReported) {
  hideClockOfProcess({"librt.so.1"});
  hide("clock_gettime");
  EXPECT_TRUE(init(&message));
  EXPECT_EQ("", message);
  EXPECT_EQ(nullptr, zol::runtimeSymbols.clock_gettime);
}

TEST_F(RuntimeSymbols, FailWithoutTheThreadsLibrary) {
  fakes.dlopen = [](const std::string&) -> std::optional<void*> { return nullptr; };
  EXPECT_FALSE(init(&message));
  EXPECT_EQ("Failed to open libpthread.so.0\n", message);
}

TEST_F(RuntimeSymbols, FailAtTheFirstMissingSymbolAndLeaveTheRestUnset) {
  for (size_t missing = 0; missing < THREAD_SYMBOLS.size(); ++missing) {
    const std::string name = THREAD_SYMBOLS[missing];
    zol::finiRuntimeSymbols();
    zol::runtimeSymbols = {};
    fakes.dlsymed.clear();
    hide(name);
    EXPECT_FALSE(init(&message)) << name;
    EXPECT_EQ("Failed to load " + name + "\n", message);
    EXPECT_EQ(name, fakes.dlsymed.back());
    const auto table = entries();
    for (size_t i = 0; i < THREAD_SYMBOLS.size(); ++i)
      EXPECT_EQ(i < missing, table[i].second) << name << ": " << table[i].first;
  }
}

TEST_F(RuntimeSymbols, FiniClosesTheThreadsLibraryThenTheRealTimeLibrary) {
  hideClockOfProcess({"librt.so.1"});
  int threads = 0;
  void* const threadsLibrary = &threads;
  const auto realTime = fakes.dlopen;
  fakes.dlopen = [=](const std::string& file) -> std::optional<void*> {
    return file == "libpthread.so.0" ? threadsLibrary : realTime(file);
  };
  fakes.dlsym = [](void*, const std::string& name) -> std::optional<void*> {
    return name == "clock_gettime" ? nullptr : FAKE_LIBRARY;
  };
  EXPECT_TRUE(init(&message));
  zol::finiRuntimeSymbols();
  EXPECT_EQ((std::vector<void*>{threadsLibrary, FAKE_LIBRARY}), fakes.dlclosed);
  zol::finiRuntimeSymbols();
  EXPECT_EQ(2u, fakes.dlclosed.size()) << "closed twice";
  EXPECT_NE(nullptr, zol::runtimeSymbols.pthread_create) << "the table keeps its entries";
}

TEST_F(RuntimeSymbols, FiniClosesNothingThatWasNotOpened) {
  zol::finiRuntimeSymbols();
  EXPECT_TRUE(fakes.dlclosed.empty());
}

// The answer is fixed once per process, so these run in processes of their own.
class MultiThreadApplication : public testing::Test {
protected:
  MultiThreadApplication() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  // The symbol is in the process's scope once the threads library has been loaded.
  static void hideThreads() {
    fakes.dlsym = [](void* handle, const std::string& name) -> std::optional<void*> {
      if (handle == RTLD_DEFAULT && name == "pthread_create" && fakes.dlopened.empty())
        return nullptr;
      return std::nullopt;
    };
  }
  [[noreturn]] static void leave(const char* answer) {
    std::fputs(answer, stderr);
    _exit(0);
  }
};

TEST_F(MultiThreadApplication, IsOneWithTheThreadsLibraryInItsScope) {
  EXPECT_EXIT(leave(zol::isMultiThreadApplication() ? "multi" : "single"),
              testing::ExitedWithCode(0), "^multi$");
}

TEST_F(MultiThreadApplication, IsNoneWithoutItAndStaysNoneWhenTheLibraryLoadsIt) {
  EXPECT_EXIT(
      {
        hideThreads();
        if (!zol::initRuntimeSymbols() || !dlsym(RTLD_DEFAULT, "pthread_create")) leave("absent");
        leave(zol::isMultiThreadApplication() ? "multi" : "single");
      },
      testing::ExitedWithCode(0), "^single$");
}

TEST_F(MultiThreadApplication, IsAskedForOnce) {
  EXPECT_EXIT(
      {
        zol::isMultiThreadApplication();
        zol::isMultiThreadApplication();
        leave(fakes.dlsymed == std::vector<std::string>{"pthread_create"} ? "once" : "again");
      },
      testing::ExitedWithCode(0), "^once$");
}

TEST(FoundationArchive, ReferencesNoneOfTheRunTimeSymbolsItself) {
  FILE* nm = popen(ZOL_NM " --undefined-only " ZOL_FOUNDATION_ARCHIVE, "r");
  ASSERT_NE(nullptr, nm);
  std::string output;
  char part[4096];
  while (const size_t got = fread(part, 1, sizeof(part), nm))
    output.append(part, got);
  ASSERT_EQ(0, pclose(nm)) << ZOL_NM << " failed";
  ASSERT_NE(std::string::npos, output.find("dlsym")) << output;
  std::istringstream words(output);
  for (std::string word; words >> word;) {
    EXPECT_NE(0u, word.rfind("pthread_", 0)) << word;
    EXPECT_NE(0u, word.rfind("sem_", 0)) << word;
    EXPECT_NE(0u, word.rfind("clock_gettime", 0)) << word;
  }
}

} // namespace
