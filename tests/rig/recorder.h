#pragma once

#include "vendor/glx_api.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zol::rig {

// One call into the recording driver, for example
//   glXMakeCurrent(local, pbuffer1, ctx1)
//   glXCreatePbuffer(local, fb1, {GLX_PBUFFER_WIDTH=64, ...}) = pbuffer2
// Handles are written by the names they were given, null handles as "0" and null pointers as
// "NULL"; output parameters as "&"; a call that the test made fail ends in " -> failed".
struct RecordedCall {
  pid_t thread;
  std::string name;
  std::string text;
};

// A framebuffer configuration that the recording driver offers. It is written "fb1", "fb2", ... in
// the order of addition.
struct FakeConfig {
  VisualID visual = 0; // a visual of the local server; 0: the configuration has none
  std::map<int, int> attributes;
};

// What the recording driver answers for a visual of a server: GLX_USE_GL and the rest by name.
using VisualAttributes = std::map<int, int>;

// The colour of a pixel of a frame, 0xAARRGGBB; y counts from the bottom, as GL does.
using FramePattern = std::function<std::uint32_t(int x, int y)>;

// The control side of the recording driver, libGLX_recorder.so.0: a GLVND vendor library that has
// every function the library asks its driver for, writes down each call with its arguments, and
// simulates just enough state for the library to get through. One per process.
// Thread safety: all operations may be called from any thread.
class Recorder {
public:
  // What was recorded, oldest first. take() also forgets it.
  virtual std::vector<RecordedCall> calls() = 0;
  virtual std::vector<RecordedCall> take() = 0;
  // Names asked of the driver's getProcAddress, in order.
  virtual std::vector<std::string> lookups() = 0;
  // Uses of the driver that no real one would forgive: calls without a context, reads beyond a
  // buffer, destroyed handles, two threads inside GLX calls on the local display at once.
  virtual std::vector<std::string> complaints() = 0;

  // Names for what the driver does not make itself. A display is known by its display string; the
  // one named "local" is checked for overlapping calls.
  virtual void nameDisplay(const std::string& displayString, const std::string& name) = 0;
  virtual void nameXid(XID xid, const std::string& name) = 0;
  // The name a handle is recorded with.
  virtual std::string nameOf(GLXContext context) = 0;
  virtual std::string nameOf(XID xid) = 0;

  virtual GLXFBConfig addConfig(const FakeConfig& config) = 0;
  virtual void setVisual(const std::string& displayName, VisualID visual,
                         const VisualAttributes& attributes) = 0;
  // Replaces the attribute matching of glXChooseFBConfig.
  virtual void setChosenConfigs(const std::vector<GLXFBConfig>& configs) = 0;
  virtual void setExtensions(const std::string& displayName, const std::string& extensions) = 0;
  // Answers of glXQueryServerString and glXGetClientString by name, of glGetStringi by index; null
  // where none is set.
  virtual void setString(const std::string& function, int name, const std::string& text) = 0;
  // The result of glXQueryVersion, glXQueryExtension, glXQueryGLXPbufferSGIX, glRenderMode or
  // glXAllocateMemoryNV, and what these and glXQueryDrawable write to their outputs, which stay
  // untouched otherwise; the count that glXChooseFBConfig tells, whatever it found.
  virtual void setAnswer(const std::string& function, long result,
                         const std::vector<int>& outputs = {}) = 0;

  // Calls `number` (1: the next one) to `number` + `count` - 1 of the function do nothing and
  // return 0, null or False.
  virtual void fail(const std::string& function, int number = 1, int count = 1) = 0;
  // The driver does not have the function; "__glx_Main" refuses instead.
  virtual void setAbsent(const std::string& function) = 0;
  // Run on the calling thread before each call of the function, after it was recorded and without
  // any lock of the recorder. Null removes it.
  virtual void setHook(const std::string& function, std::function<void()> hook) = 0;

  // Answers of glGetIntegerv; GL_RENDER_MODE is GL_RENDER until glRenderMode or this changes it.
  virtual void setInteger(GLenum name, GLint value) = 0;
  virtual void setQueryResult(GLint samples) = 0;
  virtual void setFramebufferStatus(GLenum status) = 0;
  // What glReadPixels delivers from now on.
  virtual void setFrame(FramePattern pattern) = 0;

  // What glDebugMessageCallback was last given.
  virtual GLDEBUGPROC debugCallback() = 0;

  // The size a living pbuffer was made with; false when there is no such pbuffer.
  virtual bool pbufferSize(XID pbuffer, int* width, int* height) = 0;
  virtual int livingPbuffers() = 0;
  virtual int livingContexts() = 0;
  virtual int livingBuffers() = 0;

  // What GLVND handed to the driver's __glx_Main, null, 0 or empty before that.
  virtual const void* exportsReceived() = 0;
  virtual const void* vendorInfoReceived() = 0;
  virtual std::uint32_t versionReceived() = 0;
  virtual std::vector<void*> importsReceived() = 0; // its slots as they were then
  // The address the driver gives for a function, null when absent.
  virtual void* address(const std::string& function) = 0;

protected:
  ~Recorder() = default;
};

// Loads the recording driver, so that it is the same library that the vendor library finds later,
// and returns its control side. Ends the process when it is not to be had.
Recorder& recorder();

// Texts of the calls, without those of the named functions.
std::vector<std::string> texts(const std::vector<RecordedCall>& calls,
                               const std::vector<std::string>& without = {});
// The same for the calls of one thread.
std::vector<std::string> textsOfThread(const std::vector<RecordedCall>& calls, pid_t thread,
                                       const std::vector<std::string>& without = {});

} // namespace zol::rig

// The one symbol of the recording driver that the tests look up.
extern "C" zol::rig::Recorder* zolRigRecorder();
