#include "rig/recorder/driver_state.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace zol::rig {
namespace {

// Ids of the driver's own drawables, far from those that X servers hand out.
constexpr XID kFirstPbuffer = 0x5a000000;
constexpr XID kFirstPixmap = 0x5b000000;

using Guard = std::lock_guard<std::mutex>;

std::string hexText(XID value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "0x%lx", value);
  return buffer;
}

} // namespace

DriverState& driver() {
  static DriverState* const state = new DriverState; // lives to the end: other threads may call
  return *state;
}

std::vector<RecordedCall> DriverState::calls() {
  const Guard guard(mutex_);
  std::vector<RecordedCall> result;
  for (const auto& call : calls_)
    result.push_back(*call);
  return result;
}

std::vector<RecordedCall> DriverState::take() {
  const Guard guard(mutex_);
  std::vector<RecordedCall> result;
  for (const auto& call : calls_)
    result.push_back(*call);
  calls_.clear();
  return result;
}

std::vector<std::string> DriverState::lookups() {
  const Guard guard(mutex_);
  return lookups_;
}

std::vector<std::string> DriverState::complaints() {
  const Guard guard(mutex_);
  return complaints_;
}

void DriverState::nameDisplay(const std::string& displayString, const std::string& name) {
  const Guard guard(mutex_);
  displayNames_[displayString] = name;
}

void DriverState::nameXid(XID xid, const std::string& name) {
  const Guard guard(mutex_);
  xidNames_[xid] = name;
}

std::string DriverState::nameOf(GLXContext context) {
  if (context == nullptr) return "NULL";
  const Guard guard(mutex_);
  for (const auto& known : contexts_) {
    if (&known == context) return known.name;
  }
  return "unknown-context";
}

std::string DriverState::nameOf(XID xid) {
  const Guard guard(mutex_);
  const auto found = xidNames_.find(xid);
  if (found != xidNames_.end()) return found->second;
  return xid < 256 ? std::to_string(xid) : hexText(xid);
}

std::string DriverState::displayName(Display* display) {
  if (display == nullptr) return "NULL";
  const Guard guard(mutex_);
  const auto found = displayNames_.find(XDisplayString(display));
  return found != displayNames_.end() ? found->second : XDisplayString(display);
}

GLXFBConfig DriverState::addConfig(const FakeConfig& config) {
  const Guard guard(mutex_);
  configs_.push_back({"fb" + std::to_string(configs_.size() + 1), config});
  return &configs_.back();
}

void DriverState::setVisual(const std::string& displayName, VisualID visual,
                            const VisualAttributes& attributes) {
  const Guard guard(mutex_);
  visuals_[{displayName, visual}] = attributes;
}

void DriverState::setChosenConfigs(const std::vector<GLXFBConfig>& configs) {
  const Guard guard(mutex_);
  chosen_ = configs;
  choiceIsSet_ = true;
}

void DriverState::setExtensions(const std::string& displayName, const std::string& extensions) {
  const Guard guard(mutex_);
  extensions_[displayName] = extensions;
}

void DriverState::setString(const std::string& function, int name, const std::string& text) {
  const Guard guard(mutex_);
  strings_[{function, name}] = text;
}

void DriverState::setAnswer(const std::string& function, long result,
                            const std::vector<int>& outputs) {
  const Guard guard(mutex_);
  answers_[function] = {result, outputs};
}

void DriverState::fail(const std::string& function, int number, int count) {
  const Guard guard(mutex_);
  failures_[function].emplace_back(number, number + count - 1);
}

void DriverState::setAbsent(const std::string& function) {
  const Guard guard(mutex_);
  absent_.insert(function);
}

void DriverState::setHook(const std::string& function, std::function<void()> hook) {
  const Guard guard(mutex_);
  hooks_[function] = std::move(hook);
}

void DriverState::setInteger(GLenum name, GLint value) {
  const Guard guard(mutex_);
  integers_[name] = value;
}

void DriverState::setQueryResult(GLint samples) {
  const Guard guard(mutex_);
  queryResult_ = samples;
}

void DriverState::setFramebufferStatus(GLenum status) {
  const Guard guard(mutex_);
  framebufferStatus_ = status;
}

void DriverState::setFrame(FramePattern pattern) {
  const Guard guard(mutex_);
  frame_ = std::move(pattern);
}

GLDEBUGPROC DriverState::debugCallback() {
  const Guard guard(mutex_);
  return debugCallback_;
}

bool DriverState::pbufferSize(XID pbuffer, int* width, int* height) {
  const Guard guard(mutex_);
  const auto found = pbuffers_.find(pbuffer);
  if (found == pbuffers_.end()) return false;
  *width = found->second.width;
  *height = found->second.height;
  return true;
}

int DriverState::livingPbuffers() {
  const Guard guard(mutex_);
  return static_cast<int>(pbuffers_.size());
}

int DriverState::livingContexts() {
  const Guard guard(mutex_);
  return static_cast<int>(std::count_if(contexts_.begin(), contexts_.end(),
                                        [](const auto& context) { return context.alive; }));
}

int DriverState::livingBuffers() {
  const Guard guard(mutex_);
  return static_cast<int>(buffers_.size());
}

const void* DriverState::exportsReceived() {
  const Guard guard(mutex_);
  return exports_;
}

const void* DriverState::vendorInfoReceived() {
  const Guard guard(mutex_);
  return vendorInfo_;
}

std::uint32_t DriverState::versionReceived() {
  const Guard guard(mutex_);
  return version_;
}

std::vector<void*> DriverState::importsReceived() {
  const Guard guard(mutex_);
  return imports_;
}

std::shared_ptr<RecordedCall> DriverState::enter(const char* name, std::string text) {
  auto call = std::make_shared<RecordedCall>(RecordedCall{gettid(), name, std::move(text)});
  const Guard guard(mutex_);
  calls_.push_back(call);
  return call;
}

void DriverState::setText(const std::shared_ptr<RecordedCall>& call, std::string text) {
  const Guard guard(mutex_);
  call->text = std::move(text);
}

bool DriverState::consumeFailure(const char* name) {
  const Guard guard(mutex_);
  bool fails = false;
  for (auto& [first, last] : failures_[name]) {
    fails = fails || (first <= 1 && last >= 1);
    --first;
    --last;
  }
  return fails;
}

bool DriverState::isAbsent(const std::string& name) {
  const Guard guard(mutex_);
  return absent_.count(name) != 0;
}

void DriverState::runHook(const char* name) {
  std::function<void()> hook;
  {
    const Guard guard(mutex_);
    const auto found = hooks_.find(name);
    if (found != hooks_.end()) hook = found->second;
  }
  if (hook) hook();
}

void DriverState::enterDisplay(Display* display, const char* name) {
  if (displayName(display) != "local") return;
  const Guard guard(mutex_);
  for (const auto& [thread, function] : insideLocal_) {
    complaints_.push_back(std::string(name) + " on the local display while another thread is in " +
                          function);
  }
  insideLocal_[gettid()] = name;
}

void DriverState::leaveDisplay(Display* display, const char*) {
  if (displayName(display) != "local") return;
  const Guard guard(mutex_);
  insideLocal_.erase(gettid());
}

void DriverState::complain(const std::string& text) {
  const Guard guard(mutex_);
  complaints_.push_back(text);
}

GLXContext DriverState::createContext() {
  const Guard guard(mutex_);
  auto& context = contexts_.emplace_back();
  context.name = "ctx" + std::to_string(contexts_.size());
  return &context;
}

void DriverState::destroyContext(GLXContext context) {
  const Guard guard(mutex_);
  for (auto& known : contexts_) {
    if (&known != context) continue;
    if (!known.alive) complaints_.push_back("glXDestroyContext of " + known.name + ", again");
    known.alive = false;
    return;
  }
  complaints_.push_back("glXDestroyContext of a context that the driver did not make");
}

XID DriverState::createPbuffer(int width, int height) {
  const Guard guard(mutex_);
  const XID id = kFirstPbuffer + static_cast<XID>(++pbuffersMade_);
  pbuffers_[id] = {width, height};
  xidNames_[id] = "pbuffer" + std::to_string(pbuffersMade_);
  return id;
}

XID DriverState::createPixmap() {
  const Guard guard(mutex_);
  const XID id = kFirstPixmap + static_cast<XID>(++pixmapsMade_);
  pixmaps_.insert(id);
  xidNames_[id] = "glxpixmap" + std::to_string(pixmapsMade_);
  return id;
}

void DriverState::destroyDrawable(XID drawable, const char* kind) {
  const Guard guard(mutex_);
  if (pbuffers_.erase(drawable) + pixmaps_.erase(drawable) == 0) {
    complaints_.push_back(std::string("destruction of a ") + kind +
                          " that does not exist: " + hexText(drawable));
  }
}

CurrentBinding& DriverState::current() {
  thread_local CurrentBinding binding;
  return binding;
}

bool DriverState::makeCurrent(Display* display, GLXDrawable draw, GLXDrawable read,
                              GLXContext context) {
  const pid_t self = gettid();
  const Guard guard(mutex_);
  CurrentBinding& binding = current();
  if (context == nullptr) {
    if (binding.context != nullptr) binding.context->currentThread = 0;
    binding = {};
    return true;
  }
  for (const GLXDrawable drawable : {draw, read}) {
    if (drawable != 0 && pbuffers_.count(drawable) + pixmaps_.count(drawable) == 0) {
      complaints_.push_back("make-current on a drawable that does not exist: " + hexText(drawable));
      return false;
    }
  }
  if (context->currentThread != 0 && context->currentThread != self) {
    complaints_.push_back(context->name + " is current to another thread");
    return false;
  }
  if (!context->alive && binding.context != context) {
    complaints_.push_back("make-current of " + context->name + ", which is destroyed");
    return false;
  }
  if (binding.context != nullptr) binding.context->currentThread = 0;
  context->currentThread = self;
  binding = {display, draw, read, context};
  return true;
}

void DriverState::requireContext(const char* function) {
  if (current().context == nullptr) complain(std::string(function) + " without a context");
}

int DriverState::visualAttribute(Display* display, VisualID visual, int attribute, int* value) {
  const std::string name = displayName(display);
  const Guard guard(mutex_);
  *value = 0;
  const auto found = visuals_.find({name, visual});
  if (found == visuals_.end()) return attribute == GLX_USE_GL ? 0 : GLX_BAD_VISUAL;
  const auto entry = found->second.find(attribute);
  if (entry == found->second.end()) return attribute == GLX_USE_GL ? 0 : GLX_BAD_ATTRIBUTE;
  *value = entry->second;
  return 0;
}

std::vector<GLXFBConfig> DriverState::allConfigs() {
  const Guard guard(mutex_);
  std::vector<GLXFBConfig> result;
  for (auto& config : configs_)
    result.push_back(&config);
  return result;
}

// The comparison rules of glXChooseFBConfig for the attributes that matter here: exact, mask, or
// at least. An attribute that a configuration does not mention is 0.
std::vector<GLXFBConfig> DriverState::choose(const int* attributes) {
  {
    const Guard guard(mutex_);
    if (choiceIsSet_) return chosen_;
  }
  std::vector<GLXFBConfig> result;
  for (const GLXFBConfig config : allConfigs()) {
    const auto& has = config->config.attributes;
    bool matches = true;
    for (const int* pair = attributes; pair != nullptr && *pair != 0; pair += 2) {
      const auto found = has.find(pair[0]);
      const int value = found != has.end() ? found->second : 0;
      const int wanted = pair[1];
      switch (pair[0]) {
      case GLX_DOUBLEBUFFER:
      case GLX_STEREO:
      case GLX_LEVEL:
      case GLX_TRANSPARENT_TYPE:
        matches = matches && (wanted == static_cast<int>(GLX_DONT_CARE) || value == wanted);
        break;
      case GLX_RENDER_TYPE:
      case GLX_DRAWABLE_TYPE:
        matches = matches && (value & wanted) == wanted;
        break;
      default:
        matches = matches && (wanted == static_cast<int>(GLX_DONT_CARE) || value >= wanted);
      }
    }
    if (matches) result.push_back(config);
  }
  return result;
}

const char* DriverState::extensionsOf(Display* display) {
  const std::string name = displayName(display);
  const Guard guard(mutex_);
  return extensions_[name].c_str();
}

const char* DriverState::string(const std::string& function, int name) {
  const Guard guard(mutex_);
  const auto found = strings_.find({function, name});
  return found != strings_.end() ? found->second.c_str() : nullptr;
}

Answer DriverState::answer(const std::string& function, long result) {
  const Guard guard(mutex_);
  const auto found = answers_.find(function);
  return found != answers_.end() ? found->second : Answer{result, {}};
}

GLuint DriverState::newName(const char* kind) {
  const Guard guard(mutex_);
  const GLuint name = ++namesMade_[kind];
  if (std::strcmp(kind, "buffer") == 0) buffers_[name];
  return name;
}

BufferObject* DriverState::bound(GLenum target, const char* function) {
  const GLXContext context = current().context;
  const GLuint name = context != nullptr ? context->boundBuffers[target] : 0;
  const auto found = buffers_.find(name);
  if (found != buffers_.end()) return &found->second;
  complaints_.push_back(std::string(function) + " without a buffer");
  return nullptr;
}

void DriverState::bindBuffer(GLenum target, GLuint buffer) {
  const Guard guard(mutex_);
  if (buffer != 0 && buffers_.count(buffer) == 0) {
    complaints_.push_back("glBindBuffer of a buffer that does not exist");
  }
  if (current().context != nullptr) current().context->boundBuffers[target] = buffer;
}

void DriverState::bufferData(GLenum target, GLsizeiptr size) {
  const Guard guard(mutex_);
  BufferObject* const buffer = bound(target, "glBufferData");
  if (buffer == nullptr) return;
  if (buffer->mapped) complaints_.push_back("glBufferData on a buffer that is mapped");
  buffer->store.assign(static_cast<std::size_t>(size), 0xEE);
  buffer->mapped = false;
}

void* DriverState::mapBuffer(GLenum target, GLintptr offset, GLsizeiptr length) {
  const Guard guard(mutex_);
  BufferObject* const buffer = bound(target, "glMapBufferRange");
  if (buffer == nullptr) return nullptr;
  if (buffer->mapped ||
      static_cast<std::size_t>(offset) + static_cast<std::size_t>(length) > buffer->store.size()) {
    complaints_.push_back("glMapBufferRange of a buffer that is mapped or too small");
    return nullptr;
  }
  buffer->mapped = true;
  return buffer->store.data() + offset;
}

bool DriverState::unmapBuffer(GLenum target) {
  const Guard guard(mutex_);
  BufferObject* const buffer = bound(target, "glUnmapBuffer");
  if (buffer == nullptr) return false;
  return std::exchange(buffer->mapped, false); // unmapping what is not mapped is only a GL error
}

void DriverState::deleteBuffers(GLsizei count, const GLuint* buffers) {
  const Guard guard(mutex_);
  for (GLsizei i = 0; i < count; ++i) {
    if (buffers_.erase(buffers[i]) == 0) {
      complaints_.push_back("glDeleteBuffers of a buffer that does not exist");
    }
  }
}

void DriverState::readPixels(GLint x, GLint y, GLsizei width, GLsizei height, void* pixels) {
  FramePattern frame;
  std::uint8_t* target = static_cast<std::uint8_t*>(pixels);
  const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
  {
    const Guard guard(mutex_);
    frame = frame_;
    const GLXContext context = current().context;
    if (context != nullptr && context->boundBuffers[GL_PIXEL_PACK_BUFFER] != 0) {
      BufferObject* const buffer = bound(GL_PIXEL_PACK_BUFFER, "glReadPixels");
      if (buffer == nullptr) return;
      const std::size_t offset = reinterpret_cast<std::uintptr_t>(pixels);
      if (buffer->mapped || offset + size > buffer->store.size()) {
        complaints_.push_back("glReadPixels into a buffer that is mapped or too small");
        return;
      }
      target = buffer->store.data() + offset;
    } else if (pixels == nullptr) {
      complaints_.push_back("glReadPixels without a buffer");
      return;
    }
  }
  for (GLsizei row = 0; row < height; ++row) {
    for (GLsizei column = 0; column < width; ++column) {
      const std::uint32_t colour = frame ? frame(x + column, y + row) : 0xff808080;
      std::memcpy(target, &colour, 4);
      target += 4;
    }
  }
}

GLint DriverState::integer(GLenum name) {
  const Guard guard(mutex_);
  const auto found = integers_.find(name);
  if (found != integers_.end()) return found->second;
  const GLXContext context = current().context;
  if (name == GL_RENDER_MODE) {
    return static_cast<GLint>(context != nullptr ? context->renderMode : GL_RENDER);
  }
  return 0;
}

GLint DriverState::renderMode(GLenum mode) {
  const Guard guard(mutex_);
  if (current().context != nullptr) current().context->renderMode = mode;
  const auto found = answers_.find("glRenderMode");
  return found != answers_.end() ? static_cast<GLint>(found->second.result) : 0;
}

GLint DriverState::queryResult() {
  const Guard guard(mutex_);
  return queryResult_;
}

GLenum DriverState::framebufferStatus() {
  const Guard guard(mutex_);
  return framebufferStatus_;
}

void DriverState::setDebugCallback(GLDEBUGPROC callback) {
  const Guard guard(mutex_);
  debugCallback_ = callback;
}

void DriverState::recordMain(std::uint32_t version, const void* exports, const void* vendorInfo,
                             std::vector<void*> imports) {
  const Guard guard(mutex_);
  version_ = version;
  exports_ = exports;
  vendorInfo_ = vendorInfo;
  imports_ = std::move(imports);
}

void DriverState::recordLookup(const char* name) {
  const Guard guard(mutex_);
  lookups_.emplace_back(name);
}

} // namespace zol::rig
