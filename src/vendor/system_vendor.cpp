#include "vendor/system_vendor.h"

#include "display/zol_ext.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "foundation/strings.h"
#include "vendor/entry.h"
#include "vendor/probe_connection.h"
#include "vendor/vendor_state.h"

#include <X11/Xlib-xcb.h>
#include <xcb/glx.h>
#include <xcb/xcb.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace {

using zol::text;

constexpr int kGlxVendorNames = 0x20F6; // GLX_VENDOR_NAMES_EXT
constexpr char kOwnVendorName[] = "zol";

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
using CString = std::unique_ptr<char, FreeDeleter>;

// The name of the local display, null where the application display leaves it to the environment.
// No value: the application display cannot be reached. The messages are findSystemGLXVendor's.
std::optional<CString> chooseLocalDisplayName(const char* label) {
  if (const char* configured = zol::conf::settings().glDisplay) return CString(strdup(configured));

  ProbeConnection connection(nullptr);
  Display* const appDisplay = connection.get();
  if (appDisplay == nullptr) {
    ZOLGL_LOG_AS(label, ERROR, "Could not open Application display");
    return std::nullopt;
  }
  char* name = nullptr;
  XExtCodes* const codes = XInitExtension(appDisplay, ZOL_EXT_NAME);
  errno = 0;
  if (codes == nullptr || XZolExtGetGLDisplay(appDisplay, codes, &name) == 0) {
    if (errno == ENOMEM) connection.abandon();
    ZOLGL_LOG_AS(label, WARNING,
                 "The local 3D accelerated X display is not specified. Using default "
                 "display (:0.0).");
    std::free(name); // a server may send one and refuse it all the same
    name = strdup(":0.0");
  }
  return CString(name);
}

// The vendor names that the local display announces; null when it cannot serve us.
CString queryVendorNames(const char* displayName, const char* label) {
  ZOLGL_LOG_AS(label, DEBUG, "Searching on local 3D accelerated X display %s...",
               text(displayName));
  const ProbeConnection connection(displayName);
  Display* const local = connection.get();
  if (local == nullptr) {
    ZOLGL_LOG_AS(label, ERROR, "Could not open a connection to %s", text(displayName));
    return nullptr;
  }
  CString names;
  const CString extensions(queryXServerString(local, 0, GLX_EXTENSIONS));
  if (extensions != nullptr && std::strstr(extensions.get(), "GLX_EXT_libglvnd") != nullptr) {
    names.reset(queryXServerString(local, 0, kGlxVendorNames));
  } else {
    ZOLGL_LOG_AS(label, ERROR, "ERROR: glVND not supported on X display %s", text(displayName));
  }
  return names;
}

void warnOfSelf(const char* vendor, const char* label) {
  ZOLGL_LOG_AS(label, WARNING, "System vendor '%s' is this library itself, skipping", vendor);
}

// Loads one vendor library and lets it fill vendorState.systemImports.
bool loadVendor(const char* fileName, const char* label) {
  ZOLGL_LOG_AS(label, DEBUG, "Attempting to load detected system glVND vendor library '%s'...",
               fileName);
  void* const handle = dlopen(fileName, RTLD_NOW);
  if (handle == nullptr) {
    const char* const error = dlerror();
    ZOLGL_LOG_AS(label, WARNING, "DSO dlopen failed for '%s' with error: '%s'", fileName,
                 error != nullptr ? error : "unknown error");
    return false;
  }
  const auto vendorMain = reinterpret_cast<__PFNGLXMAINPROC>(dlsym(handle, "__glx_Main"));
  if (vendorMain == nullptr) {
    ZOLGL_LOG_AS(label, WARNING, "System vendor  '%s' does not seem to support glVND", fileName);
    dlclose(handle);
    return false;
  }
  // A link under another name is still this library.
  if (vendorMain == &__glx_Main) {
    warnOfSelf(fileName, label);
    dlclose(handle);
    return false;
  }
  // A vendor that gives up half-way must not leave its functions behind for the next one.
  const __GLXapiImports asGivenByGlvnd = vendorState.systemImports;
  if (!vendorMain(1u << 16, vendorState.glvndExports, nullptr, &vendorState.systemImports)) {
    ZOLGL_LOG_AS(label, WARNING,
                 "System vendor '%s' does not support local screen on the given display "
                 "or incorrect ABI",
                 fileName);
    dlclose(handle);
    vendorState.systemImports = asGivenByGlvnd;
    return false;
  }
  vendorState.systemVendorHandle = handle;
  return true;
}

// Whether `fileName` holds the library for `vendor`; names that cannot be tried are said so.
bool formFileName(char (&fileName)[255], const std::string& vendor, const char* label) {
  if (vendor == kOwnVendorName) {
    warnOfSelf(vendor.c_str(), label);
    return false;
  }
  // The loader would take it for a path: a server has no say in what files are loaded.
  if (vendor.find('/') != std::string::npos) {
    ZOLGL_LOG_AS(label, WARNING, "System vendor name '%.64s' is a path, skipping", vendor.c_str());
    return false;
  }
  std::memset(fileName, 0, sizeof fileName);
  const int length = std::snprintf(fileName, sizeof fileName, "libGLX_%s.so.0", vendor.c_str());
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof fileName) {
    ZOLGL_LOG_AS(label, WARNING, "System vendor name '%.64s...' is too long, skipping",
                 vendor.c_str());
    return false;
  }
  return true;
}

using ServerStringReply = std::unique_ptr<xcb_glx_query_server_string_reply_t, FreeDeleter>;

// Null when the server gives no answer. One without GLX must not even be asked: xcb ends the
// connection of a client that uses an extension which is not there.
ServerStringReply requestServerString(xcb_connection_t* connection, int screen, int name) {
  const xcb_query_extension_reply_t* const glx = xcb_get_extension_data(connection, &xcb_glx_id);
  if (glx == nullptr || glx->present == 0) return nullptr;
  const auto cookie = xcb_glx_query_server_string(connection, static_cast<std::uint32_t>(screen),
                                                  static_cast<std::uint32_t>(name));
  xcb_generic_error_t* rawError = nullptr;
  ServerStringReply reply(xcb_glx_query_server_string_reply(connection, cookie, &rawError));
  const std::unique_ptr<xcb_generic_error_t, FreeDeleter> error(rawError);
  return error == nullptr ? std::move(reply) : nullptr;
}

} // namespace

char* findSystemGLXVendor() {
  const char* const label = __PRETTY_FUNCTION__;
  const std::optional<CString> displayName = chooseLocalDisplayName(label);
  if (!displayName) return nullptr;
  const CString names = queryVendorNames(displayName->get(), label);
  if (names == nullptr) return nullptr;

  std::string_view rest(names.get());
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    const std::string vendor(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    char fileName[255];
    if (vendor.empty() || !formFileName(fileName, vendor, label)) continue;
    if (loadVendor(fileName, label)) return strdup(fileName);
  }
  return nullptr;
}

char* queryXServerString(Display* dpy, int screen, int name) {
  xcb_connection_t* const connection = XGetXCBConnection(dpy);
  if (xcb_connection_has_error(connection) != 0) return nullptr;

  const ServerStringReply reply = requestServerString(connection, screen, name);
  if (reply == nullptr) {
    ZOLGL_WARNING("Could not get the GLX query server string");
    return nullptr;
  }
  // The server's count includes the terminating zero; it is not trusted to.
  const int length = xcb_glx_query_server_string_string_length(reply.get());
  char* const result = static_cast<char*>(std::calloc(1, static_cast<std::size_t>(length) + 1));
  if (result == nullptr) {
    ZOLGL_WARNING("Could not allocate memory for query string: %d", length);
    return nullptr;
  }
  const char* const string = xcb_glx_query_server_string_string(reply.get());
  if (string == nullptr || static_cast<std::size_t>(length) > std::size_t{reply->length} * 4) {
    ZOLGL_WARNING("Could not get GLX query string from reply");
    std::free(result);
    return nullptr;
  }
  std::memcpy(result, string, static_cast<std::size_t>(length));
  return result;
}
