// What GL_FRONT and GL_BACK of a double-buffered pbuffer hold around swaps, seen from every side.
#include "softgpu/fixture.h"

#include <barrier>
#include <cstring>
#include <set>
#include <thread>

namespace zol::softgpu::test {
namespace {

using Frames = PbufferTest;

TEST_F(Frames, TheFrontBufferShowsTheFrameAfterASwap) {
  const GLXPbuffer pbuffer = currentPbuffer();
  const Quadrants frame{red, green, blue, white};
  fill(frame, width, height);
  swap(pbuffer);
  expectQuadrants(GL_FRONT, frame, width, height);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(Frames, TheFrontBufferKeepsTheFrameWhileTheNextIsDrawn) {
  const GLXPbuffer pbuffer = currentPbuffer();
  fill(red);
  swap(pbuffer);
  fill(green);
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_EQ(whole(GL_BACK), green);
  gl.glFinish();
  EXPECT_EQ(whole(GL_FRONT), red);
  swap(pbuffer);
  EXPECT_EQ(whole(GL_FRONT), green);
}

TEST_F(Frames, ASwapLeavesTheBackBufferAndTheDepthBufferAsTheyAre) {
  const GLXPbuffer pbuffer = currentPbuffer();
  fill(red);
  gl.glClearDepth(0.25);
  gl.glClear(GL_DEPTH_BUFFER_BIT);
  swap(pbuffer);
  EXPECT_EQ(whole(GL_BACK), red);
  float depth = 0;
  gl.glReadPixels(5, 5, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &depth);
  EXPECT_NEAR(depth, 0.25, 1e-6);
  fill(blue, 0, 0, width / 2, height);
  swap(pbuffer);
  expectQuadrants(GL_FRONT, {blue, red, blue, red}, width, height);
}

TEST_F(Frames, FramesOfAFreshPbufferAreBlackUntilTheFirstSwap) {
  currentPbuffer();
  fill(red);
  EXPECT_EQ(whole(GL_FRONT), black);
}

// As a frame is read back for painting: by a context of its own that shares nothing, bound to the
// same pbuffer in the same thread, upside down through a texture into a buffer object.
class FlippedReadback {
public:
  void read(int w, int h) {
    if (!buffer_) {
      gl.glReadBuffer(GL_FRONT);
      gl.glGenBuffers(1, &buffer_);
      gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer_);
      gl.glGenTextures(1, &texture_);
      gl.glGenFramebuffers(1, &framebuffer_);
    }
    gl.glBufferData(GL_PIXEL_PACK_BUFFER, w * h * 4, nullptr, GL_STREAM_READ);
    gl.glBindTexture(GL_TEXTURE_RECTANGLE, texture_);
    gl.glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA8, w, h, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    gl.glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    gl.glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_RECTANGLE, texture_,
                              0);
    gl.glBindFramebuffer(GL_FRAMEBUFFER, 0);
    gl.glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer_);
    gl.glBlitFramebuffer(0, h, w, 0, 0, 0, w, h, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer_);
    gl.glPixelStorei(GL_PACK_ALIGNMENT, 1);
    gl.glReadPixels(0, 0, w, h, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
    gl.glBindFramebuffer(GL_FRAMEBUFFER, 0);
    const auto* mapped = static_cast<const uint8_t*>(gl.glMapBufferRange(
        GL_PIXEL_PACK_BUFFER, 0, static_cast<GLsizeiptr>(w) * h * 4, GL_MAP_READ_BIT));
    ASSERT_NE(mapped, nullptr);
    pixels.assign(mapped, mapped + static_cast<size_t>(w) * h * 4);
    gl.glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
  }
  // `colors` from the bottom left of the drawable.
  void expect(const Quadrants& colors, int w, int h) const {
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const uint8_t* p = &pixels[(static_cast<size_t>(h - 1 - y) * w + x) * 4];
        ASSERT_EQ((Color{p[2], p[1], p[0]}), colors[(y >= h / 2) * 2 + (x >= w / 2)])
            << "at " << x << ", " << y;
      }
  }
  std::vector<uint8_t> pixels;

private:
  GLuint buffer_ = 0;
  GLuint texture_ = 0;
  GLuint framebuffer_ = 0;
};

TEST_F(Frames, AContextOfItsOwnReadsEveryFrameUpsideDown) {
  GLXPbuffer pbuffer = makePbuffer();
  GLXContext program = makeContext();
  GLXContext reader = makeContext();
  FlippedReadback readback;
  makeCurrent(pbuffer, program);
  const Color colors[] = {red, green, blue, white, yellow};
  for (int frame = 0; frame < 10; ++frame) {
    const Quadrants picture{colors[frame % 5], colors[(frame + 1) % 5], colors[(frame + 2) % 5],
                            colors[(frame + 3) % 5]};
    fill(picture, width, height);
    swap(pbuffer);
    makeCurrent(pbuffer, reader);
    readback.read(width, height);
    makeCurrent(pbuffer, program);
    ASSERT_NO_FATAL_FAILURE(readback.expect(picture, width, height)) << "frame " << frame;
  }
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

// The four bytes of a texel, in the order of its format.
using Texel = std::array<uint8_t, 4>;

// A rectangle texture of 2x1 texels of GL_RGBA8, made with `pixels` or, with null, empty.
GLuint makeRectangle(const Texel* pixels) {
  GLuint texture = 0;
  gl.glGenTextures(1, &texture);
  gl.glBindTexture(GL_TEXTURE_RECTANGLE, texture);
  gl.glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA8, 2, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
  return texture;
}

GLint internalFormat() {
  GLint result = 0;
  gl.glGetTexLevelParameteriv(GL_TEXTURE_RECTANGLE, 0, GL_TEXTURE_INTERNAL_FORMAT, &result);
  return result;
}

TEST_F(Frames, TexturesOfThoseWhoDoNotReadTheFrontBufferAreAsTheyAskedFor) {
  GLXContext context = makeContext();
  makeCurrent(makePbuffer(), context);
  makeRectangle(nullptr);
  EXPECT_EQ(internalFormat(), GL_RGBA8);
  gl.glReadBuffer(GL_FRONT);
  const std::array<Texel, 2> data{Texel{1, 2, 3, 4}, Texel{250, 150, 100, 50}};
  makeRectangle(data.data());
  EXPECT_EQ(internalFormat(), GL_RGBA8);
  gl.glReadBuffer(GL_BACK);
  makeRectangle(nullptr);
  EXPECT_EQ(internalFormat(), GL_RGBA8);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(Frames, ACopyOfTheFrontBufferHoldsItsValuesWhateverItsOrderOfBytes) {
  config = chooseConfig(true, GLX_ALPHA_SIZE, 8);
  ASSERT_NE(config, nullptr);
  const GLXPbuffer pbuffer = currentPbuffer();
  const Texel first{10, 20, 30, 40};
  const Texel second{200, 150, 100, 50};
  auto clear = [](int x, int w, const Texel& value) {
    gl.glEnable(GL_SCISSOR_TEST);
    gl.glScissor(x, 0, w, height);
    gl.glClearColor(value[0] / 255.f, value[1] / 255.f, value[2] / 255.f, value[3] / 255.f);
    gl.glClear(GL_COLOR_BUFFER_BIT);
    gl.glDisable(GL_SCISSOR_TEST);
  };
  clear(0, 1, first);
  clear(1, width - 1, second);
  swap(pbuffer);
  gl.glReadBuffer(GL_FRONT);
  const GLuint texture = makeRectangle(nullptr);
  GLuint framebuffer = 0;
  gl.glGenFramebuffers(1, &framebuffer);
  gl.glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
  gl.glFramebufferTexture2D(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_RECTANGLE,
                            texture, 0);
  gl.glBlitFramebuffer(0, 0, 2, 1, 0, 0, 2, 1, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  std::array<Texel, 2> copied{};
  gl.glGetTexImage(GL_TEXTURE_RECTANGLE, 0, GL_RGBA, GL_UNSIGNED_BYTE, copied.data());
  EXPECT_EQ(copied, (std::array<Texel, 2>{first, second}));
  // The texture is as good as any to put new texels into.
  gl.glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA8, 2, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                  std::array<Texel, 2>{second, first}.data());
  gl.glGetTexImage(GL_TEXTURE_RECTANGLE, 0, GL_RGBA, GL_UNSIGNED_BYTE, copied.data());
  EXPECT_EQ(copied, (std::array<Texel, 2>{second, first}));
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

// A bound pixel pack buffer of one texel that holds `texel`, in a context that reads the front
// buffer.
void makePixelBuffer(const Texel& texel) {
  gl.glReadBuffer(GL_FRONT);
  GLuint buffer = 0;
  gl.glGenBuffers(1, &buffer);
  gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, sizeof(texel), texel.data(), GL_STREAM_READ);
}

Texel mappedTexel() {
  Texel texel{};
  const void* const mapped =
      gl.glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, sizeof(texel), GL_MAP_READ_BIT);
  if (mapped) std::memcpy(texel.data(), mapped, sizeof(texel));
  gl.glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
  return texel;
}

GLint pixelBuffer(GLenum name) {
  GLint value = -1;
  gl.glGetBufferParameteriv(GL_PIXEL_PACK_BUFFER, name, &value);
  return value;
}

TEST_F(Frames, ThePixelBufferKeepsItsStoreForTheNextFrame) {
  currentPbuffer();
  const Texel texel{1, 2, 3, 4};
  makePixelBuffer(texel);
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, sizeof(texel), nullptr, GL_STREAM_READ);
  EXPECT_EQ(mappedTexel(), texel);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(Frames, AnyOtherStoreOfAPixelBufferIsMadeAsItIsAskedFor) {
  currentPbuffer();
  makePixelBuffer({1, 2, 3, 4});
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, 8, nullptr, GL_STREAM_READ);
  EXPECT_EQ(pixelBuffer(GL_BUFFER_SIZE), 8);
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, 8, nullptr, GL_STATIC_READ);
  EXPECT_EQ(pixelBuffer(GL_BUFFER_USAGE), GL_STATIC_READ);
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, 0, nullptr, GL_STREAM_READ);
  EXPECT_EQ(pixelBuffer(GL_BUFFER_SIZE), 0);
  const Texel texel{5, 6, 7, 8};
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, sizeof(texel), nullptr, GL_STREAM_READ);
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, sizeof(texel), texel.data(), GL_STREAM_READ);
  EXPECT_EQ(mappedTexel(), texel);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(Frames, AFreshStoreEndsTheMappingOfAPixelBuffer) {
  currentPbuffer();
  makePixelBuffer({1, 2, 3, 4});
  ASSERT_NE(gl.glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, 4, GL_MAP_READ_BIT), nullptr);
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, 4, nullptr, GL_STREAM_READ);
  EXPECT_EQ(pixelBuffer(GL_BUFFER_MAPPED), GL_FALSE);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(Frames, AStoreThatCannotBeMadeIsAnError) {
  currentPbuffer();
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, 4, nullptr, GL_STREAM_READ);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION}) << "no buffer is bound";
  makePixelBuffer({1, 2, 3, 4});
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, -1, nullptr, GL_STREAM_READ);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_VALUE});
  gl.glBegin(GL_TRIANGLES);
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, 4, nullptr, GL_STREAM_READ);
  gl.glEnd();
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION}) << "between glBegin and glEnd";
}

TEST_F(Frames, AFreshStoreLetsGoOfTheProgramsOwnMemory) {
  currentPbuffer();
  alignas(4096) static uint32_t memory[1024];
  memory[0] = 0x12345678;
  GLuint buffer = 0;
  gl.glGenBuffers(1, &buffer);
  gl.glBindBuffer(GL_EXTERNAL_VIRTUAL_MEMORY_BUFFER_AMD, buffer);
  gl.glBufferData(GL_EXTERNAL_VIRTUAL_MEMORY_BUFFER_AMD, sizeof memory, memory, GL_STREAM_READ);
  const std::string extensions = reinterpret_cast<const char*>(gl.glGetString(GL_EXTENSIONS));
  const bool lends = extensions.find("GL_AMD_pinned_memory") != std::string::npos;
  EXPECT_EQ(gl.glGetError() == GL_NO_ERROR, lends);
  gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
  gl.glReadBuffer(GL_FRONT);
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, sizeof memory, nullptr, GL_STREAM_READ);
  gl.glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  gl.glFinish();
  EXPECT_EQ(memory[0], 0x12345678U);
}

TEST_F(Frames, AStoreThatMayNotBeReplacedStays) {
  GLXContext const context = makeContext(3, 3, GLX_CONTEXT_CORE_PROFILE_BIT_ARB);
  currentPbuffer(context);
  gl.glReadBuffer(GL_FRONT);
  GLuint buffer = 0;
  gl.glGenBuffers(1, &buffer);
  gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
  gl.glBufferStorage(GL_PIXEL_PACK_BUFFER, 4, nullptr, GL_MAP_READ_BIT);
  ASSERT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, 4, nullptr, GL_STREAM_READ);
  EXPECT_EQ(gl.glGetError(), GLenum{GL_INVALID_OPERATION});
}

TEST_F(Frames, TheReadersChoiceOfGlFrontOutlivesAResize) {
  GLXPbuffer pbuffer = makePbuffer();
  GLXContext program = makeContext();
  GLXContext reader = makeContext();
  FlippedReadback readback;
  const int sizes[][2] = {{64, 48}, {33, 17}, {128, 100}, {64, 48}};
  for (const auto& [w, h] : sizes) {
    release();
    gl.glXDestroyPbuffer(display, pbuffer);
    pbuffer = makePbuffer(w, h);
    makeCurrent(pbuffer, program);
    const Quadrants picture{red, blue, green, white};
    fill(picture, w, h);
    swap(pbuffer);
    fill(yellow); // the next frame has begun
    makeCurrent(pbuffer, reader);
    readback.read(w, h);
    makeCurrent(pbuffer, program);
    ASSERT_NO_FATAL_FAILURE(readback.expect(picture, w, h)) << w << " by " << h;
  }
}

TEST_F(Frames, ASharingContextAndAStrangerReadTheSameFrame) {
  GLXContext program = makeContext();
  const GLXPbuffer pbuffer = currentPbuffer(program);
  fill(red);
  swap(pbuffer);
  fill(green);
  for (GLXContext other : {makeContext(program), makeContext()}) {
    makeCurrent(pbuffer, other);
    EXPECT_EQ(whole(GL_FRONT), red);
    EXPECT_EQ(whole(GL_BACK), green);
  }
  makeCurrent(pbuffer, program);
  EXPECT_EQ(whole(GL_BACK), green);
}

TEST_F(Frames, AnotherThreadThatStaysBoundSeesEachNewFrame) {
  GLXContext program = makeContext();
  GLXContext other = makeContext();
  const GLXPbuffer pbuffer = currentPbuffer(program);
  std::barrier turn(2);
  const Color colors[] = {red, green, blue, white};
  std::thread reader([&] {
    EXPECT_TRUE(gl.glXMakeCurrent(display, pbuffer, other));
    gl.glReadBuffer(GL_FRONT);
    for (const Color& color : colors) {
      turn.arrive_and_wait();
      EXPECT_EQ(wholeOfReadBuffer(), color);
      turn.arrive_and_wait();
    }
    release();
  });
  for (const Color& color : colors) {
    fill(color);
    swap(pbuffer);
    fill(yellow);
    gl.glFinish();
    turn.arrive_and_wait();
    turn.arrive_and_wait();
  }
  reader.join();
}

TEST_F(Frames, TwoPbuffersKeepTheirOwnFrames) {
  const GLXPbuffer one = makePbuffer();
  const GLXPbuffer two = makePbuffer();
  GLXContext context = makeContext();
  makeCurrent(one, context);
  fill(red);
  swap(one);
  makeCurrent(two, context);
  fill(green);
  swap(two);
  fill(blue);
  makeCurrent(one, context);
  EXPECT_EQ(whole(GL_FRONT), red);
  makeCurrent(two, context);
  EXPECT_EQ(whole(GL_FRONT), green);
  EXPECT_EQ(whole(GL_BACK), blue);
}

TEST_F(Frames, OnePbufferIsDrawnFromTheFrontOfAnother) {
  const GLXPbuffer source = makePbuffer();
  const GLXPbuffer target = makePbuffer();
  GLXContext context = makeContext();
  makeCurrent(source, context);
  fill(red);
  swap(source);
  fill(green);
  makeCurrent(target, source, context);
  fill(blue);
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_EQ(whole(GL_BACK), green);
  gl.glReadBuffer(GL_FRONT);
  gl.glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  makeCurrent(target, context);
  EXPECT_EQ(whole(GL_BACK), red);
  EXPECT_EQ(whole(GL_FRONT), black);
}

TEST_F(Frames, FourThreadsSwapTheirOwnPbuffers) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    GLXPbuffer pbuffer = makePbuffer();
    GLXContext context = makeContext();
    threads.emplace_back([this, pbuffer, context, i] {
      ASSERT_TRUE(gl.glXMakeCurrent(display, pbuffer, context));
      for (int frame = 0; frame < 50; ++frame) {
        const Color color{static_cast<uint8_t>(i * 60), static_cast<uint8_t>(frame), 7};
        fill(color);
        swap(pbuffer);
        fill(white);
        ASSERT_EQ(whole(GL_FRONT), color) << "thread " << i << ", frame " << frame;
      }
      release();
    });
  }
  for (auto& thread : threads)
    thread.join();
}

TEST_F(Frames, AThreadWithoutAContextSwaps) {
  GLXContext context = makeContext();
  const GLXPbuffer pbuffer = currentPbuffer(context);
  fill(red);
  gl.glFinish();
  std::thread([&] { swap(pbuffer); }).join();
  fill(green);
  EXPECT_EQ(whole(GL_FRONT), red);
  release();
  swap(pbuffer);
  EXPECT_EQ(gl.glXGetCurrentContext(), nullptr);
  makeCurrent(pbuffer, context);
  EXPECT_EQ(whole(GL_FRONT), green);
}

TEST_F(Frames, ASwapWhileAnotherDrawableIsCurrentLeavesItCurrent) {
  const GLXPbuffer swapped = makePbuffer();
  const GLXPbuffer other = makePbuffer();
  const GLXPbuffer third = makePbuffer();
  GLXContext context = makeContext();
  makeCurrent(swapped, context);
  fill(red);
  makeCurrent(other, third, context);
  fill(green);
  swap(swapped);
  EXPECT_EQ(gl.glXGetCurrentDrawable(), other);
  EXPECT_EQ(gl.glXGetCurrentReadDrawable(), third);
  EXPECT_EQ(gl.glXGetCurrentContext(), context);
  fill(blue, 0, 0, width, height / 2);
  makeCurrent(other, context);
  expectQuadrants(GL_BACK, {blue, blue, green, green}, width, height);
  makeCurrent(swapped, context);
  EXPECT_EQ(whole(GL_FRONT), red);
}

TEST_F(Frames, ASwapMindsNoStateOfTheContext) {
  const GLXPbuffer pbuffer = currentPbuffer();
  fill(red);
  const GLuint framebuffer = bindTextureFramebuffer();
  fill(blue);
  gl.glEnable(GL_SCISSOR_TEST);
  gl.glScissor(1, 2, 3, 4);
  swap(pbuffer);
  EXPECT_EQ(integer(GL_FRAMEBUFFER_BINDING), static_cast<GLint>(framebuffer));
  EXPECT_EQ(wholeOfReadBuffer(), blue);
  gl.glBindFramebuffer(GL_FRAMEBUFFER, 0);
  EXPECT_EQ(whole(GL_FRONT), red);
  EXPECT_TRUE([] {
    GLboolean scissor = GL_FALSE;
    gl.glGetBooleanv(GL_SCISSOR_TEST, &scissor);
    return scissor;
  }());
  EXPECT_EQ(gl.glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(Frames, AnAreaCanBeShownAlone) {
  const GLXPbuffer pbuffer = currentPbuffer();
  fill(red);
  swap(pbuffer);
  fill(green);
  gl.glXCopySubBufferMESA(display, pbuffer, 0, 0, width / 2, height / 2);
  expectQuadrants(GL_FRONT, {green, red, red, red}, width, height);
}

TEST_F(Frames, PbuffersOfTheOlderExtensionAreMendedToo) {
  const GLXPbuffer pbuffer = gl.glXCreateGLXPbufferSGIX(display, config, width, height, nullptr);
  makeCurrent(pbuffer, makeContext());
  fill(red);
  swap(pbuffer);
  fill(green);
  EXPECT_EQ(whole(GL_FRONT), red);
  release();
  gl.glXDestroyGLXPbufferSGIX(display, pbuffer);
}

TEST_F(Frames, DoubleBufferedConfigsOfEveryFormatShowTheirFrames) {
  int count = 0;
  GLXFBConfig* const configs = gl.glXGetFBConfigs(display, DefaultScreen(display), &count);
  std::set<std::vector<int>> formats;
  auto value = [&](GLXFBConfig of, int name) {
    int result = 0;
    gl.glXGetFBConfigAttrib(display, of, name, &result);
    return result;
  };
  for (int i = 0; i < count; ++i) {
    if (!value(configs[i], GLX_DOUBLEBUFFER) || value(configs[i], GLX_RED_SIZE) == 0 ||
        !(value(configs[i], GLX_RENDER_TYPE) & GLX_RGBA_BIT) ||
        !(value(configs[i], GLX_DRAWABLE_TYPE) & GLX_PBUFFER_BIT))
      continue;
    std::vector<int> format;
    for (int name :
         {GLX_RED_SIZE, GLX_GREEN_SIZE, GLX_BLUE_SIZE, GLX_ALPHA_SIZE, GLX_DEPTH_SIZE,
          GLX_STENCIL_SIZE, GLX_ACCUM_RED_SIZE, GLX_SAMPLES, GLX_FRAMEBUFFER_SRGB_CAPABLE_ARB})
      format.push_back(value(configs[i], name));
    if (!formats.insert(format).second) continue;
    SCOPED_TRACE("FBConfig " + std::to_string(value(configs[i], GLX_FBCONFIG_ID)));
    const GLXPbuffer pbuffer = makePbuffer(configs[i], width, height);
    config = configs[i];
    GLXContext context = makeContext();
    ASSERT_NE(context, nullptr);
    makeCurrent(pbuffer, context);
    fill(yellow);
    swap(pbuffer);
    fill(blue);
    EXPECT_EQ(whole(GL_FRONT), yellow);
    EXPECT_EQ(whole(GL_BACK), blue);
    release();
    destroy(context);
    gl.glXDestroyPbuffer(display, pbuffer);
  }
  XFree(configs);
  RecordProperty("formats", static_cast<int>(formats.size()));
  EXPECT_FALSE(formats.empty());
}

} // namespace
} // namespace zol::softgpu::test
