#include "frame/x_font.h"

#include "display/pairing.h"
#include "display/tsd.h"
#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "vendor/system_functions.h"
#include "visual/x_memory.h"

#include <X11/Xatom.h>

using zol::MutexLock;
using zol::gl::TSD;

namespace {

enum FontConnection { APPLICATION_DISPLAY, SECOND_CONNECTION, NEW_CONNECTION, NO_FONTS };

// The connection on which the font is asked about; closed at the end where it was opened for that.
class FontQuery {
public:
  explicit FontQuery(const TSD* tsd) {
    switch (zol::conf::settings().usexfontMode) {
    case SECOND_CONNECTION:
      connection_ = tsd->appdpy2;
      break;
    case NEW_CONNECTION:
      owned_ = true;
      connection_ = tsd->appdpy != nullptr ? XOpenDisplay(DisplayString(tsd->appdpy)) : nullptr;
      break;
    case NO_FONTS:
      break;
    case APPLICATION_DISPLAY:
    default:
      connection_ = tsd->appdpy;
      break;
    }
  }
  ~FontQuery() {
    if (owned_ && connection_ != nullptr) XCloseDisplay(connection_);
  }
  FontQuery(const FontQuery&) = delete;
  FontQuery& operator=(const FontQuery&) = delete;

  Display* connection() const { return connection_; }

  // The font's name; null, and a message, when it has none to be found.
  XMemory<char> fontName(Font font, const char* label) const {
    XFontStruct* const info = XQueryFont(connection_, font);
    if (info == nullptr) {
      ZOLGL_LOG_STDERR_AS(label, ERROR, "glXUseXFont failed.");
      return nullptr;
    }
    unsigned long nameAtom = None;
    const bool named = XGetFontProperty(info, XA_FONT, &nameAtom) != 0;
    XFreeFontInfo(nullptr, info, 1);
    XMemory<char> name(named ? XGetAtomName(connection_, nameAtom) : nullptr);
    if (name == nullptr) ZOLGL_LOG_AS(label, WARNING, "Could not get fontname.");
    return name;
  }

private:
  Display* connection_ = nullptr;
  bool owned_ = false;
};

// None where the local server lacks the font. It stays loaded: the display lists outlive the call.
Font loadLocally(Display* local, const char* name) {
  const MutexLock lock(getLocalDisplayMutex());
  XFontStruct* const loaded = XLoadQueryFont(local, name);
  if (loaded == nullptr) return None;
  const Font font = loaded->fid;
  XFreeFontInfo(nullptr, loaded, 1); // what is known about it, not the font
  return font;
}

} // namespace

void zol_glXUseXFont(Font font, int first, int count, int listBase) {
  ZOLGL_DEBUG("Font %d, [%d, %d], base: %d", static_cast<int>(font), first, count, listBase);
  TSD* const tsd = getTSD();
  if (tsd == nullptr) return;
  const FontQuery query(tsd);
  if (query.connection() == nullptr) return;
  Display* const local = _getLocalDisplay(tsd);
  if (local == nullptr) return;
  const XMemory<char> name = query.fontName(font, __PRETTY_FUNCTION__);
  if (name == nullptr) return;

  Font loaded = loadLocally(local, name.get());
  if (loaded == None) {
    ZOLGL_WARNING("failed to load font %s. Falling back to 'fixed'", name.get());
    loaded = loadLocally(local, "fixed");
    if (loaded == None) ZOLGL_WARNING("failed to load even fixed font.");
  }
  if (loaded != None) {
    const MutexLock lock(getLocalDisplayMutex());
    system_glXUseXFont(loaded, first, count, listBase);
  }
  ZOLGL_DEBUG("DONE");
}
