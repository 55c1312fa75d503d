#include "visual/fbconfig_owners.h"

#include "foundation/immortal.h"

#include <algorithm>

namespace zol::gl {

void FBConfigOwners::add(LocalVisualInfo* entry) {
  for (int i = 0; i < entry->numFBConfigs; ++i) {
    Owners& owners = owners_[entry->fbConfigs[i]];
    if (!owners.first) owners.first = entry;
    const auto sameDepth = std::find_if(owners.lowest.begin(), owners.lowest.end(),
                                        [entry](const LocalVisualInfo* other) {
                                          return other->appVisual.depth == entry->appVisual.depth;
                                        });
    if (sameDepth == owners.lowest.end())
      owners.lowest.push_back(entry);
    else if (entry->appVisual.visualId < (*sameDepth)->appVisual.visualId)
      *sameDepth = entry;
  }
}

LocalVisualInfo* FBConfigOwners::find(GLXFBConfig config, bool hasAlpha, int localDepth) const {
  const auto found = owners_.find(config);
  if (found == owners_.end()) return nullptr;
  LocalVisualInfo* lowest = nullptr;
  for (LocalVisualInfo* entry : found->second.lowest) {
    if (hasAlpha && entry->appVisual.depth >= localDepth &&
        (!lowest || entry->appVisual.visualId < lowest->appVisual.visualId))
      lowest = entry;
  }
  return lowest ? lowest : found->second.first;
}

} // namespace zol::gl

zol::gl::FBConfigOwners* getFBConfigOwners() {
  static zol::Immortal<zol::gl::FBConfigOwners> owners;
  return owners.get();
}
