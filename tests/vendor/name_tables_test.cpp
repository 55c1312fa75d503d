#include "rig/fixture.h"
#include "vendor/name_tables.h"
#include "vendor/own_functions.h"

#include <set>

using namespace zol::rig;

namespace {

// The library's tables as they are compiled into it.
constexpr Hook kCompiledHooks[] = {
#define ZOL_HOOK(name) {#name},
#define ZOL_WITHHELD(name) {#name, true},
#include "vendor/hooks.def"
};
constexpr const char* kCompiledByProgram[] = {
#define ZOL_LOOKUP(name) #name,
#include "vendor/lookup.def"
};

class NameTables : public Rig {
protected:
  void SetUp() override {
    startServers();
    ASSERT_EQ(enter(), 1);
  }
  void* byProgram(const char* name) {
    return reinterpret_cast<void*>(
        GL_OF(host(), glXGetProcAddress)(reinterpret_cast<const GLubyte*>(name)));
  }
};

TEST(NameTablesOfTheLibrary, HaveTheirNamesInTheirOrder) {
  ASSERT_EQ(std::size(kHooks), 94u);
  ASSERT_EQ(std::size(kCompiledHooks), 94u);
  for (std::size_t i = 0; i < std::size(kHooks); ++i) {
    EXPECT_STREQ(kCompiledHooks[i].name, kHooks[i].name);
    EXPECT_EQ(kCompiledHooks[i].withheld, kHooks[i].withheld) << kHooks[i].name;
  }
  ASSERT_EQ(std::size(kByProgram), 89u);
  ASSERT_EQ(std::size(kCompiledByProgram), 89u);
  for (std::size_t i = 0; i < std::size(kByProgram); ++i)
    EXPECT_STREQ(kCompiledByProgram[i], kByProgram[i]);
}

TEST_F(NameTables, GiveTheFrontEndTheFunctionOfEachName) {
  std::set<std::string> names;
  for (const auto& [name, withheld] : kHooks) {
    EXPECT_EQ(ownFunctionAt(host().find(name)),
              withheld ? std::string() : std::string("guarded zol_") + name);
    if (withheld) {
      EXPECT_EQ(host().find(name), nullptr) << name;
    }
    EXPECT_TRUE(names.insert(name).second) << name << " is there twice";
  }
}

TEST_F(NameTables, GiveAProgramTheFunctionOfEachName) {
  std::set<std::string> names;
  for (const char* const name : kByProgram) {
    EXPECT_EQ(ownFunctionAt(byProgram(name)), std::string("guarded zol_") + name);
    EXPECT_TRUE(names.insert(name).second) << name << " is there twice";
  }
}

// No function of the library's is out of reach, and none is handed out that is in neither table.
TEST_F(NameTables, NameEveryFunctionOfTheLibrary) {
  std::set<std::string> named;
  for (const auto& [name, withheld] : kHooks) {
    if (!withheld) named.insert(std::string("zol_") + name);
  }
  for (const char* const name : kByProgram)
    named.insert(std::string("zol_") + name);
  std::set<std::string> there;
  for (const auto& [address, name] : ownFunctions()) {
    if (name.rfind("zol_gl", 0) == 0 && name.find('[') == std::string::npos) there.insert(name);
  }
  EXPECT_EQ(there, named);
}

// Everything else that the driver has, the front end gets from the driver.
TEST_F(NameTables, LeaveTheRestToTheDriver) {
  std::set<std::string> hooked;
  for (const auto& [name, withheld] : kHooks)
    hooked.insert(name);
  int passed = 0;
  for (const std::string& name : recorder().lookups()) {
    if (hooked.count(name) != 0) continue;
    EXPECT_EQ(host().find(name.c_str()), recorder().address(name)) << name;
    ++passed;
  }
  EXPECT_GT(passed, 50);
}

} // namespace
