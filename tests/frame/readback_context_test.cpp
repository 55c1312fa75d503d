#include "foundation/conf_settings.h"
#include "frame/fake_gl.h"
#include "frame/fake_x.h"
#include "frame/image_painter.h"
#include "frame/readback_context.h"
#include "frame/readback_context_multi_thread.h"
#include "visual/recording.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <set>

using recording::messages;
using zol::gl::ReadbackContext;
using zol::gl::ReadbackContextMultiThread;
using zol::gl::XImagePainter;

namespace {

using Lines = std::vector<std::string>;

Display* const local = reinterpret_cast<Display*>(0x10c);

Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const Lines blit640 = {
    "glBindFramebuffer 0x8CA9 1", "glBlitFramebuffer 0 480 640 0 0 0 640 480 0x4000 0x2600",
    "glBindFramebuffer 0x8CA8 1", "glReadPixels 0 0 640 480 0x80E1 0x1401 offset 0",
    "glBindFramebuffer 0x8D40 0"};
const Lines allocate640 = {"glBindTexture 0x84F5 1",
                           "glTexImage2D 0x84F5 0 0x8058 640 480 0 0x1908 0x1401 NULL",
                           "glViewport 0 0 640 480"};
const Lines makeTexture = {"glGenTextures 1", "glBindTexture 0x84F5 1",
                           "glTexParameteri 0x84F5 0x2801 0x2600",
                           "glTexParameteri 0x84F5 0x2800 0x2600"};
const Lines makeFramebuffer = {"glGenFramebuffers 1", "glBindFramebuffer 0x8D40 1",
                               "glFramebufferTexture 0x8D40 0x8CE0 1 0",
                               "glCheckFramebufferStatus 0x8D40"};
const Lines makeBuffer = {"glGenBuffers 1", "glBindBuffer 0x88EB 1"};
const Lines store640 = {"glBufferData 0x88EB 1228800 NULL 0x88E1"};
const Lines unmap = {"glUnmapBuffer 0x88EB"};
const Lines map640 = {"glMapBufferRange 0x88EB 0 1228800 1"};

template <class Context>
class ReadbackTest : public testing::Test {
protected:
  void SetUp() override {
    zol::conf::settings().copybackStrategy = 2;
    driver->pixels.resize(1228800);
    std::iota(driver->pixels.begin(), driver->pixels.end(), static_cast<unsigned char>(1));
  }

  bool readBack(int width, int height) {
    recording::clear();
    return context->performGPUReadback(width, height);
  }

  void deliver() {
    recording::clear();
    context->copyToAppDisplay(fake::display, &painter, 0x21);
  }

  // The calls to GL and GLX, without those to X.
  Lines driverCalls() {
    Lines lines;
    for (const std::string& call : recording::calls())
      if (call.starts_with("gl")) lines.push_back(call);
    return lines;
  }

  // What the delivery logs itself, without what the painter logs.
  Lines deliveryMessages() {
    Lines lines;
    for (const recording::LogRecord& record : recording::log())
      if (record.label.find("copyToAppDisplay") != std::string::npos)
        lines.push_back(record.level + " " + record.message);
    return lines;
  }

  // The mutex that every call so far was made under, before any other; null when there is none.
  const void* mutexOfCalls() {
    std::set<const void*> mutexes;
    for (const auto& locks : recording::locksAtCalls())
      mutexes.insert(locks.empty() ? nullptr : locks.front());
    return mutexes.size() == 1 ? *mutexes.begin() : nullptr;
  }

  void expectOnlyTheNewestFrame() {
    readBack(640, 480);
    driver->pixels[0] = 77;
    readBack(640, 480);
    deliver();
    EXPECT_EQ(server->painted, driver->pixels);
    deliver();
    EXPECT_EQ(recording::calls(), Lines{});
  }

  void expectOneMutex() {
    readBack(640, 480);
    const void* const mutex = mutexOfCalls();
    EXPECT_NE(mutex, nullptr);
    deliver();
    EXPECT_EQ(mutexOfCalls(), mutex);
  }

  size_t paints() {
    const Lines& calls = recording::calls();
    return std::count_if(calls.begin(), calls.end(),
                         [](const std::string& call) { return call.starts_with("XPutImage"); });
  }

  fake::Server* server = &fake::resetServer();
  fake::Driver* driver = &fake::resetDriver();
  XImagePainter painter{0x200003};
  std::unique_ptr<ReadbackContext> context = std::make_unique<Context>();
};

using SingleThreadReadback = ReadbackTest<ReadbackContext>;

class MultiThreadReadback : public ReadbackTest<ReadbackContextMultiThread> {
protected:
  bool share() {
    recording::clear();
    return context->setSharedContext(local, reinterpret_cast<GLXFBConfig>(0xfb),
                                     reinterpret_cast<GLXContext>(0xc0), 0x77);
  }
};

} // namespace

TEST_F(SingleThreadReadback, NeedsNoContextOfItsOwn) {
  EXPECT_TRUE(context->setSharedContext(local, nullptr, nullptr, 0));
  EXPECT_EQ(recording::calls(), Lines{});
}

TEST_F(SingleThreadReadback, MakesItsObjectsAtTheFirstFrame) {
  EXPECT_TRUE(readBack(640, 480));
  EXPECT_EQ(recording::calls(), makeBuffer + unmap + store640 + makeTexture + allocate640 +
                                    makeFramebuffer + Lines{"glBindFramebuffer 0x8D40 0"} +
                                    blit640 + map640);
  EXPECT_EQ(messages(), (Lines{"DEBUG Readback context size 640x480",
                               "DEBUG Initializing GPU readback textures",
                               "DEBUG Resizing GPU readback textures to new size 640 x 480",
                               "DEBUG Initializing GPU readback programs"}));
  for (const recording::LogRecord& record : recording::log())
    EXPECT_EQ(record.label, "bool zol::gl::ReadbackContext::performGPUReadback(int, int)");
  EXPECT_FALSE(recording::log()[0].locked);
}

TEST_F(SingleThreadReadback, ReusesItsObjectsAtLaterFrames) {
  readBack(640, 480);
  EXPECT_TRUE(readBack(640, 480));
  EXPECT_EQ(recording::calls(), unmap + store640 + blit640 + map640);
  EXPECT_EQ(messages(), Lines{"DEBUG Readback context size 640x480"});
}

TEST_F(SingleThreadReadback, ReallocatesTheTextureWhenOnlyOneSideChanges) {
  readBack(640, 240);
  EXPECT_TRUE(readBack(640, 480));
  EXPECT_EQ(recording::calls(), unmap + store640 + allocate640 + blit640 + map640);
  readBack(320, 480);
  EXPECT_TRUE(readBack(640, 480));
  EXPECT_EQ(recording::calls(), unmap + store640 + allocate640 + blit640 + map640);
}

TEST_F(SingleThreadReadback, GoesOnWithAFramebufferThatWasIncomplete) {
  driver->framebufferStatus = GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT;
  readBack(640, 480);
  EXPECT_TRUE(readBack(640, 480));
  EXPECT_EQ(recording::calls(), unmap + store640 + blit640 + map640);
}

TEST_F(SingleThreadReadback, FailsOnAnIncompleteFramebufferAndHasNoFrame) {
  driver->framebufferStatus = GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT;
  EXPECT_FALSE(readBack(640, 480));
  EXPECT_EQ(recording::calls(), makeBuffer + unmap + store640 + makeTexture + allocate640 +
                                    makeFramebuffer + Lines{"glCheckFramebufferStatus 0x8D40"});
  EXPECT_EQ(messages().back(), "ERROR Invalid framebuffer: 0x8CD6");
  deliver();
  EXPECT_EQ(recording::calls(), Lines{});
  EXPECT_EQ(messages(), Lines{});
}

TEST_F(SingleThreadReadback, DeliversNothingWithoutAFrame) {
  deliver();
  EXPECT_EQ(recording::calls(), Lines{});
  EXPECT_EQ(messages(), Lines{});
}

TEST_F(SingleThreadReadback, DeliversAFrameOnceWithoutAnyCallToTheDriver) {
  readBack(640, 480);
  deliver();
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_EQ(server->painted, driver->pixels);
  EXPECT_EQ(paints(), 1u);
  deliver();
  EXPECT_EQ(recording::calls(), Lines{});
  EXPECT_EQ(messages(), Lines{});
}

TEST_F(SingleThreadReadback, DeliversOnlyTheNewestOfTwoFrames) {
  expectOnlyTheNewestFrame();
}

TEST_F(SingleThreadReadback, KeepsTheBufferMappedUntilTheNextFrame) {
  readBack(640, 480);
  EXPECT_EQ(recording::calls().back(), map640[0]);
  deliver();
  EXPECT_EQ(driverCalls(), Lines{});
  readBack(640, 480);
  EXPECT_EQ(recording::calls(), unmap + store640 + blit640 + map640);
}

TEST_F(SingleThreadReadback, ReadsAndDeliversUnderOneMutex) {
  expectOneMutex();
}

TEST_F(SingleThreadReadback, DeliversTheFourBytesOfASinglePixel) {
  readBack(1, 1);
  EXPECT_EQ(recording::calls()[3], "glBufferData 0x88EB 4 NULL 0x88E1");
  EXPECT_EQ(recording::calls().back(), "glMapBufferRange 0x88EB 0 4 1");
  deliver();
  EXPECT_EQ(server->painted, (std::vector<unsigned char>{1, 2, 3, 4}));
}

TEST_F(SingleThreadReadback, SkipsAFrameWhoseBufferCouldNotBeMapped) {
  driver->mapsBuffers = false;
  EXPECT_TRUE(readBack(640, 480));
  deliver();
  EXPECT_EQ(messages(), Lines{"WARNING Buffer is NULL, skipping copyback"});
  EXPECT_EQ(recording::log()[0].label, "virtual void zol::gl::ReadbackContext::copyToAppDisplay("
                                       "Display*, zol::gl::XImagePainter*, VisualID)");
  EXPECT_FALSE(recording::log()[0].locked);
  EXPECT_EQ(recording::calls(), Lines{});
}

TEST_F(SingleThreadReadback, KeepsTheFrameWhenThePainterFails) {
  server->depth = 16;
  readBack(640, 480);
  deliver();
  EXPECT_EQ(paints(), 0u);
  EXPECT_EQ(deliveryMessages(), Lines{});
  server->depth = 24;
  deliver();
  EXPECT_EQ(paints(), 1u);
}

TEST_F(SingleThreadReadback, KeepsTheFrameWhenThePainterHasNoImage) {
  server->visuals = 0;
  readBack(640, 480);
  deliver();
  EXPECT_EQ(paints(), 0u);
  server->visuals = 1;
  deliver();
  EXPECT_EQ(paints(), 1u);
  EXPECT_EQ(server->painted, driver->pixels);
}

TEST_F(SingleThreadReadback, DeletesItsObjectsOnlyWhenToldTo) {
  readBack(640, 480);
  recording::clear();
  context->releaseOGLResources();
  EXPECT_EQ(recording::calls(),
            (Lines{"glDeleteBuffers 1 1", "glDeleteTextures 1 1", "glDeleteFramebuffers 1 1"}));
  EXPECT_EQ(messages(), Lines{"DEBUG Released OpenGL resources for ReadbackContext"});
  EXPECT_EQ(recording::locksAtCalls(), std::vector<std::vector<const void*>>(3));
  recording::clear();
  context->releaseOGLResources();
  EXPECT_EQ(recording::calls(), Lines{});

  readBack(640, 480);
  deliver();
  readBack(640, 480);
  context->releaseOGLResources();
  deliver();
  EXPECT_EQ(messages(), Lines{"WARNING Readback pbo has not been created yet"});
  EXPECT_FALSE(recording::log()[0].locked);

  readBack(640, 480);
  recording::clear();
  context.reset();
  EXPECT_EQ(recording::calls(), Lines{});
  EXPECT_EQ(messages(), Lines{"DEBUG Destroyed ReadbackContext"});
}

TEST_F(MultiThreadReadback, MakesADirectContextThatSharesWithTheReadContext) {
  EXPECT_TRUE(share());
  EXPECT_EQ(recording::calls(), Lines{"glXCreateNewContext 0x10c 0xfb 0x8014 0xc0 1"});
  recording::clear();
  context.reset();
  EXPECT_EQ(recording::calls(), Lines{"glXDestroyContext 0x10c 0xcc"});
  EXPECT_EQ(messages(), Lines{"DEBUG Destroyed ReadbackContext"});
}

TEST_F(MultiThreadReadback, SkipsDeliveriesWithoutAContext) {
  driver->makesContexts = false;
  EXPECT_FALSE(share());
  deliver();
  EXPECT_EQ(messages(), Lines{"WARNING Copyback context is not set, skipping"});
  readBack(640, 480);
  deliver();
  EXPECT_EQ(recording::calls(), Lines{});
  EXPECT_EQ(messages(), Lines{"WARNING Copyback context is not set, skipping"});
  recording::clear();
  context.reset();
  EXPECT_EQ(recording::calls(), Lines{});
}

TEST_F(MultiThreadReadback, ReadsBackWithoutMapping) {
  EXPECT_TRUE(readBack(640, 480));
  EXPECT_EQ(recording::calls(), makeBuffer + store640 + makeTexture + allocate640 +
                                    makeFramebuffer + Lines{"glBindFramebuffer 0x8D40 0"} +
                                    blit640);
  EXPECT_TRUE(readBack(640, 480));
  EXPECT_EQ(recording::calls(), store640 + blit640);
}

TEST_F(MultiThreadReadback, DeliversNothingWithoutAFrame) {
  share();
  deliver();
  EXPECT_EQ(recording::calls(), Lines{});
  EXPECT_EQ(messages(), Lines{});
}

TEST_F(MultiThreadReadback, DeliversOnlyTheNewestOfTwoFrames) {
  share();
  expectOnlyTheNewestFrame();
}

TEST_F(MultiThreadReadback, ReadsAndDeliversUnderOneMutex) {
  share();
  expectOneMutex();
}

TEST_F(MultiThreadReadback, MapsTheBufferInItsOwnContextToDeliver) {
  share();
  readBack(640, 480);
  deliver();
  EXPECT_EQ(driverCalls(), (Lines{"glXMakeCurrent 0x10c 0x77 0xcc", "glBindBuffer 0x88EB 1"} +
                            map640 + unmap + Lines{"glXMakeCurrent 0x10c 0x0 (nil)"}));
  const Lines& calls = recording::calls();
  const auto at = [&calls](const char* prefix) {
    return std::find_if(calls.begin(), calls.end(),
                        [prefix](const std::string& call) { return call.starts_with(prefix); });
  };
  EXPECT_LT(at("XCreateImage"), at("glXMakeCurrent"));
  EXPECT_LT(at("glMapBufferRange"), at("XPutImage"));
  EXPECT_LT(at("XPutImage"), at("glUnmapBuffer"));
  EXPECT_EQ(server->painted, driver->pixels);
  deliver();
  EXPECT_EQ(recording::calls(), Lines{});
  EXPECT_EQ(messages(), Lines{});
}

TEST_F(MultiThreadReadback, KeepsTheFrameWhenItsContextCannotBeMadeCurrent) {
  share();
  readBack(640, 480);
  driver->makesCurrent = false;
  deliver();
  EXPECT_EQ(driverCalls(), Lines{"glXMakeCurrent 0x10c 0x77 0xcc"});
  EXPECT_EQ(deliveryMessages(), Lines{"WARNING Failed to make copyback context current"});
  EXPECT_FALSE(recording::log().back().locked);
  driver->makesCurrent = true;
  deliver();
  EXPECT_EQ(paints(), 1u);
}

TEST_F(MultiThreadReadback, KeepsTheFrameWhenTheBufferCannotBeMapped) {
  share();
  readBack(640, 480);
  driver->mapsBuffers = false;
  deliver();
  EXPECT_EQ(driverCalls(), (Lines{"glXMakeCurrent 0x10c 0x77 0xcc", "glBindBuffer 0x88EB 1"} +
                            map640 + Lines{"glXMakeCurrent 0x10c 0x0 (nil)"}));
  EXPECT_EQ(messages().back(), "WARNING Failed to map buffer for copyback");
  EXPECT_EQ(recording::log().back().label,
            "virtual void zol::gl::ReadbackContextMultiThread::copyToAppDisplay(Display*, "
            "zol::gl::XImagePainter*, VisualID)");
  driver->mapsBuffers = true;
  deliver();
  EXPECT_EQ(paints(), 1u);
}

TEST_F(MultiThreadReadback, DoesNotTouchTheDriverWhenThePainterHasNoImage) {
  share();
  readBack(640, 480);
  server->visuals = 0;
  deliver();
  EXPECT_EQ(driverCalls(), Lines{});
  server->visuals = 1;
  server->depth = 16;
  deliver();
  EXPECT_EQ(driverCalls(), Lines{});
  EXPECT_EQ(deliveryMessages(), Lines{});
  server->depth = 24;
  deliver();
  EXPECT_EQ(paints(), 1u);
}

TEST_F(MultiThreadReadback, WarnsWhenThereIsNoBufferToDeliverFrom) {
  share();
  readBack(640, 480);
  context->releaseOGLResources();
  deliver();
  EXPECT_EQ(recording::calls(), Lines{});
  EXPECT_EQ(messages(), Lines{"WARNING Readback pbo has not been created yet"});
  EXPECT_FALSE(recording::log()[0].locked);
}
