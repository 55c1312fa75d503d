#pragma once

#include "vendor/glx_api.h"

#include <X11/Xutil.h>

#include <cstdint>
#include <span>

namespace zol::gl {

// One X visual with its GLX properties.
struct XVisualAttributes {
#define ZOL_VISUAL_INFO(field, type, member) type field = 0;
#define ZOL_VISUAL_GLX(field, attribute, label, request, query) int32_t field = 0;
#include "visual/visual_attributes.def"
};
static_assert(sizeof(XVisualAttributes) == 34 * sizeof(int32_t));

// How glXChooseVisual reads an attribute in a request list.
enum class RequestKind { FLAG, VALUE, UNKNOWN };

// Attributes that are asked together.
enum class QueryGroup {
  USE_GL,
  BUFFERS,
  TRANSPARENT_RGB,
  TRANSPARENT_INDEX,
  SAMPLES,
  SAMPLE_BUFFERS,
  CAVEAT
};

// A GLX attribute of visuals and the field that holds its value.
struct VisualAttribute {
  int attribute;
  const char* label;
  RequestKind request;
  QueryGroup query;
  int32_t XVisualAttributes::*field;
};

// All GLX attributes of visuals, in the order of the fields.
std::span<const VisualAttribute> visualAttributes();

// Null for an attribute that visuals do not have.
const VisualAttribute* findVisualAttribute(int attribute);

} // namespace zol::gl

// Fills `out` from `vi` and the driver's glXGetConfig; what is not asked is 0. Nothing but useGL is
// asked of a visual without OpenGL. For a visual of the local display the caller holds the local
// display mutex.
void fetchXVisualInfoAttributes(Display* dpy, XVisualInfo* vi, zol::gl::XVisualAttributes* out,
                                bool withMultisample);
