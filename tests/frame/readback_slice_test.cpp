#include "frame/fake_gl.h"
#include "frame/readback_slice.h"
#include "visual/recording.h"

#include <gtest/gtest.h>

using recording::messages;
using zol::gl::ReadbackSlice;

namespace {

using Lines = std::vector<std::string>;

Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const char fragmentSource[] =
    "#version 330 core\n"
    "precision highp float;\n"
    "precision highp int;\n"
    "uniform sampler2DRect u_tex_input;\n"
    "uniform float u_texHeight_minus_one;\n"
    "out vec4 color;\n"
    "void main(void) {\n"
    "    color = texture( u_tex_input, vec2(gl_FragCoord.x - 0.5, u_texHeight_minus_one - "
    "gl_FragCoord.y - 0.5) );\n"
    "}\n";

const char vertexSource[] = "#version 330 core\n"
                            "precision highp float;\n"
                            "precision highp int;\n"
                            "void main(void) {\n"
                            "   float x = -1.0 + float((gl_VertexID & 1) << 2);\n"
                            "   float y = -1.0 + float((gl_VertexID & 2) << 1);\n"
                            "   gl_Position = vec4(x, y, 0.0, 1.0);\n"
                            "}\n";

const Lines save = {"glGetIntegerv 0x84F6", "glGetIntegerv 0xBA2", "glGetIntegerv 0x84E0",
                    "glGetIntegerv 0x8CA6", "glGetIntegerv 0x8B8D"};
const Lines makeTextures = {"glGenTextures 1",
                            "glBindTexture 0x84F5 1",
                            "glTexParameteri 0x84F5 0x2801 0x2600",
                            "glTexParameteri 0x84F5 0x2800 0x2600",
                            "glGenTextures 1",
                            "glBindTexture 0x84F5 2",
                            "glTexParameteri 0x84F5 0x2801 0x2600",
                            "glTexParameteri 0x84F5 0x2800 0x2600"};
const Lines allocate = {
    "glBindTexture 0x84F5 1", "glTexImage2D 0x84F5 0 0x8058 64 48 0 0x1908 0x1401 NULL",
    "glBindTexture 0x84F5 2", "glTexImage2D 0x84F5 0 0x8058 64 48 0 0x1908 0x1401 NULL"};
const Lines makeFramebuffer = {"glGenFramebuffers 1", "glBindFramebuffer 0x8D40 1",
                               "glFramebufferTexture 0x8D40 0x8CE0 1 0",
                               "glCheckFramebufferStatus 0x8D40"};
const Lines makeProgram = {"glCreateProgram",
                           "glCreateShader 0x8B30",
                           std::string("glShaderSource 1 1 NULL\n") + fragmentSource,
                           "glCompileShader 1",
                           "glCreateShader 0x8B31",
                           std::string("glShaderSource 2 1 NULL\n") + vertexSource,
                           "glCompileShader 2",
                           "glAttachShader 41 2",
                           "glAttachShader 41 1",
                           "glLinkProgram 41",
                           "glBindFramebuffer 0x8D40 166"};
const Lines draw = {"glViewport 0 0 64 48",
                    "glActiveTexture 0x84C0",
                    "glBindTexture 0x84F5 2",
                    "glCopyTexSubImage2D 0x84F5 0 0 0 3 -7 64 48",
                    "glBindFramebuffer 0x8D40 1",
                    "glUseProgram 41",
                    "glUniform1f 6 47",
                    "glBindTexture 0x84F5 2",
                    "glUniform1i 7 0",
                    "glDrawArrays 0x4 0 3",
                    "glReadPixels 0 0 64 48 0x80E1 0x1401 offset 0"};
const Lines restore = {"glBindFramebuffer 0x8D40 166", "glUseProgram 141",
                       "glBindTexture 0x84F5 246", "glViewport 91 92 93 94",
                       "glActiveTexture 0x84C3"};

class AReadbackSlice : public testing::Test {
protected:
  fake::Driver* driver = &fake::resetDriver();
  std::unique_ptr<ReadbackSlice> slice = std::make_unique<ReadbackSlice>();
};

} // namespace

TEST_F(AReadbackSlice, HasTheShadersToTheLetter) {
  EXPECT_STREQ(ReadbackSlice::fragmentShaderSource, fragmentSource);
  EXPECT_STREQ(ReadbackSlice::vertexShaderSource, vertexSource);
}

TEST_F(AReadbackSlice, TurnsItsRegionUprightWithAShaderPass) {
  slice->drawRect = {3, 7, 60, 40};
  EXPECT_TRUE(slice->performGPUReadback(64, 48));
  EXPECT_EQ(recording::calls(),
            save + makeTextures + allocate + makeFramebuffer + makeProgram + draw + restore);
  EXPECT_EQ(messages(), (Lines{"DEBUG Initializing GPU readback textures",
                               "DEBUG Resizing GPU readback textures to new size 64 x 48",
                               "DEBUG Initializing GPU readback programs",
                               "DEBUG Draw rect value 3 7 - 60x40"}));

  recording::clear();
  EXPECT_TRUE(slice->performGPUReadback(64, 48));
  EXPECT_EQ(recording::calls(), save + Lines{"glBindTexture 0x84F5 2"} + draw + restore);
  EXPECT_EQ(messages(), Lines{"DEBUG Draw rect value 3 7 - 60x40"});
}

TEST_F(AReadbackSlice, ReallocatesBothTexturesForANewSize) {
  slice->drawRect = {3, 7, 60, 40};
  slice->performGPUReadback(64, 47);
  recording::clear();
  EXPECT_TRUE(slice->performGPUReadback(64, 48));
  EXPECT_EQ(recording::calls(), save + Lines{"glBindTexture 0x84F5 2"} + allocate + draw + restore);
}

TEST_F(AReadbackSlice, FailsOnAnIncompleteFramebufferWithoutRestoring) {
  driver->framebufferStatus = GL_FRAMEBUFFER_UNSUPPORTED;
  EXPECT_FALSE(slice->performGPUReadback(64, 48));
  EXPECT_EQ(recording::calls(), save + makeTextures + allocate + makeFramebuffer);
  EXPECT_EQ(messages().back(), "ERROR Invalid framebuffer: 0x8CDD");
}

TEST_F(AReadbackSlice, MakesItsSharedFramebufferOnce) {
  EXPECT_EQ(slice->initSharedFBO(), 1u);
  EXPECT_EQ(slice->initSharedFBO(), 1u);
  EXPECT_EQ(recording::calls(),
            (Lines{"glGenFramebuffers 1", "glBindFramebuffer 0x8D40 1",
                   "glFramebufferTexture 0x8D40 0x8CE0 0 0", "glBindFramebuffer 0x8D40 1"}));
}

TEST_F(AReadbackSlice, DrawsIntoTheUprightPictureInItsSharedFramebuffer) {
  slice->performGPUReadback(64, 48);
  recording::clear();
  EXPECT_EQ(slice->initSharedFBO(), 2u);
  EXPECT_EQ(recording::calls(), (Lines{"glGenFramebuffers 1", "glBindFramebuffer 0x8D40 2",
                                       "glFramebufferTexture 0x8D40 0x8CE0 1 0"}));
}

TEST_F(AReadbackSlice, DeletesWhatItMade) {
  slice->performGPUReadback(64, 48);
  slice->initSharedFBO();
  recording::clear();
  slice.reset();
  EXPECT_EQ(recording::calls(),
            (Lines{"glDeleteTextures 1 1", "glDeleteFramebuffers 1 2", "glDeleteFramebuffers 1 1",
                   "glDeleteProgram 41", "glDeleteTextures 1 2"}));

  slice = std::make_unique<ReadbackSlice>();
  recording::clear();
  slice.reset();
  EXPECT_EQ(recording::calls(), Lines{});
}
