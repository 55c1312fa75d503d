#include "vendor/entry.h"

#include "display/pairing.h"
#include "display/tsd.h"
#include "display/zol_ext.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "foundation/process.h"
#include "foundation/runtime_symbols.h"
#include "foundation/tls_key.h"
#include "frame/copyback.h"
#include "frame/image_painter.h"
#include "vendor/exclusion.h"
#include "vendor/probe_connection.h"
#include "vendor/procedure_lookup.h"
#include "vendor/system_functions.h"
#include "vendor/system_vendor.h"
#include "vendor/version.h"

#include <X11/Xlib.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

constexpr char kBanner[] = "YRSO ZOL-GL %s (%s bit version)";
constexpr char kLegalNotice[] = "Copyright (C) 2026 The ZOL developers.\n"
                                "Free software under the MIT licence, without any warranty.\n"
                                "\n";

bool runtimeSymbolsLoaded = false;
bool hooksInitialised = false;
bool initDone = false;
bool finiDone = false;

// Ends the program where it must not go on. GLVND calls us under its lock and takes it again when
// the process exits in the ordinary way, so nothing that is registered for the exit may run.
[[noreturn]] void refuseToRun() {
  std::fflush(nullptr);
  std::_Exit(1);
}

void loadRuntimeSymbolsOrExit() {
  if (runtimeSymbolsLoaded) return; // other threads may be using the table by now
  if (zol::initRuntimeSymbols()) {
    runtimeSymbolsLoaded = true;
    return;
  }
  std::fputs("Failed to load libpthread.so.0 functions", stderr);
  zol::finiRuntimeSymbols();
  refuseToRun();
}

// The three of GLVND's questions that the system vendor answers once it is bound.
Bool __glXGLVNDIsScreenSupported(Display*, int) {
  return True;
}

void* __glXGLVNDGetProcAddress(const GLubyte* name) {
  return glXGLVNDGetProcAddressInternal(name, false);
}

// Whether the display of the environment belongs to this product: its server carries "ZOL-V1".
bool applicationDisplayIsOurs() {
  const ProbeConnection connection(nullptr);
  Display* const dpy = connection.get();
  if (dpy == nullptr) return false;
  const XErrorHandler previous = XSetErrorHandler(xerr);
  int opcode = 0;
  int event = 0;
  int error = 0;
  const bool ours = XQueryExtension(dpy, ZOL_EXT_NAME, &opcode, &event, &error) != 0 &&
                    XQueryExtension(dpy, "GLX", &opcode, &event, &error) != 0;
  XSetErrorHandler(previous);
  XSync(dpy, False);
  return ours;
}

} // namespace

static void* __glXGLVNDGetDispatchAddress(const GLubyte* name) {
  ZOLGL_DEBUG("Logging get dispatch address for %s",
              zol::text(reinterpret_cast<const char*>(name)));
  return nullptr;
}

static void __glXGLVNDSetDispatchIndex(const GLubyte* name, int) {
  ZOLGL_DEBUG("Logging set dispatch index for call %s",
              zol::text(reinterpret_cast<const char*>(name)));
}

int xerr(Display*, XErrorEvent*) {
  return 0;
}

int __glx_Main(uint32_t version, const __GLXapiExports* exports, __GLXvendorInfo* vendor,
               __GLXapiImports* imports) try {
  loadRuntimeSymbolsOrExit();
  zol::conf::Settings::init();
  ZOLGL_DEBUG("START");
  ZOLGL_INFO(kBanner, ZOL_VERSION, ZOL_WORD_SIZE);
  if (version >> 16 != 1) {
    ZOLGL_ERROR("Unsupported glvnd ABI");
    return 0;
  }
  ZOLGL_DEBUG("Initiating denylist and extension checks");
  if (isExcluded() || !applicationDisplayIsOurs()) {
    ZOLGL_INFO("ZOL-GL is OFF");
    return 0;
  }
  if (!hooksInitialised) {
    hooksInitialised = true;
    initializeZolHooks();

    ZOLGL_DEBUG("Initiating glVND interface setup");
    vendorState.glvndExports = exports;
    vendorState.glvndVersion = version;
    vendorState.glvndVendorInfo = vendor;
    vendorState.systemImports = *imports;

    imports->isScreenSupported = __glXGLVNDIsScreenSupported;
    imports->getProcAddress = __glXGLVNDGetProcAddress;
    imports->getDispatchAddress = __glXGLVNDGetDispatchAddress;
    imports->setDispatchIndex = __glXGLVNDSetDispatchIndex;
    imports->notifyError = nullptr;
    imports->isPatchSupported = nullptr;
    imports->initiatePatch = nullptr;

    ZOLGL_DEBUG("Detecting local X server display vendor...");
    char* const vendorName = findSystemGLXVendor();
    if (vendorName == nullptr) {
      ZOLGL_ERROR("No supported glVND vendor found on local display");
      return 0;
    }
    // GLVND goes on asking us for functions; dispatch stubs and screens are the driver's business.
    imports->getDispatchAddress = vendorState.systemImports.getDispatchAddress;
    imports->setDispatchIndex = vendorState.systemImports.setDispatchIndex;
    imports->isScreenSupported = vendorState.systemImports.isScreenSupported;
    ZOLGL_INFO("Vendor '%s' was selected for local display", vendorName);
    std::free(vendorName);

    zol_init(vendorState.systemVendorHandle);
    std::atexit(zol_fini);
  }
  ZOLGL_DEBUG("DONE");
  return 1;
} catch (const std::exception&) { // no memory: the program runs as if the library were not there
  return 0;
}

void zol_init(void* systemVendorHandle) {
  loadRuntimeSymbolsOrExit();
  ZOLGL_DEBUG("START");
  if (initDone) {
    ZOLGL_DEBUG("already done");
    return;
  }
  initDone = true;
  ZOLGL_INFO(kBanner, ZOL_VERSION, ZOL_WORD_SIZE);

  char processName[1024] = "";
  zolGetCurrentProcessName(processName, sizeof processName);
  ZOLGL_INFO("Application executable %s is %s thread", processName,
             zol::isMultiThreadApplication() ? "multi" : "single");

  zol::conf::Settings::init();
  const auto& settings = zol::conf::settings();
  LocalDisplayCall::displaysAreClosed = settings.unsetLocalDisplay;
  tsdKey = zol::createTLSKey(cleanupTSD);
  denyRecordsToForkedChildren();

  if (settings.verbose || settings.printZolVersion) {
    std::fprintf(stderr, "YRSO ZOL-GL %s (%s bit version)\n", ZOL_VERSION, ZOL_WORD_SIZE);
    std::fputs(kLegalNotice, stderr);
  }
  if (settings.disableDriverUnload) setenv("__GL_NO_DSO_FINALIZER", "1", 1);
  if (std::getenv("__GL_SINGLE_THREADED") != nullptr) {
    ZOLGL_ERROR_STDERR("environment variable __GL_SINGLE_THREADED is set. Unable to continue");
    refuseToRun();
  }
  setup_sysgl(systemVendorHandle);
  if (settings.initializeCopybackAtInit) {
    ZOLGL_DEBUG("Initializing Copyback thread inside zol_init");
    zol::Singleton<zol::gl::Copyback>::instance();
  }
  ZOLGL_DEBUG("DONE");
}

void zol_fini() try {
  if (finiDone) return;
  finiDone = true;
  ZOLGL_DEBUG("START");
  // First: the copyback thread, too, may end the process, when its connection breaks now.
  zol::gl::removeUnfinishedSegment();
  zol::Singleton<zol::gl::Copyback>::instance()->stop();
  zol::gl::removeUnfinishedSegment();
  const zol::TLSKey key = tsdKey.exchange(-1);
  if (key != -1) zol::runtimeSymbols.pthread_key_delete(static_cast<pthread_key_t>(key));
  ZOLGL_DEBUG("DONE");
  zol::finiRuntimeSymbols();
} catch (const std::exception&) { // no memory for what has never been there: nothing to end
}
