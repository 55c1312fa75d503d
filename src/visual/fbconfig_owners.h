#pragma once

#include "visual/visual_map.h"

#include <unordered_map>
#include <vector>

namespace zol::gl {

// Which entries of the visual map have an FBConfig among theirs: a driver may offer hundreds for
// each of hundreds of visuals, too many to go through at each look-up.
class FBConfigOwners {
public:
  void add(LocalVisualInfo* entry); // in the order of the map
  void clear() { owners_.clear(); }

  // The first entry that has `config`; null when none has. For a config with alpha an entry whose
  // visual is deep enough goes before it, the one with the lowest application visual id.
  LocalVisualInfo* find(GLXFBConfig config, bool hasAlpha, int localDepth) const;

private:
  struct Owners {
    LocalVisualInfo* first = nullptr;
    std::vector<LocalVisualInfo*> lowest; // one for each depth of application visuals
  };
  std::unordered_map<GLXFBConfig, Owners> owners_;
};

} // namespace zol::gl

// Of the visual map, and guarded as it is.
zol::gl::FBConfigOwners* getFBConfigOwners() ZOL_REQUIRES(getLVIMutex());
