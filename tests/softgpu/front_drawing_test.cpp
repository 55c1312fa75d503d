// Drawing into GL_FRONT of a double-buffered pbuffer.
#include "softgpu/fixture.h"

namespace zol::softgpu::test {
namespace {

using FrontDrawing = PbufferTest;

TEST_F(FrontDrawing, ReachesTheFrontBufferAndNothingElse) {
  const GLXPbuffer pbuffer = currentPbuffer();
  fill(red);
  gl.glDrawBuffer(GL_FRONT);
  fill(green);
  EXPECT_EQ(whole(GL_FRONT), green);
  EXPECT_EQ(whole(GL_BACK), red);
  swap(pbuffer);
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(FrontDrawing, AddsToTheFrameThatIsShown) {
  const GLXPbuffer pbuffer = currentPbuffer();
  fill(red);
  swap(pbuffer);
  gl.glDrawBuffer(GL_FRONT);
  fill(green, 0, 0, width / 2, height);
  gl.glDrawBuffer(GL_BACK);
  expectQuadrants(GL_FRONT, {green, red, green, red}, width, height);
  EXPECT_EQ(whole(GL_BACK), red);
}

TEST_F(FrontDrawing, TakesTurnsWithTheBackBuffer) {
  currentPbuffer();
  for (int i = 0; i < 10; ++i) {
    const Color front{static_cast<uint8_t>(i), 10, 20};
    const Color back{30, static_cast<uint8_t>(i), 40};
    gl.glDrawBuffer(i % 2 ? GL_FRONT : GL_FRONT_LEFT);
    fill(front);
    gl.glDrawBuffer(i % 2 ? GL_BACK : GL_BACK_LEFT);
    fill(back);
    ASSERT_EQ(whole(i % 2 ? GL_FRONT_LEFT : GL_FRONT), front);
    ASSERT_EQ(whole(i % 2 ? GL_BACK : GL_BACK_LEFT), back);
  }
}

TEST_F(FrontDrawing, IsSeenByAReaderBoundInBetween) {
  GLXContext program = makeContext();
  GLXContext reader = makeContext();
  const GLXPbuffer pbuffer = currentPbuffer(program);
  gl.glDrawBuffer(GL_FRONT);
  const Color colors[] = {red, green, blue};
  for (const Color& color : colors) {
    fill(color);
    gl.glFinish();
    makeCurrent(pbuffer, reader);
    gl.glReadBuffer(GL_FRONT);
    EXPECT_EQ(wholeOfReadBuffer(), color);
    makeCurrent(pbuffer, program);
    EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT);
    EXPECT_EQ(integer(GL_READ_BUFFER), GL_BACK);
  }
  EXPECT_EQ(whole(GL_BACK), black);
}

TEST_F(FrontDrawing, OfBothBuffersReachesBoth) {
  GLXContext program = makeContext();
  currentPbuffer(program);
  gl.glDrawBuffer(GL_FRONT_AND_BACK);
  fill(red);
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_EQ(whole(GL_BACK), red);
  gl.glDrawBuffer(GL_BACK);
  fill(green);
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_EQ(whole(GL_BACK), green);
  gl.glDrawBuffer(GL_FRONT_AND_BACK);
  fill(blue);
  gl.glDrawBuffer(GL_FRONT);
  fill(white, 0, 0, width / 2, height);
  expectQuadrants(GL_FRONT, {white, blue, white, blue}, width, height);
  EXPECT_EQ(whole(GL_BACK), blue);
}

TEST_F(FrontDrawing, OfBothBuffersIsSeenByAReaderBoundInBetween) {
  GLXContext program = makeContext();
  GLXContext reader = makeContext();
  const GLXPbuffer pbuffer = currentPbuffer(program);
  gl.glDrawBuffer(GL_FRONT_AND_BACK);
  for (const Color& color : {red, green, blue}) {
    fill(color);
    gl.glFinish();
    makeCurrent(pbuffer, reader);
    EXPECT_EQ(whole(GL_FRONT), color);
    makeCurrent(pbuffer, program);
  }
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

void triangle(float z) {
  gl.glBegin(GL_TRIANGLES);
  gl.glVertex3f(-1, -1, z);
  gl.glVertex3f(3, -1, z);
  gl.glVertex3f(-1, 3, z);
  gl.glEnd();
}

TEST_F(FrontDrawing, SharesTheDepthBufferWithTheBackBuffer) {
  currentPbuffer();
  gl.glEnable(GL_DEPTH_TEST);
  gl.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  gl.glColor3f(1, 0, 0);
  triangle(0);
  gl.glDrawBuffer(GL_FRONT);
  gl.glColor3f(0, 1, 0);
  triangle(0.5F); // behind
  EXPECT_EQ(whole(GL_FRONT), black);
  triangle(-0.5F); // before
  EXPECT_EQ(whole(GL_FRONT), green);
  gl.glDrawBuffer(GL_BACK);
  gl.glColor3f(0, 0, 1);
  triangle(-0.25F); // behind what the front buffer has
  EXPECT_EQ(whole(GL_BACK), red);
  triangle(-0.75F);
  EXPECT_EQ(whole(GL_BACK), blue);
}

TEST_F(FrontDrawing, LeavesOneDepthBufferToRead) {
  currentPbuffer();
  auto depth = [] {
    float value = -1;
    gl.glReadPixels(3, 3, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &value);
    return value;
  };
  gl.glClearDepth(0.25);
  gl.glClear(GL_DEPTH_BUFFER_BIT);
  gl.glReadBuffer(GL_FRONT);
  EXPECT_NEAR(depth(), 0.25, 1e-6);
  gl.glDrawBuffer(GL_FRONT);
  EXPECT_NEAR(depth(), 0.25, 1e-6);
  gl.glClearDepth(0.75);
  gl.glClear(GL_DEPTH_BUFFER_BIT);
  gl.glReadBuffer(GL_BACK);
  EXPECT_NEAR(depth(), 0.75, 1e-6);
  gl.glDrawBuffer(GL_BACK);
  EXPECT_NEAR(depth(), 0.75, 1e-6);
}

} // namespace
} // namespace zol::softgpu::test
