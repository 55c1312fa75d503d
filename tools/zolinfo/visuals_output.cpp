#include "output.h"
#include "output_parts.h"
#include "text_table.h"

namespace zol::tools {

namespace {

// What became of a visual, as the library said; null where it said nothing.
const LibraryLog::Mapping* mappingOf(const GLFacts& gl, const VisualFacts& visual) {
  const auto found = gl.log.visuals.find(visual.id);
  return found == gl.log.visuals.end() ? nullptr : &found->second;
}

std::string whyNotMapped(const LibraryLog::Mapping* mapping) {
  return mapping ? mapping->droppedBecause : "no OpenGL on the application display";
}

std::string yesOrNo(bool flag) {
  return flag ? "yes" : "no";
}

TextTable::Line lineOf(const GLFacts& gl, const VisualFacts& visual) {
  const LibraryLog::Mapping* const mapping = mappingOf(gl, visual);
  TextTable::Line line = {hexText(visual.id), std::to_string(visual.depth), visual.visualClass};
  if (!visual.usesGL) {
    line.insert(line.end(), {"-", "-", "-", "-", "-", "-", "-", whyNotMapped(mapping)});
    return line;
  }
  for (const std::string& cell :
       {yesOrNo(visual.isDoubleBuffered), std::to_string(visual.alphaSize),
        std::to_string(visual.depthSize), std::to_string(visual.stencilSize),
        std::to_string(visual.samples)})
    line.push_back(cell);
  line.push_back(mapping ? hexText(mapping->fbconfig) : "?");
  line.push_back(mapping ? hexText(mapping->localVisual) : "?");
  return line;
}

} // namespace

std::string visualsTextOf(const SelfCheck& check) {
  if (!check.gl) return findingsText(check.findings);
  TextTable table;
  table.add({"visual", "bits", "class", "double", "alpha", "depth", "stencil", "samples",
             "fbconfig", "local visual"});
  for (const VisualFacts& visual : check.gl->visuals)
    table.add(lineOf(*check.gl, visual));
  return table.text() + (check.findings.empty() ? "" : "\n" + findingsText(check.findings));
}

std::string visualsJsonOf(const SelfCheck& check) {
  JsonWriter json;
  json.beginObject().key("visuals").beginArray();
  if (check.gl) {
    for (const VisualFacts& visual : check.gl->visuals) {
      const LibraryLog::Mapping* const mapping = mappingOf(*check.gl, visual);
      json.beginObject()
          .pair("id", hexText(visual.id))
          .pair("bits", visual.depth)
          .pair("class", visual.visualClass)
          .pair("mapped", visual.usesGL);
      if (visual.usesGL) {
        json.pair("rgba", visual.isRgba)
            .pair("doubleBuffered", visual.isDoubleBuffered)
            .pair("alphaSize", visual.alphaSize)
            .pair("depthSize", visual.depthSize)
            .pair("stencilSize", visual.stencilSize)
            .pair("samples", visual.samples);
        if (mapping) {
          json.pair("fbconfig", hexText(mapping->fbconfig))
              .pair("localVisual", hexText(mapping->localVisual));
        }
      } else {
        json.pair("reason", whyNotMapped(mapping));
      }
      json.endObject();
    }
  }
  json.endArray();
  writeFindings(json, check.findings);
  return json.endObject().text();
}

} // namespace zol::tools
