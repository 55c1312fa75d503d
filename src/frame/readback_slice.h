#pragma once

#include "vendor/glx_api.h"

namespace zol::gl {

// Turns a region of the current read framebuffer upright with a shader pass and reads it into the
// bound pixel-pack buffer. Complete, but nothing uses it: the readback contexts turn the frame with
// a blit.
//
// Thread safety: none. Every call, the destructor's too, needs the context that it was first used
// in.
class ReadbackSlice {
public:
  ReadbackSlice() = default;
  virtual ~ReadbackSlice();
  ReadbackSlice(const ReadbackSlice&) = delete;
  ReadbackSlice& operator=(const ReadbackSlice&) = delete;

  // Puts back the bindings, program and viewport that it changes, in texture unit 0, except after a
  // failure: false when the framebuffer object is not complete.
  bool performGPUReadback(int width, int height);

  // Binds a framebuffer object that draws into the upright picture, creating it if need be.
  GLuint initSharedFBO();

  struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
  };
  Rect drawRect; // region of the source framebuffer

  static const char* const fragmentShaderSource;
  static const char* const vertexShaderSource;

private:
  void makeProgram();
  void drawUpright(int width, int height);

  int textureWidth = 0;
  int textureHeight = 0;
  GLuint flippedTexture = 0;
  GLuint sharedFramebuffer = 0;
  GLuint flipFramebuffer = 0; // draws into flippedTexture
  GLuint flipProgram = 0;
  GLuint sourceTexture = 0; // copy of the source region
};

} // namespace zol::gl
