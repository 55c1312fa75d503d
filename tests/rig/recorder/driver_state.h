#pragma once

#include "rig/recorder.h"

#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <unordered_map>

// What a GLXContext and a GLXFBConfig of the recording driver point to.
struct __GLXcontextRec {
  std::string name;
  bool alive = true;
  pid_t currentThread = 0; // 0: current to no thread
  GLenum renderMode = GL_RENDER;
  std::map<GLenum, GLuint> boundBuffers;
};

struct __GLXFBConfigRec {
  std::string name;
  zol::rig::FakeConfig config;
};

namespace zol::rig {

struct Pbuffer {
  int width = 0;
  int height = 0;
};

struct BufferObject {
  std::vector<std::uint8_t> store;
  bool mapped = false;
};

struct Answer {
  long result = 0;
  std::vector<int> outputs;

  template <class Value>
  void write(std::size_t index, Value* output) const {
    if (index < outputs.size()) *output = static_cast<Value>(outputs[index]);
  }
};

// What the calling thread has current in the driver.
struct CurrentBinding {
  Display* display = nullptr;
  GLXDrawable draw = 0;
  GLXDrawable read = 0;
  GLXContext context = nullptr;
};

// The state behind the recording driver's functions. Handles live as long as the process, so that a
// use after destruction is told, not crashed on.
class DriverState final : public Recorder {
public:
  std::vector<RecordedCall> calls() override;
  std::vector<RecordedCall> take() override;
  std::vector<std::string> lookups() override;
  std::vector<std::string> complaints() override;
  void nameDisplay(const std::string& displayString, const std::string& name) override;
  void nameXid(XID xid, const std::string& name) override;
  std::string nameOf(GLXContext context) override;
  std::string nameOf(XID xid) override;
  GLXFBConfig addConfig(const FakeConfig& config) override;
  void setVisual(const std::string& displayName, VisualID visual,
                 const VisualAttributes& attributes) override;
  void setChosenConfigs(const std::vector<GLXFBConfig>& configs) override;
  void setExtensions(const std::string& displayName, const std::string& extensions) override;
  void setString(const std::string& function, int name, const std::string& text) override;
  void setAnswer(const std::string& function, long result,
                 const std::vector<int>& outputs) override;
  void fail(const std::string& function, int number, int count) override;
  void setAbsent(const std::string& function) override;
  void setHook(const std::string& function, std::function<void()> hook) override;
  void setInteger(GLenum name, GLint value) override;
  void setQueryResult(GLint samples) override;
  void setFramebufferStatus(GLenum status) override;
  void setFrame(FramePattern pattern) override;
  GLDEBUGPROC debugCallback() override;
  bool pbufferSize(XID pbuffer, int* width, int* height) override;
  int livingPbuffers() override;
  int livingContexts() override;
  int livingBuffers() override;
  const void* exportsReceived() override;
  const void* vendorInfoReceived() override;
  std::uint32_t versionReceived() override;
  std::vector<void*> importsReceived() override;
  void* address(const std::string& function) override;

  // Called by the stubs around each call.
  std::shared_ptr<RecordedCall> enter(const char* name, std::string text);
  void setText(const std::shared_ptr<RecordedCall>& call, std::string text);
  bool consumeFailure(const char* name);
  bool isAbsent(const std::string& name);
  void runHook(const char* name);
  void enterDisplay(Display* display, const char* name);
  void leaveDisplay(Display* display, const char* name);

  // Called by the simulation; each takes the lock.
  void complain(const std::string& text);
  std::string displayName(Display* display);
  GLXContext createContext();
  void destroyContext(GLXContext context);
  XID createPbuffer(int width, int height);
  XID createPixmap();
  void destroyDrawable(XID drawable, const char* kind);
  bool makeCurrent(Display* display, GLXDrawable draw, GLXDrawable read, GLXContext context);
  static CurrentBinding& current();
  void requireContext(const char* function);
  int visualAttribute(Display* display, VisualID visual, int attribute, int* value);
  std::vector<GLXFBConfig> choose(const int* attributes);
  std::vector<GLXFBConfig> allConfigs();
  const char* extensionsOf(Display* display);
  const char* string(const std::string& function, int name);
  // The answer set for the function; `result` and no outputs where none is.
  Answer answer(const std::string& function, long result);
  GLuint newName(const char* kind);
  void bindBuffer(GLenum target, GLuint buffer);
  void bufferData(GLenum target, GLsizeiptr size);
  void* mapBuffer(GLenum target, GLintptr offset, GLsizeiptr length);
  bool unmapBuffer(GLenum target);
  void deleteBuffers(GLsizei count, const GLuint* buffers);
  void readPixels(GLint x, GLint y, GLsizei width, GLsizei height, void* pixels);
  GLint integer(GLenum name);
  GLint renderMode(GLenum mode);
  GLint queryResult();
  GLenum framebufferStatus();
  void setDebugCallback(GLDEBUGPROC callback);
  void recordMain(std::uint32_t version, const void* exports, const void* vendorInfo,
                  std::vector<void*> imports);
  void recordLookup(const char* name);

private:
  BufferObject* bound(GLenum target, const char* function);

  std::mutex mutex_; // guards everything below
  std::vector<std::shared_ptr<RecordedCall>> calls_;
  std::vector<std::string> lookups_;
  std::vector<std::string> complaints_;
  std::map<std::string, std::string> displayNames_;
  std::map<XID, std::string> xidNames_;
  std::deque<__GLXcontextRec> contexts_;
  std::deque<__GLXFBConfigRec> configs_;
  std::map<XID, Pbuffer> pbuffers_;
  std::set<XID> pixmaps_;
  int pbuffersMade_ = 0;
  int pixmapsMade_ = 0;
  std::map<std::pair<std::string, VisualID>, VisualAttributes> visuals_;
  std::map<std::string, std::string> extensions_;
  std::map<std::pair<std::string, int>, std::string> strings_;
  std::map<std::string, Answer> answers_;
  std::vector<GLXFBConfig> chosen_;
  bool choiceIsSet_ = false;
  std::map<std::string, std::vector<std::pair<int, int>>> failures_; // first, last; from now on
  std::set<std::string> absent_;
  std::map<std::string, std::function<void()>> hooks_;
  std::map<pid_t, std::string> insideLocal_; // thread -> function
  std::map<std::string, GLuint> namesMade_;
  std::map<GLuint, BufferObject> buffers_;
  std::map<GLenum, GLint> integers_;
  GLint queryResult_ = 1;
  GLenum framebufferStatus_ = GL_FRAMEBUFFER_COMPLETE;
  FramePattern frame_;
  GLDEBUGPROC debugCallback_ = nullptr;
  const void* exports_ = nullptr;
  const void* vendorInfo_ = nullptr;
  std::uint32_t version_ = 0;
  std::vector<void*> imports_;
};

DriverState& driver();

} // namespace zol::rig
