#include "rig/fixture.h"

#include <algorithm>
#include <iterator>

using namespace zol::rig;

namespace {

const std::string kLookup = "void* glXGLVNDGetProcAddressInternal(const GLubyte*, bool)";
const std::string kGetProcAddress = "void (* zol_glXGetProcAddress(const GLubyte*))()";

// What the front end is given a function of the library for.
const char* const kInterposed[] = {"glXChooseVisual",
                                   "glXCopyContext",
                                   "glXCreateContext",
                                   "glXCreateContextAttribsARB",
                                   "glXCreateGLXPixmap",
                                   "glXDestroyContext",
                                   "glXDestroyGLXPixmap",
                                   "glXGetConfig",
                                   "glXGetCurrentContext",
                                   "glXGetCurrentDrawable",
                                   "glXIsDirect",
                                   "glXMakeCurrent",
                                   "glXQueryExtension",
                                   "glXQueryVersion",
                                   "glXSwapBuffers",
                                   "glXUseXFont",
                                   "glXWaitGL",
                                   "glXWaitX",
                                   "glXGetClientString",
                                   "glXQueryServerString",
                                   "glXQueryExtensionsString",
                                   "glXGetFBConfigs",
                                   "glXChooseFBConfig",
                                   "glXGetFBConfigAttrib",
                                   "glXGetVisualFromFBConfig",
                                   "glXCreateWindow",
                                   "glXDestroyWindow",
                                   "glXCreatePixmap",
                                   "glXDestroyPixmap",
                                   "glXCreatePbuffer",
                                   "glXDestroyPbuffer",
                                   "glXQueryDrawable",
                                   "glXCreateNewContext",
                                   "glXMakeContextCurrent",
                                   "glXGetCurrentReadDrawable",
                                   "glXGetCurrentDisplay",
                                   "glXQueryContext",
                                   "glXSelectEvent",
                                   "glXGetSelectedEvent",
                                   "glXGetProcAddress",
                                   "glXGetProcAddressARB",
                                   "glXAllocateMemoryNV",
                                   "glXFreeMemoryNV",
                                   "glXQueryFrameCountNV",
                                   "glXResetFrameCountNV",
                                   "glXGetVideoSyncSGI",
                                   "glXWaitVideoSyncSGI",
                                   "glXGetRefreshRateSGI",
                                   "glXGetFBConfigAttribSGIX",
                                   "glXChooseFBConfigSGIX",
                                   "glXCreateGLXPixmapWithConfigSGIX",
                                   "glXCreateContextWithConfigSGIX",
                                   "glXGetVisualFromFBConfigSGIX",
                                   "glXGetFBConfigFromVisualSGIX",
                                   "glXCreateGLXPbufferSGIX",
                                   "glXDestroyGLXPbufferSGIX",
                                   "glXQueryGLXPbufferSGIX",
                                   "glXSelectEventSGIX",
                                   "glXGetSelectedEventSGIX",
                                   "glXSet3DfxModeMESA",
                                   "glXBindChannelToWindowSGIX",
                                   "glXBindTexImageEXT",
                                   "glXChannelRectSGIX",
                                   "glXChannelRectSyncSGIX",
                                   "glXFreeContextEXT",
                                   "glXGetContextIDEXT",
                                   "glXImportContextEXT",
                                   "glXQueryChannelDeltasSGIX",
                                   "glXQueryChannelRectSGIX",
                                   "glXQueryContextInfoEXT",
                                   "glXReleaseTexImageEXT",
                                   "glBitmap",
                                   "glCopyPixels",
                                   "glClear",
                                   "glDrawPixels",
                                   "glFinish",
                                   "glFlush",
                                   "glRenderMode",
                                   "glDrawBuffer",
                                   "glGenQueries",
                                   "glGenQueriesARB",
                                   "glViewport",
                                   "glGetStringi"};

// What the front end is told nobody has.
const char* const kWithheld[] = {
    "glXJoinSwapGroupNV",      "glXBindSwapBarrierNV", "glXQuerySwapGroupNV",
    "glXQueryMaxSwapGroupsNV", "glXSwapIntervalSGI",   "glXGetVideoDeviceNV",
    "glXReleaseVideoDeviceNV", "glXBindVideoImageNV",  "glXReleaseVideoImageNV",
    "glXSendPbufferToVideoNV", "glXGetVideoInfoNV"};

// What a program that asks the library itself is given a function of the library for.
const char* const kByProgram[] = {"glXChooseVisual",
                                  "glXCopyContext",
                                  "glXCreateContext",
                                  "glXCreateContextAttribsARB",
                                  "glXCreateGLXPixmap",
                                  "glXDestroyContext",
                                  "glXDestroyGLXPixmap",
                                  "glXGetConfig",
                                  "glXGetCurrentContext",
                                  "glXGetCurrentDrawable",
                                  "glXIsDirect",
                                  "glXMakeCurrent",
                                  "glXQueryExtension",
                                  "glXQueryVersion",
                                  "glXSwapBuffers",
                                  "glXUseXFont",
                                  "glXWaitGL",
                                  "glXWaitX",
                                  "glXGetClientString",
                                  "glXQueryServerString",
                                  "glXQueryExtensionsString",
                                  "glXGetFBConfigs",
                                  "glXChooseFBConfig",
                                  "glXGetFBConfigAttrib",
                                  "glXGetVisualFromFBConfig",
                                  "glXCreateWindow",
                                  "glXDestroyWindow",
                                  "glXCreatePixmap",
                                  "glXDestroyPixmap",
                                  "glXCreatePbuffer",
                                  "glXDestroyPbuffer",
                                  "glXQueryDrawable",
                                  "glXCreateNewContext",
                                  "glXMakeContextCurrent",
                                  "glXGetCurrentReadDrawable",
                                  "glXGetCurrentDisplay",
                                  "glXQueryContext",
                                  "glXSelectEvent",
                                  "glXGetSelectedEvent",
                                  "glXAllocateMemoryNV",
                                  "glXFreeMemoryNV",
                                  "glXJoinSwapGroupNV",
                                  "glXBindSwapBarrierNV",
                                  "glXQuerySwapGroupNV",
                                  "glXQueryMaxSwapGroupsNV",
                                  "glXQueryFrameCountNV",
                                  "glXResetFrameCountNV",
                                  "glXGetVideoSyncSGI",
                                  "glXWaitVideoSyncSGI",
                                  "glXGetRefreshRateSGI",
                                  "glXGetFBConfigAttribSGIX",
                                  "glXChooseFBConfigSGIX",
                                  "glXCreateGLXPixmapWithConfigSGIX",
                                  "glXCreateContextWithConfigSGIX",
                                  "glXGetVisualFromFBConfigSGIX",
                                  "glXGetFBConfigFromVisualSGIX",
                                  "glXCreateGLXPbufferSGIX",
                                  "glXDestroyGLXPbufferSGIX",
                                  "glXQueryGLXPbufferSGIX",
                                  "glXSelectEventSGIX",
                                  "glXGetSelectedEventSGIX",
                                  "glXSet3DfxModeMESA",
                                  "glXReleaseVideoImageNV",
                                  "glXSendPbufferToVideoNV",
                                  "glXBindChannelToWindowSGIX",
                                  "glXBindTexImageEXT",
                                  "glXChannelRectSGIX",
                                  "glXChannelRectSyncSGIX",
                                  "glXFreeContextEXT",
                                  "glXGetContextIDEXT",
                                  "glXImportContextEXT",
                                  "glXQueryChannelDeltasSGIX",
                                  "glXQueryChannelRectSGIX",
                                  "glXQueryContextInfoEXT",
                                  "glXReleaseTexImageEXT",
                                  "glBitmap",
                                  "glClear",
                                  "glCopyPixels",
                                  "glDrawPixels",
                                  "glFinish",
                                  "glFlush",
                                  "glRenderMode",
                                  "glDrawBuffer",
                                  "glPopAttrib",
                                  "glGenQueries",
                                  "glGenQueriesARB",
                                  "glViewport",
                                  "glXGetProcAddress",
                                  "glXGetProcAddressARB"};

bool isWithheld(const std::string& name) {
  return std::find(std::begin(kWithheld), std::end(kWithheld), name) != std::end(kWithheld);
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
  for (const char* name : kInterposed) {
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
  for (const char* name : kWithheld) {
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
  for (const char* name : kWithheld) {
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

TEST_F(Lookup, ByTheProgramHasOneFunctionForBothItsNames) {
  const auto arb = GL_OF(host(), glXGetProcAddressARB);
  forget();
  EXPECT_EQ(reinterpret_cast<void*>(arb(reinterpret_cast<const GLubyte*>("glXIsDirect"))),
            host().find("glXIsDirect"));
  EXPECT_TRUE(hasLine(logged(), "D " + kGetProcAddress + ": procname: glXIsDirect"));
}

} // namespace
