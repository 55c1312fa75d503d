#include "rig/fixture.h"
#include "vendor/name_tables.h"

#include <algorithm>
#include <iterator>

using namespace zol::rig;

namespace {

const std::string kLookup = "void* glXGLVNDGetProcAddressInternal(const GLubyte*, bool)";
const std::string kGetProcAddress = "void (* zol_glXGetProcAddress(const GLubyte*))()";

bool isWithheld(const std::string& name) {
  return std::any_of(std::begin(kHooks), std::end(kHooks),
                     [&](const Hook& hook) { return hook.withheld && hook.name == name; });
}

class Lookup : public Rig {
protected:
  void SetUp() override {
    startServers();
    ASSERT_EQ(enter(), 1);
    forget();
  }

  // What the driver was asked for after start-up.
  Lines driverLookups() {
    const Lines all = recorder().lookups();
    return Lines(all.begin() + 156, all.end());
  }

  void* getProcAddress(const char* name) {
    const auto get = GL_OF(host(), glXGetProcAddress);
    forget();
    return reinterpret_cast<void*>(get(reinterpret_cast<const GLubyte*>(name)));
  }
};

TEST_F(Lookup, OfAnInterposedNameNeverReachesTheDriver) {
  for (const auto& [name, withheld] : kHooks) {
    if (withheld) continue;
    void* const address = host().find(name);
    EXPECT_NE(address, nullptr) << name;
    EXPECT_NE(address, recorder().address(name)) << name;
    EXPECT_LINES(logged(),
                 {"I " + kLookup + ": Requested " + name + " function address",
                  "D " + kLookup + ": " + name + " function address was internally resolved"});
  }
  EXPECT_EQ(driverLookups(), Lines{});
}

TEST_F(Lookup, OfAWithheldNameFindsNothingAndNeverReachesTheDriver) {
  for (const auto& [name, withheld] : kHooks) {
    if (!withheld) continue;
    EXPECT_EQ(host().find(name), nullptr) << name;
    EXPECT_LINES(logged(),
                 {"I " + kLookup + ": Requested " + name + " function address",
                  "D " + kLookup + ": " + name + " function address was internally resolved"});
  }
  EXPECT_EQ(driverLookups(), Lines{});
}

TEST_F(Lookup, OfAnyOtherNameIsTheDrivers) {
  EXPECT_EQ(host().find("glDrawArrays"), recorder().address("glDrawArrays"));
  EXPECT_LINES(logged(), {"I " + kLookup + ": Requested glDrawArrays function address",
                          "D " + kLookup +
                              ": glDrawArrays function address was resolved at the system level"});
  EXPECT_EQ(host().find("glPopAttrib"), recorder().address("glPopAttrib"));
  EXPECT_EQ(driverLookups(), (Lines{"glDrawArrays", "glPopAttrib"}));
}

TEST_F(Lookup, OfANameThatNobodyHasFindsNothing) {
  EXPECT_EQ(host().find("glNoSuchThing"), nullptr);
  EXPECT_LINES(logged(), {"I " + kLookup + ": Requested glNoSuchThing function address",
                          "D " + kLookup +
                              ": Could not resolve glNoSuchThing internally or at the system "
                              "level - this is going to be NULL"});
}

TEST_F(Lookup, ByTheProgramGivesTheSameFunctions) {
  for (const std::string name : kByProgram) {
    void* const address = getProcAddress(name.c_str());
    EXPECT_LINES(logged(), {"D " + kGetProcAddress + ": procname: " + name});
    EXPECT_NE(address, nullptr) << name;
    EXPECT_NE(address, recorder().address(name)) << name;
    if (!isWithheld(name) && name != "glPopAttrib") {
      EXPECT_EQ(address, host().find(name.c_str())) << name;
    }
  }
  EXPECT_EQ(driverCalls(), Lines{});
}

// The two tables differ on purpose.
TEST_F(Lookup, ByTheProgramDiffersFromTheFrontEnds) {
  EXPECT_EQ(host().find("glPopAttrib"), recorder().address("glPopAttrib"));
  EXPECT_NE(getProcAddress("glPopAttrib"), recorder().address("glPopAttrib"));
  EXPECT_NE(host().find("glGetStringi"), recorder().address("glGetStringi"));
  EXPECT_EQ(getProcAddress("glGetStringi"), recorder().address("glGetStringi"));
  int onlyByProgram = 0;
  for (const auto& [name, withheld] : kHooks) {
    if (!withheld) continue;
    EXPECT_EQ(host().find(name), nullptr);
    onlyByProgram += getProcAddress(name) != nullptr;
  }
  EXPECT_EQ(onlyByProgram, 6);
}

TEST_F(Lookup, ByTheProgramForwardsGlNamesToTheDriversOwnLookup) {
  EXPECT_EQ(getProcAddress("glDrawArrays"), recorder().address("glDrawArrays"));
  EXPECT_LINES(logged(), {"D " + kGetProcAddress + ": procname: glDrawArrays"});
  EXPECT_LINES(driverCalls(), {"glXGetProcAddress(&)"});
  EXPECT_EQ(getProcAddress("glNoSuchThing"), nullptr);
}

TEST_F(Lookup, ByTheProgramRefusesOneSharingFunction) {
  EXPECT_EQ(getProcAddress("glImportSyncEXT"), nullptr);
  EXPECT_LINES(logged(), {"D " + kGetProcAddress + ": procname: glImportSyncEXT",
                          "D " + kGetProcAddress + ": excluded"});
  EXPECT_EQ(driverCalls(), Lines{});
}

TEST_F(Lookup, ByTheProgramFailsForOtherGlxNames) {
  for (const std::string name : {"glXSwapIntervalSGI", "glXNoSuchThing", "whatever"}) {
    EXPECT_EQ(getProcAddress(name.c_str()), nullptr);
    EXPECT_LINES(logged(), {"D " + kGetProcAddress + ": procname: " + name,
                            "D " + kGetProcAddress + ": failed"});
    EXPECT_EQ(driverCalls(), Lines{});
  }
}

TEST_F(Lookup, ByTheProgramOfNoNameAtAllFails) {
  EXPECT_EQ(getProcAddress(nullptr), nullptr);
  EXPECT_LINES(logged(), {"D " + kGetProcAddress + ": procname: (null)",
                          "D " + kGetProcAddress + ": failed"});
}

TEST_F(Lookup, ByTheProgramHasOneFunctionForBothItsNames) {
  const auto arb = GL_OF(host(), glXGetProcAddressARB);
  forget();
  EXPECT_EQ(reinterpret_cast<void*>(arb(reinterpret_cast<const GLubyte*>("glXIsDirect"))),
            host().find("glXIsDirect"));
  EXPECT_TRUE(hasLine(logged(), "D " + kGetProcAddress + ": procname: glXIsDirect"));
}

} // namespace
