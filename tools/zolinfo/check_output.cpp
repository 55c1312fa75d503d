#include "output.h"
#include "output_parts.h"
#include "text_table.h"

#include <sstream>
#include <utility>

namespace zol::tools {

namespace {

std::string yesOrNo(bool flag) {
  return flag ? "yes" : "NO";
}

std::string joined(const std::string& first, const char* between, const std::string& second) {
  return first.empty() || second.empty() ? first + second : first + between + second;
}

void addServer(TextTable& table, const DisplayFacts& facts) {
  table.add({"  server", facts.serverVendor + ", release " + std::to_string(facts.serverRelease)});
  table.add({"  GLX vendors", !facts.hasGlx               ? "no GLX"
                              : facts.vendorNames.empty() ? "none announced"
                                                          : facts.vendorNames});
}

void addApplication(TextTable& table, const SelfCheck& check) {
  table.add({"application display",
             check.applicationName.empty() ? "DISPLAY is not set" : check.applicationName});
  if (!check.application) return;
  addServer(table, *check.application);
  table.add({"  ZOL-V1", yesOrNo(check.application->hasZol)});
  table.add({"  MIT-SHM", yesOrNo(check.application->hasShm)});
}

void addLocal(TextTable& table, const SelfCheck& check) {
  if (!check.localName) return;
  table.add({"local display", check.localName->name});
  table.add({"  named by", describeOrigin(*check.localName, check.settings)});
  if (check.local) addServer(table, *check.local);
}

std::string versionOf(const LibraryLog& log) {
  return log.version.empty() ? "unknown" : log.version + ", " + log.wordSize + " bit";
}

void addLibrary(TextTable& table, const SelfCheck& check) {
  if (!check.gl) return;
  const GLFacts& gl = *check.gl;
  const std::string file = gl.libraryFile();
  table.add({"library", file.empty() ? "NOT LOADED" : file});
  if (!file.empty()) table.add({"  version", versionOf(gl.log)});
  table.add({"  programs start", check.environment->isNeeded ? "with zolrun" : "directly"});
  const char* label = "driver";
  for (const std::string& driver : gl.driverFiles())
    table.add({std::exchange(label, ""), driver});
}

void addRenderer(TextTable& table, const SelfCheck& check) {
  if (!check.gl || check.gl->renderer.empty()) return;
  const GLFacts& gl = *check.gl;
  table.add({"renderer", gl.renderer});
  table.add({"  rendered in", gl.isSoftware() ? "SOFTWARE" : "hardware"});
  table.add({"  GL", joined(gl.version, ", of ", gl.vendor)});
  table.add({"  GLX", "client " + joined(gl.clientVendor, " ", gl.clientVersion) + ", server " +
                          joined(gl.serverVendor, " ", gl.serverVersion) +
                          (gl.isDirect ? ", direct" : ", INDIRECT")});
}

void addVisuals(TextTable& table, const SelfCheck& check) {
  if (!check.gl || check.gl->visuals.empty()) return;
  const size_t local = check.gl->localVisuals();
  table.add({"visuals", std::to_string(check.gl->mappedVisuals()) + " of " +
                            std::to_string(check.gl->visuals.size()) + " are mapped" +
                            (local ? ", to " + std::to_string(local) + " of the local display"
                                   : std::string())});
}

void addProgram(TextTable& table, const SelfCheck& check) {
  const char* const list = listOf(check.program.exclusion);
  table.add({"program", check.program.path});
  table.add({"  excluded", list ? std::string("BY ") + list : "no"});
}

std::string resultOf(const SelfCheck& check) {
  if (!check.isServed()) return "NOT SERVED";
  return std::string("served, rendered in ") + (check.gl->isSoftware() ? "SOFTWARE" : "hardware") +
         " on " + check.localName->name;
}

const char* originKey(LocalDisplayName::Origin origin) {
  switch (origin) {
  case LocalDisplayName::Origin::setting:
    return "setting";
  case LocalDisplayName::Origin::applicationDisplay:
    return "application display";
  case LocalDisplayName::Origin::environment:
    return "DISPLAY";
  case LocalDisplayName::Origin::builtIn:
    break;
  }
  return "default";
}

void writeWords(JsonWriter& json, const char* key, const std::string& text) {
  json.key(key).beginArray();
  std::istringstream words(text);
  for (std::string word; words >> word;)
    json.value(word);
  json.endArray();
}

void writeServer(JsonWriter& json, const std::optional<DisplayFacts>& facts) {
  json.pair("answers", facts.has_value());
  if (!facts) return;
  json.pair("vendor", facts->serverVendor).pair("release", facts->serverRelease);
  json.pair("glx", facts->hasGlx);
  writeWords(json, "vendorNames", facts->vendorNames);
}

void writeDisplays(JsonWriter& json, const SelfCheck& check) {
  json.key("applicationDisplay").beginObject().pair("name", check.applicationName);
  writeServer(json, check.application);
  if (check.application) {
    json.pair("zolV1", check.application->hasZol).pair("mitShm", check.application->hasShm);
  }
  json.endObject();
  json.key("localDisplay");
  if (!check.localName) {
    json.null();
    return;
  }
  json.beginObject()
      .pair("name", check.localName->name)
      .pair("namedBy", originKey(check.localName->origin))
      .pair("source", check.localName->origin == LocalDisplayName::Origin::setting
                          ? nameOf(check.settings["gl-display"].source)
                          : nullptr);
  writeServer(json, check.local);
  json.endObject();
}

void writeLibrary(JsonWriter& json, const SelfCheck& check) {
  const GLFacts& gl = *check.gl;
  json.key("library")
      .beginObject()
      .pair("loaded", !gl.libraryFile().empty())
      .pair("file", gl.libraryFile())
      .pair("version", gl.log.version)
      .pair("wordSize", gl.log.wordSize)
      .pair("needsZolrun", check.environment->isNeeded)
      .endObject();
  json.key("driver").beginObject().pair("name", gl.log.driver).key("files").beginArray();
  for (const std::string& file : gl.driverFiles())
    json.value(file);
  json.endArray().endObject();
}

void writeRenderer(JsonWriter& json, const GLFacts& gl) {
  json.key("renderer");
  if (gl.renderer.empty()) {
    json.null();
  } else {
    json.beginObject()
        .pair("name", gl.renderer)
        .pair("vendor", gl.vendor)
        .pair("version", gl.version)
        .pair("software", gl.isSoftware())
        .pair("direct", gl.isDirect)
        .pair("glxClientVendor", gl.clientVendor)
        .pair("glxClientVersion", gl.clientVersion)
        .pair("glxServerVendor", gl.serverVendor)
        .pair("glxServerVersion", gl.serverVersion)
        .endObject();
  }
  json.key("visuals")
      .beginObject()
      .pair("application", static_cast<int>(gl.visuals.size()))
      .pair("mapped", static_cast<int>(gl.mappedVisuals()))
      .pair("local", static_cast<int>(gl.localVisuals()))
      .endObject();
}

} // namespace

std::string textOf(const SelfCheck& check) {
  TextTable table;
  addApplication(table, check);
  addLocal(table, check);
  addLibrary(table, check);
  addRenderer(table, check);
  addVisuals(table, check);
  addProgram(table, check);
  table.add({"result", resultOf(check)});
  return table.text() + (check.findings.empty() ? "" : "\n" + findingsText(check.findings));
}

std::string jsonOf(const SelfCheck& check) {
  JsonWriter json;
  json.beginObject().pair("version", ZOL_VERSION).pair("served", check.isServed());
  writeDisplays(json, check);
  if (check.gl) {
    writeLibrary(json, check);
    writeRenderer(json, *check.gl);
  } else {
    for (const char* key : {"library", "driver", "renderer", "visuals"})
      json.key(key).null();
  }
  json.key("program")
      .beginObject()
      .pair("path", check.program.path)
      .pair("excludedBy", listOf(check.program.exclusion))
      .endObject();
  writeFindings(json, check.findings);
  return json.endObject().text();
}

} // namespace zol::tools
