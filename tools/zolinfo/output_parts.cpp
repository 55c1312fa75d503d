#include "output_parts.h"

#include <cstdio>

namespace zol::tools {

std::string findingsText(const Findings& findings) {
  std::string text;
  for (const Finding& finding : findings) {
    text += finding.level == Finding::Level::failure ? "FAILED   " : "WARNING  ";
    text += finding.text + "\n         " + finding.advice + "\n";
  }
  return text;
}

void writeFindings(JsonWriter& json, const Findings& findings) {
  json.key("findings").beginArray();
  for (const Finding& finding : findings) {
    json.beginObject()
        .pair("level", finding.level == Finding::Level::failure ? "failure" : "warning")
        .pair("about", finding.about)
        .pair("text", finding.text)
        .pair("advice", finding.advice)
        .endObject();
  }
  json.endArray();
}

std::string hexText(unsigned int number) {
  char text[16];
  snprintf(text, sizeof text, "0x%x", number);
  return text;
}

} // namespace zol::tools
