#include "visual/visual_map.h"

namespace zol::gl {

void LocalVisualInfo::populateAttribList(int* list) const {
  const auto put = [&list](int attribute, int value) {
    *list++ = attribute;
    *list++ = value;
  };
  const auto putGroup = [&](QueryGroup group) {
    for (const VisualAttribute& row : visualAttributes())
      if (row.query == group) put(row.attribute, appVisual.*row.field);
  };

  for (const VisualAttribute& row : visualAttributes()) {
    if (row.query != QueryGroup::BUFFERS) continue;
    const int value = appVisual.*row.field;
    switch (row.attribute) {
    case GLX_RGBA:
      put(GLX_RENDER_TYPE, value ? GLX_RGBA_BIT : GLX_COLOR_INDEX_BIT);
      break;
    case GLX_DOUBLEBUFFER:
    case GLX_STEREO:
      put(row.attribute, value != 0);
      break;
    case GLX_TRANSPARENT_TYPE:
      // An opaque visual leaves the type to the default of glXChooseFBConfig.
      if (value == GLX_TRANSPARENT_RGB || value == GLX_TRANSPARENT_INDEX) {
        put(row.attribute, value);
        putGroup(value == GLX_TRANSPARENT_RGB ? QueryGroup::TRANSPARENT_RGB
                                              : QueryGroup::TRANSPARENT_INDEX);
      }
      break;
    default:
      put(row.attribute, value);
    }
  }
  if (appVisual.sampleBuffers >= 1) {
    putGroup(QueryGroup::SAMPLE_BUFFERS);
    putGroup(QueryGroup::SAMPLES);
  }
  *list = 0;
}

} // namespace zol::gl
