#pragma once

#include "library_log.h"

#include <map>
#include <string>
#include <vector>

namespace zol::tools {

// A visual of the application display as a GL program sees it.
struct VisualFacts {
  unsigned int id = 0;
  int depth = 0;
  std::string visualClass; // "TrueColor"
  // From glXGetConfig, so of the local visual behind it; 0 without GL.
  bool usesGL = false;
  bool isRgba = false;
  bool isDoubleBuffered = false;
  int alphaSize = 0;
  int depthSize = 0;
  int stencilSize = 0;
  int samples = 0;
};

// What a GL program on the application display finds out.
struct GLFacts {
  std::string error; // why there is no renderer; empty where there is one

  std::string renderer;
  std::string vendor;
  std::string version;
  bool isDirect = false;
  std::string clientVendor; // GLX strings
  std::string clientVersion;
  std::string serverVendor;
  std::string serverVersion;

  std::vector<std::string> vendorLibraries; // files of GLVND vendor libraries in the process
  std::vector<VisualFacts> visuals;
  LibraryLog log;

  // The file of the library; empty when it is not loaded.
  std::string libraryFile() const;
  std::vector<std::string> driverFiles() const; // the other vendor libraries
  bool isSoftware() const;
  size_t mappedVisuals() const;
  size_t localVisuals() const; // how many different ones stand behind them; 0 where not known
};

// Asks in a process of its own, with these changes to the environment. `logFolder` is where an
// admin file makes the library write its log, empty for nowhere.
GLFacts probeGL(const std::map<std::string, std::string>& environment,
                const std::string& logFolder);

// What that process does: writes what it finds out to standard output, and returns its exit status.
int runGLProbe();
inline constexpr char kGLProbeArgument[] = "--probe-gl"; // not for users

} // namespace zol::tools
