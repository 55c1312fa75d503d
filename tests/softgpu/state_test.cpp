// What a program can ask about buffers and drawables, and how it can choose buffers.
#include "softgpu/fixture.h"

namespace zol::softgpu::test {
namespace {

using State = PbufferTest;

TEST_F(State, AnswersWithTheBuffersThatTheProgramChose) {
  currentPbuffer();
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_BACK);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_BACK);
  for (GLint name : {GL_FRONT, GL_BACK, GL_FRONT_LEFT, GL_BACK_LEFT, GL_FRONT_AND_BACK, GL_LEFT,
                     GL_NONE, GL_FRONT}) {
    gl.glDrawBuffer(name);
    EXPECT_EQ(integer(GL_DRAW_BUFFER), name);
    EXPECT_EQ(integer(GL_DRAW_BUFFER0), name);
    EXPECT_EQ(integer(GL_DRAW_BUFFER1), GL_NONE);
  }
  for (GLint name : {GL_FRONT, GL_BACK, GL_FRONT_LEFT, GL_NONE, GL_BACK_LEFT, GL_LEFT, GL_FRONT}) {
    gl.glReadBuffer(name);
    EXPECT_EQ(integer(GL_READ_BUFFER), name);
  }
  GLfloat single = 0;
  GLdouble twice = 0;
  GLint64 wide = 0;
  GLboolean truth = GL_FALSE;
  gl.glGetFloatv(GL_READ_BUFFER, &single);
  gl.glGetDoublev(GL_DRAW_BUFFER, &twice);
  gl.glGetInteger64v(GL_DRAW_BUFFER0, &wide);
  gl.glGetBooleanv(GL_READ_BUFFER, &truth);
  EXPECT_EQ(single, GL_FRONT);
  EXPECT_EQ(twice, GL_FRONT);
  EXPECT_EQ(wide, GL_FRONT);
  EXPECT_EQ(truth, GL_TRUE);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(State, ANoneForReadingIsLiftedAgain) {
  const GLXPbuffer pbuffer = currentPbuffer();
  fill(red);
  swap(pbuffer);
  fill(green);
  gl.glReadBuffer(GL_NONE);
  gl.glReadBuffer(GL_FRONT);
  EXPECT_EQ(wholeOfReadBuffer(), red);
  gl.glReadBuffer(GL_NONE);
  gl.glReadBuffer(GL_BACK);
  EXPECT_EQ(wholeOfReadBuffer(), green);
  gl.glReadBuffer(GL_NONE);
  uint32_t pixel = 0;
  gl.glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, &pixel);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION});
}

TEST_F(State, RaisesTheErrorsOfTheDriver) {
  currentPbuffer();
  gl.glDrawBuffer(GL_FRONT);
  gl.glDrawBuffer(GL_FRONT_RIGHT);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION});
  gl.glDrawBuffer(GL_COLOR_ATTACHMENT0);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION});
  gl.glReadBuffer(0x1234);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_ENUM});
  gl.glReadBuffer(GL_FRONT_RIGHT);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION});
  const GLenum single[] = {GL_FRONT};
  gl.glDrawBuffers(1, single);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_ENUM});
  const GLenum twice[] = {GL_FRONT_LEFT, GL_FRONT_LEFT};
  gl.glDrawBuffers(2, twice);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION});
  gl.glBegin(GL_TRIANGLES);
  gl.glDrawBuffer(GL_BACK);
  gl.glEnd();
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION});
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_BACK);
}

TEST_F(State, ListsOfDrawBuffersReachTheFrontBuffer) {
  currentPbuffer();
  const GLenum second[] = {GL_NONE, GL_FRONT_LEFT};
  gl.glDrawBuffers(2, second);
  EXPECT_EQ(integer(GL_DRAW_BUFFER0), GL_NONE);
  EXPECT_EQ(integer(GL_DRAW_BUFFER1), GL_FRONT_LEFT);
  const GLenum front[] = {GL_FRONT_LEFT};
  gl.glDrawBuffers(1, front);
  fill(red);
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT_LEFT);
  const GLenum back[] = {GL_BACK_LEFT};
  gl.glDrawBuffers(1, back);
  fill(green);
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_EQ(whole(GL_BACK), green);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(State, AttributeGroupsBringTheChoicesBack) {
  currentPbuffer();
  fill(green);
  gl.glDrawBuffer(GL_FRONT);
  gl.glReadBuffer(GL_FRONT);
  gl.glPushAttrib(GL_ALL_ATTRIB_BITS);
  gl.glDrawBuffer(GL_BACK);
  gl.glPushAttrib(GL_PIXEL_MODE_BIT);
  gl.glReadBuffer(GL_BACK);
  gl.glDrawBuffer(GL_FRONT);
  gl.glPopAttrib();
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_FRONT);
  gl.glDrawBuffer(GL_BACK);
  gl.glReadBuffer(GL_BACK);
  EXPECT_EQ(wholeOfReadBuffer(), green);
  gl.glPopAttrib();
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_FRONT);
  fill(red);
  EXPECT_EQ(wholeOfReadBuffer(), red);
  EXPECT_EQ(whole(GL_BACK), green);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(State, AnOverflowingAttributeStackLosesNothing) {
  currentPbuffer();
  const int depth = integer(GL_MAX_ATTRIB_STACK_DEPTH);
  for (int i = 0; i < depth; ++i) {
    gl.glDrawBuffer(i % 2 ? GL_FRONT : GL_BACK);
    gl.glPushAttrib(GL_COLOR_BUFFER_BIT);
  }
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
  gl.glDrawBuffer(GL_NONE);
  gl.glPushAttrib(GL_COLOR_BUFFER_BIT);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_STACK_OVERFLOW});
  for (int i = depth - 1; i >= 0; --i) {
    gl.glPopAttrib();
    EXPECT_EQ(integer(GL_DRAW_BUFFER), i % 2 ? GL_FRONT : GL_BACK);
  }
  gl.glPopAttrib();
  EXPECT_EQ(gl.glGetError(), GLenum{GL_STACK_UNDERFLOW});
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_BACK);
}

TEST_F(State, AListsChoiceOfBuffersHoldsOnceItHasRun) {
  currentPbuffer();
  const GLuint list = gl.glGenLists(1);
  gl.glNewList(list, GL_COMPILE);
  gl.glDrawBuffer(GL_FRONT);
  gl.glReadBuffer(GL_FRONT);
  gl.glEndList();
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_BACK);
  fill(green);
  gl.glCallList(list);
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_FRONT);
  fill(red);
  EXPECT_EQ(wholeOfReadBuffer(), red);
  EXPECT_EQ(whole(GL_BACK), green);
  gl.glNewList(list, GL_COMPILE_AND_EXECUTE);
  gl.glDrawBuffer(GL_BACK);
  gl.glEndList();
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_BACK);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(State, AFramebufferObjectHasBuffersOfItsOwn) {
  currentPbuffer();
  gl.glDrawBuffer(GL_FRONT);
  gl.glReadBuffer(GL_FRONT);
  const GLuint framebuffer = bindTextureFramebuffer();
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_COLOR_ATTACHMENT0);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_COLOR_ATTACHMENT0);
  gl.glDrawBuffer(GL_NONE);
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_NONE);
  gl.glDrawBuffer(GL_COLOR_ATTACHMENT0);
  fill(blue);
  EXPECT_EQ(wholeOfReadBuffer(), blue);
  gl.glDrawBuffer(GL_FRONT);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION});

  // The default framebuffer's choices, made by its name meanwhile.
  gl.glNamedFramebufferDrawBuffer(0, GL_BACK);
  gl.glNamedFramebufferReadBuffer(0, GL_BACK);
  EXPECT_EQ(integer(GL_FRAMEBUFFER_BINDING), static_cast<GLint>(framebuffer));
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_COLOR_ATTACHMENT0);
  gl.glBindFramebuffer(GL_FRAMEBUFFER, 0);
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_BACK);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_BACK);
  fill(green);
  EXPECT_EQ(wholeOfReadBuffer(), green);
  gl.glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  gl.glNamedFramebufferDrawBuffer(0, GL_FRONT);
  gl.glBindFramebuffer(GL_FRAMEBUFFER, 0);
  fill(red);
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_EQ(whole(GL_BACK), green);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(State, TheCurrentDrawablesAreTheProgramsOwn) {
  const GLXPbuffer one = makePbuffer();
  const GLXPbuffer two = makePbuffer();
  GLXContext context = makeContext();
  makeCurrent(one, two, context);
  gl.glDrawBuffer(GL_FRONT);
  gl.glReadBuffer(GL_FRONT);
  EXPECT_EQ(gl.glXGetCurrentDrawable(), one);
  EXPECT_EQ(gl.glXGetCurrentReadDrawable(), two);
  EXPECT_EQ(gl.glXGetCurrentContext(), context);
  unsigned int value = 0;
  gl.glXQueryDrawable(display, one, GLX_WIDTH, &value);
  EXPECT_EQ(value, static_cast<unsigned>(width));
  gl.glXQueryDrawable(display, one, GLX_HEIGHT, &value);
  EXPECT_EQ(value, static_cast<unsigned>(height));
  release();
  EXPECT_EQ(gl.glXGetCurrentDrawable(), GLXDrawable{None});
  EXPECT_EQ(gl.glXGetCurrentReadDrawable(), GLXDrawable{None});
}

TEST_F(State, AContextTakesItsChoicesToAWindowAndBack) {
  XVisualInfo* const visual = gl.glXGetVisualFromFBConfig(display, config);
  ASSERT_NE(visual, nullptr);
  XSetWindowAttributes attributes{};
  attributes.colormap =
      XCreateColormap(display, DefaultRootWindow(display), visual->visual, AllocNone);
  const Window window =
      XCreateWindow(display, DefaultRootWindow(display), 0, 0, width, height, 0, visual->depth,
                    InputOutput, visual->visual, CWColormap | CWBorderPixel, &attributes);
  XFree(visual);
  XMapWindow(display, window);
  XSync(display, False);
  GLXContext context = makeContext();
  const GLXPbuffer pbuffer = currentPbuffer(context);
  gl.glDrawBuffer(GL_FRONT);
  fill(red);
  makeCurrent(window, context);
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT);
  fill(green);
  gl.glFinish();
  XImage* image = XGetImage(display, window, 0, 0, width, height, AllPlanes, ZPixmap);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(XGetPixel(image, 3, 3) & 0xffffff, 0x00ff00U);
  XDestroyImage(image);
  gl.glDrawBuffer(GL_BACK);
  fill(blue);
  gl.glXSwapBuffers(display, window);
  XSync(display, False);
  image = XGetImage(display, window, 0, 0, width, height, AllPlanes, ZPixmap);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(XGetPixel(image, 3, 3) & 0xffffff, 0x0000ffU);
  XDestroyImage(image);
  makeCurrent(pbuffer, context);
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_BACK);
  fill(white);
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_EQ(whole(GL_BACK), white);
  makeCurrent(window, context);
  gl.glDrawBuffer(GL_FRONT);
  makeCurrent(pbuffer, context);
  EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_FRONT);
  fill(yellow);
  EXPECT_EQ(whole(GL_FRONT), yellow);
  EXPECT_EQ(whole(GL_BACK), white);
  release();
  XDestroyWindow(display, window);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(State, CoreProfilesChooseTheFrontBufferToo) {
  GLXContext context = makeContext(3, 2, GLX_CONTEXT_CORE_PROFILE_BIT_ARB);
  ASSERT_NE(context, nullptr);
  const GLXPbuffer pbuffer = currentPbuffer(context);
  fill(red);
  swap(pbuffer);
  fill(green);
  EXPECT_EQ(whole(GL_FRONT), red);
  gl.glDrawBuffer(GL_FRONT);
  fill(blue);
  EXPECT_EQ(whole(GL_FRONT), blue);
  EXPECT_EQ(whole(GL_BACK), green);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(State, ContextsOfOpenGlEsKeepTheirOwnRules) {
  GLXContext es = makeContext(2, 0, GLX_CONTEXT_ES2_PROFILE_BIT_EXT);
  ASSERT_NE(es, nullptr);
  const GLXPbuffer pbuffer = currentPbuffer(es);
  fill(red);
  swap(pbuffer);
  fill(green);
  EXPECT_EQ(wholeOfReadBuffer(), green);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
  makeCurrent(pbuffer, makeContext());
  EXPECT_EQ(whole(GL_FRONT), red);
}

} // namespace
} // namespace zol::softgpu::test
