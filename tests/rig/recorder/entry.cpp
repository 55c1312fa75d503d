#include "rig/recorder/argument_text.h"
#include "rig/recorder/simulation.h"

#include <glvnd/libglxabi.h>

#include <cstdlib>
#include <cstring>

namespace zol::rig {
namespace {

// Marks the calling thread as inside a call on the display that is the first argument, if any.
class DisplayUse {
public:
  DisplayUse(const char* name, Display* display) : name_(name), display_(display) {
    if (display_ != nullptr) driver().enterDisplay(display_, name_);
  }
  template <class... Arguments>
  explicit DisplayUse(const char* name, Arguments...) : name_(name), display_(nullptr) {}
  template <class... Arguments>
  DisplayUse(const char* name, Display* display, Arguments...) : DisplayUse(name, display) {}
  ~DisplayUse() {
    if (display_ != nullptr) driver().leaveDisplay(display_, name_);
  }
  DisplayUse(const DisplayUse&) = delete;
  DisplayUse& operator=(const DisplayUse&) = delete;

private:
  const char* name_;
  Display* display_;
};

template <class Tag, class Function>
struct Stub;

// The driver's function: writes the call down, lets the test step in, simulates.
template <class Tag, class Result, class... Arguments>
struct Stub<Tag, Result (*)(Arguments...)> {
  static Result call(Arguments... arguments) {
    const std::string text = Tag::kName + ("(" + argumentsText(arguments...)) + ")";
    const DisplayUse use(Tag::kName, arguments...);
    const auto record = driver().enter(Tag::kName, text);
    driver().runHook(Tag::kName);
    if (driver().consumeFailure(Tag::kName)) {
      driver().setText(record, text + " -> failed");
      return Result();
    }
    if constexpr (std::is_void_v<Result>) {
      simulate<Result>(Tag(), arguments...);
      driver().setText(record, text + generatedText(Tag::kName, arguments...));
    } else {
      const Result result = simulate<Result>(Tag(), arguments...);
      driver().setText(record, text + madeText(Tag::kName, result, arguments...));
      return result;
    }
  }
};

// The type a driver's function has: that of its public prototype, with one exception.
template <class Tag, class Prototype>
struct TypeOf {
  using type = Prototype;
};
// The prototype returns nothing, drivers return a status.
template <class Prototype>
struct TypeOf<tag_glXQueryGLXPbufferSGIX, Prototype> {
  using type = int (*)(Display*, GLXPbufferSGIX, int, unsigned int*);
};

struct Row {
  const char* name;
  void* address;
};

const Row kRows[] = {
#define ZOL_SYSTEM_FUNCTION(function, message)                                                     \
  {#function,                                                                                      \
   reinterpret_cast<void*>(                                                                        \
       &Stub<tag_##function, TypeOf<tag_##function, decltype(&::function)>::type>::call)},
#include "vendor/system_functions.def"
};

Bool isScreenSupported(Display* display, int screen) {
  driver().enter("isScreenSupported", "isScreenSupported(" + argumentsText(display, screen) + ")");
  return True;
}

void* getProcAddress(const GLubyte* name) {
  const char* const text = reinterpret_cast<const char*>(name);
  driver().recordLookup(text);
  return driver().address(text);
}

void* getDispatchAddress(const GLubyte*) {
  return nullptr;
}

void setDispatchIndex(const GLubyte*, int) {}

} // namespace

void* DriverState::address(const std::string& function) {
  if (isAbsent(function)) return nullptr;
  for (const Row& row : kRows) {
    if (function == row.name) return row.address;
  }
  return nullptr;
}

XVisualInfo* findVisual(Display* display, VisualID id) {
  XVisualInfo wanted{};
  wanted.visualid = id;
  int count = 0;
  return XGetVisualInfo(display, VisualIDMask, &wanted, &count);
}

GLXFBConfig* configArray(const std::vector<GLXFBConfig>& configs, int* count) {
  if (count != nullptr) *count = static_cast<int>(configs.size());
  if (configs.empty()) return nullptr;
  auto* const array = static_cast<GLXFBConfig*>(std::calloc(configs.size(), sizeof(GLXFBConfig)));
  std::copy(configs.begin(), configs.end(), array);
  return array;
}

} // namespace zol::rig

using namespace zol::rig;

extern "C" __attribute__((visibility("default"))) Bool __glx_Main(uint32_t version,
                                                                  const __GLXapiExports* exports,
                                                                  __GLXvendorInfo* vendor,
                                                                  __GLXapiImports* imports) {
  std::vector<void*> slots(imports != nullptr ? sizeof *imports / sizeof(void*) : 0);
  std::memcpy(slots.data(), imports, slots.size() * sizeof(void*));
  driver().recordMain(version, exports, vendor, slots);
  driver().enter("__glx_Main", "__glx_Main(" + hexText(version) + ", " +
                                   (exports != nullptr ? "exports, " : "NULL, ") +
                                   (vendor != nullptr ? "vendor, " : "NULL, ") +
                                   (imports != nullptr ? "imports)" : "NULL)"));
  if (driver().isAbsent("__glx_Main")) return False;
  imports->isScreenSupported = isScreenSupported;
  imports->getProcAddress = getProcAddress;
  imports->getDispatchAddress = getDispatchAddress;
  imports->setDispatchIndex = setDispatchIndex;
  return True;
}

// Drivers also export some functions by name; this is the one that is fetched that way.
extern "C" __attribute__((visibility("default"))) void glDisableVertexAttribArray(GLuint index) {
  Stub<tag_glDisableVertexAttribArray, decltype(&::glDisableVertexAttribArray)>::call(index);
}

extern "C" __attribute__((visibility("default"))) Recorder* zolRigRecorder() {
  return &driver();
}
