#include "vendor/glx_strings.h"

#include "display/pairing.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "vendor/system_functions.h"
#include "visual/match_extension.h"

#include <atomic>
#include <cstring>
#include <string>
#include <strings.h>

using zol::MutexLock;

namespace {

constexpr char kVendor[] = "YRSO Systems";
constexpr char kOwnExtension[] = " GLX_YRSO_zol_remote_rendering_bridge";
constexpr char kMaskedExtension[] = "GL_EXT_x11_sync_object";

constexpr const char* kSupportedExtensions[] = {
    "GLX_ARB_get_proc_address",
    "GLX_ARB_multisample",
    "GLX_ARB_create_context",
    "GLX_ARB_create_context_profile",
    "GLX_EXT_visual_info",
    "GLX_EXT_visual_rating",
    "GLX_SGIX_fbconfig",
    "GLX_SGIX_pbuffer",
    "GLX_NV_float_buffer",
    "GLX_ARB_fbconfig_float",
    "GLX_EXT_fbconfig_packed_float",
    "GLX_EXT_texture_from_pixmap",
    "GLX_EXT_framebuffer_sRGB",
};

// An extensions string that is built once and handed out for the life of the process.
struct CachedString {
  std::atomic<const char*> text{nullptr};
  zol::Mutex mutex{false};

  const char* build(const char* systemExtensions) {
    const MutexLock lock(mutex);
    text = buildExtensionsString(systemExtensions);
    return text;
  }
};

Display* pairedLocalDisplay(Display* dpy, const char* label) {
  if (dpy == nullptr) {
    ZOLGL_LOG_AS(label, DEBUG, "Called with NULL display");
    return nullptr;
  }
  return pairWithLocalDisplay(dpy, nullptr);
}

// A program's display that has no local one cannot be asked about; only what the program itself
// leaves null is the driver's business.
bool unpaired(Display* dpy, Display* local) {
  return dpy != nullptr && local == nullptr;
}

// The program's screen numbers mean nothing on the local display.
int localScreen(Display* local) {
  return local != nullptr ? DefaultScreen(local) : 0;
}

bool namesOurVendor(int name) {
  return name == GLX_VENDOR && !zol::conf::settings().originalVendor;
}

} // namespace

Bool zol_glXQueryVersion(Display* dpy, int* major, int* minor) {
  ZOLGL_DEBUG("START");
  Display* const local = pairedLocalDisplay(dpy, __PRETTY_FUNCTION__);
  if (unpaired(dpy, local)) return False;
  const MutexLock lock(getLocalDisplayMutex());
  return system_glXQueryVersion(local, major, minor) != 0 ? True : False;
}

Bool zol_glXQueryExtension(Display* dpy, int* errorBase, int* eventBase) {
  ZOLGL_DEBUG("START");
  Display* const local = pairedLocalDisplay(dpy, __PRETTY_FUNCTION__);
  if (unpaired(dpy, local)) return False;
  const MutexLock lock(getLocalDisplayMutex());
  return system_glXQueryExtension(local, errorBase, eventBase);
}

const char* zol_glXQueryServerString(Display* dpy, int, int name) {
  ZOLGL_DEBUG("querying %d", name);
  if (namesOurVendor(name)) return kVendor;
  Display* const local = pairedLocalDisplay(dpy, __PRETTY_FUNCTION__);
  if (unpaired(dpy, local)) return nullptr;
  const MutexLock lock(getLocalDisplayMutex());
  return system_glXQueryServerString(local, localScreen(local), name);
}

const char* zol_glXQueryExtensionsString(Display* dpy, int) {
  static CachedString& cache = *new CachedString;
  ZOLGL_DEBUG("START");
  if (const char* const cached = cache.text) return cached;
  Display* const local = pairedLocalDisplay(dpy, __PRETTY_FUNCTION__);
  if (local == nullptr) return nullptr;
  MutexLock lock(getLocalDisplayMutex());
  const char* const system = system_glXQueryExtensionsString(local, localScreen(local));
  lock.unlock();
  const char* const extensions = cache.build(system);

  const auto& settings = zol::conf::settings();
  ZOLGL_DEBUG("Extensions: %s", extensions);
  if (settings.glxExtDenylist != nullptr) {
    ZOLGL_DEBUG("Denylisted Extensions: %s", settings.glxExtDenylist);
  }
  if (settings.glxExtBlacklist != nullptr) {
    ZOLGL_DEBUG("Excluded Extensions: %s", settings.glxExtBlacklist);
  }
  return extensions;
}

const char* zol_glXGetClientString(Display* dpy, int name) {
  static CachedString& cache = *new CachedString;
  ZOLGL_DEBUG("querying %d", name);
  if (name == GLX_EXTENSIONS) {
    if (const char* const cached = cache.text) return cached;
  } else if (namesOurVendor(name)) {
    return kVendor;
  }
  // Drivers answer this one without a display too.
  Display* const local = pairedLocalDisplay(dpy, __PRETTY_FUNCTION__);
  MutexLock lock(getLocalDisplayMutex());
  const char* const system = system_glXGetClientString(local, name);
  lock.unlock();
  if (name != GLX_EXTENSIONS) return system;
  const char* const extensions = cache.build(system);

  // Not the texts of glXQueryExtensionsString for the same settings: scripts know both.
  const auto& settings = zol::conf::settings();
  ZOLGL_DEBUG("Extensions: %s", extensions);
  if (settings.glxExtDenylist != nullptr) {
    ZOLGL_DEBUG("Excluded Extensions: %s", settings.glxExtDenylist);
  }
  if (settings.glxExtBlacklist != nullptr) {
    ZOLGL_DEBUG("Excluded Extensions (legacy): %s", settings.glxExtBlacklist);
  }
  return extensions;
}

char* buildExtensionsString(const char* systemExtensions) {
  const auto& settings = zol::conf::settings();
  std::string result;
  result.reserve((systemExtensions != nullptr ? std::strlen(systemExtensions) : 0) +
                 sizeof kOwnExtension);
  for (const char* const name : kSupportedExtensions) {
    if (!matchExtension(systemExtensions, name) || matchExtension(settings.glxExtBlacklist, name) ||
        matchExtension(settings.glxExtDenylist, name)) {
      continue;
    }
    if (!result.empty()) result += ' ';
    result += name;
  }
  result += kOwnExtension; // begins with its blank, also where nothing stands before it
  return strdup(result.c_str());
}

const GLubyte* zol_glGetStringi(GLenum name, GLuint index) {
  if (system_glGetStringi == nullptr) return nullptr; // a driver older than indexed queries
  const GLubyte* const text = system_glGetStringi(name, index);
  if (text == nullptr || strcasecmp(reinterpret_cast<const char*>(text), kMaskedExtension) != 0) {
    return text;
  }
  // The entry keeps its index, so that the count stays right.
  ZOLGL_INFO("Masking extension: GL_EXT_x11_sync_object");
  return reinterpret_cast<const GLubyte*>("");
}
