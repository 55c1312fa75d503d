#include "visual/visual_attributes.h"

#include "vendor/system_functions.h"

namespace zol::gl {

namespace {

constexpr VisualAttribute table[] = {
#define ZOL_VISUAL_INFO(field, type, member)
#define ZOL_VISUAL_GLX(field, attribute, label, request, query)                                    \
  {attribute, label, RequestKind::request, QueryGroup::query, &XVisualAttributes::field},
#include "visual/visual_attributes.def"
};
static_assert(std::size(table) == 26);

} // namespace

std::span<const VisualAttribute> visualAttributes() {
  return table;
}

const VisualAttribute* findVisualAttribute(int attribute) {
  for (const VisualAttribute& row : table)
    if (row.attribute == attribute) return &row;
  return nullptr;
}

} // namespace zol::gl

using namespace zol::gl;

void fetchXVisualInfoAttributes(Display* dpy, XVisualInfo* vi, XVisualAttributes* out,
                                bool withMultisample) {
  *out = {};
#define ZOL_VISUAL_INFO(field, type, member) out->field = static_cast<type>(vi->member);
#define ZOL_VISUAL_GLX(field, attribute, label, request, query)
#include "visual/visual_attributes.def"

  const auto ask = [&](QueryGroup group) {
    for (const VisualAttribute& row : visualAttributes())
      if (row.query == group) system_glXGetConfig(dpy, vi, row.attribute, &(out->*row.field));
  };

  ask(QueryGroup::USE_GL);
  if (out->useGL != 1) return;
  ask(QueryGroup::BUFFERS);
  if (out->transparentType == GLX_TRANSPARENT_RGB) ask(QueryGroup::TRANSPARENT_RGB);
  if (out->transparentType == GLX_TRANSPARENT_INDEX) ask(QueryGroup::TRANSPARENT_INDEX);
  if (withMultisample) {
    // Asked in the opposite order of the fields.
    ask(QueryGroup::SAMPLE_BUFFERS);
    ask(QueryGroup::SAMPLES);
  }
  ask(QueryGroup::CAVEAT);
}
