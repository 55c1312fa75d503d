#pragma once

#include <string>
#include <utility>
#include <vector>

// The attributes of GLX by number and by the name that the log and the headers have for them, those
// of visuals in the order in which the library keeps them.
struct AttributeName {
  enum Owner { VISUALS = 1, FBCONFIGS = 2, BOTH = 3 };

  int attribute;
  const char* name;
  Owner owner;
};

inline constexpr AttributeName kAttributeNames[] = {
    {1, "GLX_USE_GL", AttributeName::VISUALS},
    {2, "GLX_BUFFER_SIZE", AttributeName::BOTH},
    {3, "GLX_LEVEL", AttributeName::BOTH},
    {4, "GLX_RGBA", AttributeName::VISUALS},
    {5, "GLX_DOUBLEBUFFER", AttributeName::BOTH},
    {6, "GLX_STEREO", AttributeName::BOTH},
    {7, "GLX_AUX_BUFFERS", AttributeName::BOTH},
    {8, "GLX_RED_SIZE", AttributeName::BOTH},
    {9, "GLX_GREEN_SIZE", AttributeName::BOTH},
    {10, "GLX_BLUE_SIZE", AttributeName::BOTH},
    {11, "GLX_ALPHA_SIZE", AttributeName::BOTH},
    {12, "GLX_DEPTH_SIZE", AttributeName::BOTH},
    {13, "GLX_STENCIL_SIZE", AttributeName::BOTH},
    {14, "GLX_ACCUM_RED_SIZE", AttributeName::BOTH},
    {15, "GLX_ACCUM_GREEN_SIZE", AttributeName::BOTH},
    {16, "GLX_ACCUM_BLUE_SIZE", AttributeName::BOTH},
    {17, "GLX_ACCUM_ALPHA_SIZE", AttributeName::BOTH},
    {0x22, "GLX_X_VISUAL_TYPE", AttributeName::FBCONFIGS},
    {0x23, "GLX_TRANSPARENT_TYPE", AttributeName::BOTH},
    {0x25, "GLX_TRANSPARENT_RED_VALUE", AttributeName::BOTH},
    {0x26, "GLX_TRANSPARENT_GREEN_VALUE", AttributeName::BOTH},
    {0x27, "GLX_TRANSPARENT_BLUE_VALUE", AttributeName::BOTH},
    {0x28, "GLX_TRANSPARENT_ALPHA_VALUE", AttributeName::BOTH},
    {0x24, "GLX_TRANSPARENT_INDEX_VALUE", AttributeName::BOTH},
    {0x8010, "GLX_DRAWABLE_TYPE", AttributeName::FBCONFIGS},
    {0x8011, "GLX_RENDER_TYPE", AttributeName::FBCONFIGS},
    {0x8012, "GLX_X_RENDERABLE", AttributeName::FBCONFIGS},
    {0x8013, "GLX_FBCONFIG_ID", AttributeName::FBCONFIGS},
    {0x8016, "GLX_MAX_PBUFFER_WIDTH", AttributeName::FBCONFIGS},
    {0x8017, "GLX_MAX_PBUFFER_HEIGHT", AttributeName::FBCONFIGS},
    {0x8018, "GLX_MAX_PBUFFER_PIXELS", AttributeName::FBCONFIGS},
    {100001, "GLX_SAMPLES_ARB", AttributeName::BOTH},
    {100000, "GLX_SAMPLE_BUFFERS_ARB", AttributeName::BOTH},
    {0x20, "GLX_VISUAL_CAVEAT_EXT", AttributeName::VISUALS},
};

inline std::vector<std::pair<int, std::string>> attributeNames(AttributeName::Owner owner) {
  std::vector<std::pair<int, std::string>> names;
  for (const AttributeName& row : kAttributeNames) {
    if ((row.owner & owner) != 0) names.emplace_back(row.attribute, row.name);
  }
  return names;
}
