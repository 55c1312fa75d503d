// The calls at which a frame may be complete, in states that no other call of a program leads to.

#include "display/context_map.h"
#include "display/tsd.h"
#include "frame/fake_gl.h"
#include "frame/frame_triggers.h"
#include "frame/front_buffer.h"
#include "vendor/system_functions.h"
#include "visual/recording.h"
#include "visual/visual_map.h"

#include <gtest/gtest.h>

using recording::messages;
using zol::gl::ContextInfo;
using zol::gl::LocalVisualInfo;
using zol::gl::TSD;

namespace {

using Lines = std::vector<std::string>;

void systemFunction() {
  recording::call("system function");
}

class FrameTriggers : public testing::Test {
protected:
  void SetUp() override {
    fake::resetDriver();
    system_glFinish = [] { recording::call("glFinish"); };
    system_glFlush = [] { recording::call("glFlush"); };
    system_glClear = [](GLbitfield mask) { recording::call("glClear 0x%X", mask); };
  }
};

TEST_F(FrameTriggers, WithoutAContextFinishNothing) {
  TSD tsd;
  finishOrFlush(systemFunction, &tsd);
  EXPECT_EQ(messages(), Lines{"DEBUG no context"});
  EXPECT_EQ(recording::calls(), Lines{});
}

TEST_F(FrameTriggers, WithoutADrawableFinishNothing) {
  LocalVisualInfo visual;
  ContextInfo info;
  info.lvi = &visual;
  info.drawBuffer = GL_FRONT_AND_BACK; // a frame, whatever was drawn
  TSD tsd;
  tsd.context = reinterpret_cast<GLXContext>(0xc0);
  (*getContextMap())[tsd.context] = &info;
  finishOrFlush(systemFunction, &tsd);
  getContextMap()->erase(tsd.context);
  EXPECT_EQ(messages(), Lines{"DEBUG draw 408, dbf 1"});
  EXPECT_EQ(recording::calls(), Lines{});
}

// There is no key for the thread's record before the library is initialised.
TEST_F(FrameTriggers, WithoutThreadStateReachTheDriverOnlyWithPixels) {
  ASSERT_EQ(getTSD(), nullptr);
  zol_glXSwapBuffers(reinterpret_cast<Display*>(0x10c), 1);
  zol_glFinish();
  zol_glFlush();
  zol_glDrawBuffer(GL_FRONT);
  EXPECT_EQ(zol_glRenderMode(GL_SELECT), 0);
  zol_glViewport(1, 2, 3, 4);
  EXPECT_EQ(messages(),
            (Lines{"DEBUG drawable 1", "DEBUG START", "DEBUG START", "DEBUG START",
                   "DEBUG mode FRONT (0x404)", "DEBUG no context", "DEBUG mode: GL_SELECT (0x1c02)",
                   "DEBUG no context", "DEBUG 1 2 3 4", "DEBUG no tsd"}));
  EXPECT_EQ(recording::calls(), Lines{});
  recording::clear();
  zol_glClear(GL_COLOR_BUFFER_BIT);
  EXPECT_EQ(messages(), Lines{"DEBUG START"});
  EXPECT_EQ(recording::calls(), Lines{"glClear 0x4000"});
}

} // namespace
