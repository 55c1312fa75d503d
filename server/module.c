// The X.Org server module: reads the options and adds what they ask for.
//
//   Section "Module"
//     SubSection "zol"
//       Option "GLDisplay" ":0.0"         # answer to GetGLDisplay; without it there is none
//       Option "VendorNames" "zol mesa"   # answer to GLX_VENDOR_NAMES_EXT; without it GLX's own
//     EndSubSection
//   EndSection

#include "vendor_names.h"
#include "zol_extension.h"

#include <extnsionst.h>
#include <os.h>
#include <xf86Module.h>
#include <xf86Opt.h>

static const char* glDisplayOption;
static const char* vendorNamesOption;

static void initExtensions(void) {
  ZolExtensionInit(glDisplayOption);
  if (vendorNamesOption) ZolAnnounceVendorNames(vendorNamesOption);
}

static const char* readOption(XF86OptionPtr options, const char* name) {
  const char* value = xf86CheckStrOption(options, name, NULL);
  return value && *value ? XNFstrdup(value) : NULL;
}

static void* setUp(void* module, void* options, int* errorMajor, int* errorMinor) {
  static const ExtensionModule extension = {initExtensions, "ZOL-V1", NULL};
  static Bool loaded;

  // A configuration with both a Load line and a SubSection loads the module twice, the first time
  // without options.
  if (options) {
    glDisplayOption = readOption(options, "GLDisplay");
    vendorNamesOption = readOption(options, "VendorNames");
  }
  if (!loaded) {
    loaded = TRUE;
    // Without an authority file only clients of the server's own user are let in, not those of
    // everybody on the machine.
    LocalAccessScopeUser();
    LoadExtensionList(&extension, 1, FALSE);
  }
  return module;
}

static XF86ModuleVersionInfo versionInfo = {
    "zol",
    "ZOL",
    MODINFOSTRING1,
    MODINFOSTRING2,
    XORG_VERSION_CURRENT,
    ZOL_VERSION_MAJOR,
    ZOL_VERSION_MINOR,
    ZOL_VERSION_PATCH,
    ABI_CLASS_EXTENSION,
    ABI_EXTENSION_VERSION,
    MOD_CLASS_EXTENSION,
    {0, 0, 0, 0},
};

_X_EXPORT XF86ModuleData zolModuleData = {&versionInfo, setUp, NULL};
