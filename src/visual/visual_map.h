#pragma once

#include "foundation/mutex.h"
#include "visual/visual_attributes.h"

#include <list>

namespace zol::gl {

struct TSD;

// Ints that populateAttribList() writes at most: 23 pairs and the terminating 0.
inline constexpr int maxAttribListSize = 47;

// An application visual and the FBConfigs of the local display that can render for it. Entries of
// the visual map are never changed or deleted once the map is built, so a pointer to one may be
// used without a lock.
class LocalVisualInfo {
public:
  virtual ~LocalVisualInfo() = default;

  // Writes the zero-terminated request for FBConfigs equivalent to `appVisual`.
  void populateAttribList(int* list) const;

  // Null without FBConfigs.
  GLXFBConfig bestFBConfig() const { return fbConfigs ? fbConfigs[bestConfig] : nullptr; }

  XVisualAttributes appVisual;      // on the application display
  XVisualAttributes localVisual;    // on the local display, of the chosen FBConfig
  GLXFBConfig* fbConfigs = nullptr; // as glXChooseFBConfig returned them; not freed with the entry
  int numFBConfigs = 0;
  int doubleBuffered = 1;
  int bestConfig = 0; // index into fbConfigs
};

} // namespace zol::gl

// The visual map: the entries, in the order of the application's visuals, and the mutex that guards
// the list. Lock order: this mutex, then the local display mutex.
zol::Mutex* getLVIMutex();
std::list<zol::gl::LocalVisualInfo*>* getListLocalVisuals() ZOL_REQUIRES(getLVIMutex());

// Builds the map at its first call that finds both displays; later calls, for whatever display,
// keep it. A null `tsd` stands for the calling thread's. Ends the process with status 20 when
// `screen` has no visuals.
void initializeVisualMap(Display* appDisplay, int screen, zol::gl::TSD* tsd);

// The entry for an application visual, or for a local FBConfig; null when there is none. Both build
// the map if need be.
zol::gl::LocalVisualInfo* _getLVI(Display* appDisplay, VisualID id, zol::gl::TSD* tsd);
zol::gl::LocalVisualInfo* _getLVI(Display* appDisplay, GLXFBConfig localConfig, zol::gl::TSD* tsd);
