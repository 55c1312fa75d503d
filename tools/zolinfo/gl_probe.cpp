#include "gl_probe.h"

#include "probe_process.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

namespace zol::tools {

namespace {

// Many visuals on a slow machine take some seconds.
constexpr std::chrono::seconds kPatience{30};

constexpr char kLibrary[] = "/libGLX_zol.so.0";

// Parts of the names that software renderers give themselves.
constexpr std::array kSoftwareRenderers = {
    "llvmpipe", "softpipe", "swrast", "SWR", "Software Rasterizer", "Basic Render",
};

// The keys of the probe's lines.
struct Field {
  const char* key;
  std::string GLFacts::*text;
};
constexpr Field kFields[] = {
    {"error", &GLFacts::error},
    {"renderer", &GLFacts::renderer},
    {"vendor", &GLFacts::vendor},
    {"version", &GLFacts::version},
    {"client-vendor", &GLFacts::clientVendor},
    {"client-version", &GLFacts::clientVersion},
    {"server-vendor", &GLFacts::serverVendor},
    {"server-version", &GLFacts::serverVersion},
};

VisualFacts readVisual(const std::string& text) {
  VisualFacts visual;
  std::istringstream(text) >> visual.id >> visual.depth >> visual.visualClass >> visual.usesGL >>
      visual.isRgba >> visual.isDoubleBuffered >> visual.alphaSize >> visual.depthSize >>
      visual.stencilSize >> visual.samples;
  return visual;
}

void readLine(const std::string& line, GLFacts& facts) {
  const size_t blank = line.find(' ');
  if (blank == std::string::npos) return;
  const std::string key = line.substr(0, blank);
  const std::string text = line.substr(blank + 1);
  for (const Field& field : kFields) {
    if (key == field.key) facts.*field.text = text;
  }
  if (key == "direct") facts.isDirect = text == "1";
  if (key == "library") facts.vendorLibraries.push_back(text);
  if (key == "visual") facts.visuals.push_back(readVisual(text));
}

std::string howItFailed(const ProbeOutcome& outcome) {
  if (!outcome.inTime) {
    return "a GL program did not get through within " + std::to_string(kPatience.count()) +
           " seconds";
  }
  if (outcome.signal) return std::string("a GL program crashed: ") + strsignal(outcome.signal);
  return "a GL program was ended with status " + std::to_string(outcome.status);
}

// The log files of one process in a folder: "zol-gl.*.PID.log".
std::string logsOf(pid_t pid, const std::string& folder) {
  std::ostringstream text;
  std::error_code failure;
  for (const auto& file : std::filesystem::directory_iterator(folder, failure)) {
    const std::string name = file.path().filename();
    if (name.starts_with("zol-gl.") && name.ends_with("." + std::to_string(pid) + ".log")) {
      text << std::ifstream(file.path()).rdbuf();
    }
  }
  return text.str();
}

} // namespace

GLFacts probeGL(const std::map<std::string, std::string>& environment,
                const std::string& logFolder) {
  auto variables = environment;
  // Lets the library say everything to standard error: no log file can be opened under /dev/null.
  variables["ZOL_GL_VERBOSE"] = "1";
  variables["ZOL_GL_LOG_DIR"] = "/dev/null";
  const ProbeOutcome outcome = runAsProbe(kGLProbeArgument, variables, kPatience);

  GLFacts facts;
  std::istringstream lines(outcome.out);
  for (std::string line; std::getline(lines, line);)
    readLine(line, facts);
  const std::string log = logFolder.empty() ? "" : logsOf(outcome.pid, logFolder);
  facts.log = LibraryLog::parse(outcome.err + "\n" + log);
  const bool isWhole = outcome.out.ends_with("\nend \n");
  if (facts.error.empty() && !isWhole) facts.error = howItFailed(outcome);
  return facts;
}

std::string GLFacts::libraryFile() const {
  const auto found = std::ranges::find_if(
      vendorLibraries, [](const std::string& path) { return path.ends_with(kLibrary); });
  return found == vendorLibraries.end() ? std::string() : *found;
}

std::vector<std::string> GLFacts::driverFiles() const {
  std::vector<std::string> files = vendorLibraries;
  std::erase(files, libraryFile());
  return files;
}

bool GLFacts::isSoftware() const {
  return std::ranges::any_of(kSoftwareRenderers, [&](const char* name) {
    return renderer.find(name) != std::string::npos;
  });
}

size_t GLFacts::mappedVisuals() const {
  return static_cast<size_t>(std::ranges::count_if(visuals, &VisualFacts::usesGL));
}

size_t GLFacts::localVisuals() const {
  std::set<unsigned int> ids;
  for (const auto& [id, mapping] : log.visuals) {
    if (mapping.localVisual) ids.insert(mapping.localVisual);
  }
  return ids.size();
}

} // namespace zol::tools
