#include "endtoend/picture/gl_function.h"
#include "endtoend/picture/words.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace zol::endtoend {
namespace {

struct FreeWithX {
  void operator()(void* memory) const { XFree(memory); }
};
using VisualPointer = std::unique_ptr<XVisualInfo, FreeWithX>;
using ConfigList = std::unique_ptr<GLXFBConfig, FreeWithX>;

struct NamedAttribute {
  const char* name;
  int attribute;
};

// Without the ids, which no two servers have in common.
constexpr NamedAttribute kAttributes[] = {
    {"buffer", GLX_BUFFER_SIZE},
    {"level", GLX_LEVEL},
    {"double", GLX_DOUBLEBUFFER},
    {"stereo", GLX_STEREO},
    {"aux", GLX_AUX_BUFFERS},
    {"red", GLX_RED_SIZE},
    {"green", GLX_GREEN_SIZE},
    {"blue", GLX_BLUE_SIZE},
    {"alpha", GLX_ALPHA_SIZE},
    {"depth", GLX_DEPTH_SIZE},
    {"stencil", GLX_STENCIL_SIZE},
    {"accum", GLX_ACCUM_RED_SIZE},
    {"caveat", GLX_CONFIG_CAVEAT},
    {"type", GLX_X_VISUAL_TYPE},
    {"transparent", GLX_TRANSPARENT_TYPE},
    {"drawables", GLX_DRAWABLE_TYPE},
    {"render", GLX_RENDER_TYPE},
    {"renderable", GLX_X_RENDERABLE},
    {"max-width", GLX_MAX_PBUFFER_WIDTH},
    {"max-height", GLX_MAX_PBUFFER_HEIGHT},
    {"max-pixels", GLX_MAX_PBUFFER_PIXELS},
    {"sample-buffers", GLX_SAMPLE_BUFFERS},
    {"samples", GLX_SAMPLES},
};

int attributeOf(Display* display, GLXFBConfig config, int attribute) {
  int value = 0;
  const int status = glXGetFBConfigAttrib(display, config, attribute, &value);
  if (status != Success) throw std::runtime_error("FBConfig attribute: " + std::to_string(status));
  return value;
}

std::string describe(Display* display, GLXFBConfig config) {
  std::string result;
  for (const NamedAttribute& row : kAttributes) {
    result += (result.empty() ? "" : " ") + std::string(row.name) + "=" +
              std::to_string(attributeOf(display, config, row.attribute));
  }
  return result;
}

std::string findConfig(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  const int depth = next<int>(words);
  GLXFBConfig const found =
      searchConfig(stage.display(), depth, next<std::string>(words) == "double");
  stage.add(name, found);
  return ok(describe(stage.display(), found));
}

// The first that is offered for these requests: what a program takes without looking further.
std::string chooseConfig(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  std::vector<int> wanted;
  for (std::string word; words >> word;) {
    const std::size_t equals = word.find('=');
    const auto* const row = std::find_if(
        std::begin(kAttributes), std::end(kAttributes),
        [&](const NamedAttribute& known) { return word.substr(0, equals) == known.name; });
    if (row == std::end(kAttributes)) throw std::runtime_error("no such attribute: " + word);
    wanted.insert(wanted.end(), {row->attribute, std::stoi(word.substr(equals + 1))});
  }
  wanted.push_back(None);
  int count = -1;
  Display* const display = stage.display();
  const ConfigList found(glXChooseFBConfig(display, DefaultScreen(display), wanted.data(), &count));
  if (!found || count <= 0) return ok("none");
  stage.add(name, *found.get());
  return ok(describe(display, *found.get()));
}

// The attribute in which a window of this visual would show something else than what is drawn for
// the FBConfig; "" when there is none.
std::string mismatch(Display* display, GLXFBConfig config, XVisualInfo* visual) {
  const auto ofVisual = [=](int attribute) {
    int value = 0;
    return glXGetConfig(display, visual, attribute, &value) == Success ? value : -1;
  };
  for (const int attribute : {GLX_DOUBLEBUFFER, GLX_RED_SIZE, GLX_GREEN_SIZE, GLX_BLUE_SIZE}) {
    if (ofVisual(attribute) != attributeOf(display, config, attribute))
      return hex(static_cast<unsigned long>(attribute));
  }
  return "";
}

// What every FBConfig must have for programs that go on to make a window: two visuals, asked for in
// one way and the other, of this very display. How many there are.
std::string checkConfigs(Stage& stage, std::istringstream&) {
  Display* const display = stage.display();
  int count = 0;
  const ConfigList all(glXGetFBConfigs(display, DefaultScreen(display), &count));
  for (int i = 0; i < count; ++i) {
    GLXFBConfig const config = all.get()[i];
    const int id = attributeOf(display, config, GLX_FBCONFIG_ID);
    const auto fail = [id](const std::string& how) {
      throw std::runtime_error("FBConfig " + std::to_string(id) + " " + how);
    };
    XVisualInfo wanted{};
    wanted.visualid = static_cast<VisualID>(attributeOf(display, config, GLX_VISUAL_ID));
    int known = 0;
    for (const VisualPointer& visual :
         {VisualPointer(glXGetVisualFromFBConfig(display, config)),
          VisualPointer(XGetVisualInfo(display, VisualIDMask, &wanted, &known))}) {
      if (!visual) fail("has no visual");
      const std::string difference = mismatch(display, config, visual.get());
      if (!difference.empty()) fail("differs from its visual in " + difference);
    }
  }
  return ok(std::to_string(count));
}

std::string visualOf(Stage& stage, std::istringstream& words) {
  GLXFBConfig const config = stage.config(next<std::string>(words));
  const VisualPointer visual(glXGetVisualFromFBConfig(stage.display(), config));
  if (!visual) return ok("none");
  return ok("depth " + std::to_string(visual->depth) + " class " + std::to_string(visual->c_class));
}

std::string makeWindow(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  GLXFBConfig const config = stage.config(next<std::string>(words));
  const int width = next<int>(words), height = next<int>(words);
  const int x = std::stoi(nextOr(words, "0")), y = std::stoi(nextOr(words, "0"));
  Display* const display = stage.display();
  const VisualPointer visual(glXGetVisualFromFBConfig(display, config));
  if (!visual) throw std::runtime_error("the FBConfig has no visual");
  const Window id = createPlainWindow(display, *visual, width, height, x, y);
  const GLXWindow drawable = glXCreateWindow(display, config, id, nullptr);
  if (drawable == None) throw std::runtime_error("no GLX window");
  const bool doubleBuffered = attributeOf(display, config, GLX_DOUBLEBUFFER) != 0;
  stage.add(name, StageDrawable{display, id, drawable, doubleBuffered, width, height, visual->depth,
                                visual->visualid});
  return ok(hex(id));
}

std::string destroyWindow(Stage& stage, std::istringstream& words) {
  const StageDrawable& gone = stage.drawable(next<std::string>(words));
  glXDestroyWindow(gone.display, gone.drawable);
  return ok();
}

std::string makeContext(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  GLXFBConfig const config = stage.config(next<std::string>(words));
  const std::string sharedWith = nextOr(words, "");
  GLXContext const shared = sharedWith.empty() ? nullptr : stage.context(sharedWith).id;
  GLXContext const id = glXCreateNewContext(stage.display(), config, GLX_RGBA_TYPE, shared, True);
  if (id == nullptr) throw std::runtime_error("no context");
  stage.add(name, StageContext{stage.display(), id, false});
  return ok();
}

std::string makeVersionContext(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  GLXFBConfig const config = stage.config(next<std::string>(words));
  const int major = next<int>(words), minor = next<int>(words);
  const bool core = next<std::string>(words) == "core";
  const std::string sharedWith = nextOr(words, "");
  GLXContext const shared = sharedWith.empty() ? nullptr : stage.context(sharedWith).id;
  const int attributes[] = {GLX_CONTEXT_MAJOR_VERSION_ARB,
                            major,
                            GLX_CONTEXT_MINOR_VERSION_ARB,
                            minor,
                            GLX_CONTEXT_PROFILE_MASK_ARB,
                            core ? GLX_CONTEXT_CORE_PROFILE_BIT_ARB
                                 : GLX_CONTEXT_COMPATIBILITY_PROFILE_BIT_ARB,
                            None};
  static const auto create =
      glFunction<PFNGLXCREATECONTEXTATTRIBSARBPROC>("glXCreateContextAttribsARB");
  GLXContext const id = create(stage.display(), config, shared, True, attributes);
  if (id == nullptr) throw std::runtime_error("no context");
  stage.add(name, StageContext{stage.display(), id, core});
  return ok();
}

std::string orNone(const void* text) {
  return text == nullptr ? "(none)" : static_cast<const char*>(text);
}

std::string clientString(Stage& stage, std::istringstream& words) {
  return ok(orNone(glXGetClientString(stage.display(), next<int>(words))));
}

std::string serverString(Stage& stage, std::istringstream& words) {
  Display* const display = stage.display();
  return ok(orNone(glXQueryServerString(display, DefaultScreen(display), next<int>(words))));
}

std::string extensions(Stage& stage, std::istringstream&) {
  Display* const display = stage.display();
  return ok(orNone(glXQueryExtensionsString(display, DefaultScreen(display))));
}

std::string version(Stage& stage, std::istringstream&) {
  int major = 0, minor = 0;
  if (!glXQueryVersion(stage.display(), &major, &minor)) throw std::runtime_error("no version");
  return ok(std::to_string(major) + "." + std::to_string(minor));
}

std::string queryExtension(Stage& stage, std::istringstream&) {
  return ok(glXQueryExtension(stage.display(), nullptr, nullptr) ? "yes" : "no");
}

std::string glString(Stage&, std::istringstream& words) {
  return ok(
      orNone(glGetString(static_cast<GLenum>(std::stoul(next<std::string>(words), nullptr, 0)))));
}

// The extensions one by one, as programs with new contexts ask for them.
std::string glExtensions(Stage&, std::istringstream&) {
  static const auto getString = glFunction<PFNGLGETSTRINGIPROC>("glGetStringi");
  GLint count = 0;
  glGetIntegerv(GL_NUM_EXTENSIONS, &count);
  std::string result;
  for (GLint i = 0; i < count; ++i)
    result += " " + orNone(getString(GL_EXTENSIONS, static_cast<GLuint>(i)));
  return "ok" + result;
}

} // namespace

const Commands& configCommands() {
  static const Commands commands = {
      {"find-config", findConfig},             // CONFIG DEPTH double|single: its attributes
      {"choose-config", chooseConfig},         // CONFIG [NAME=VALUE...]: its attributes
      {"check-configs", checkConfigs},         // how many
      {"visual-of", visualOf},                 // CONFIG
      {"glx-window", makeWindow},              // NAME CONFIG WIDTH HEIGHT [X Y]: the X window's id
      {"destroy-glx-window", destroyWindow},   // NAME
      {"new-context", makeContext},            // NAME CONFIG [SHARED-WITH]
      {"version-context", makeVersionContext}, // NAME CONFIG MAJOR MINOR core|compatible [SHARED]
      {"client-string", clientString},         // NUMBER
      {"server-string", serverString},         // NUMBER
      {"extensions", extensions},              //
      {"version", version},                    //
      {"has-glx", queryExtension},             //
      {"gl-string", glString},                 // NUMBER
      {"gl-extensions", glExtensions},         //
  };
  return commands;
}

} // namespace zol::endtoend
