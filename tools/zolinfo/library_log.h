#pragma once

#include <map>
#include <string>
#include <vector>

namespace zol::tools {

// What the library said in its log at level debug.
struct LibraryLog {
  // What became of one of the application display's visuals.
  struct Mapping {
    unsigned int fbconfig = 0; // ids on the local display; 0 where it was dropped
    unsigned int localVisual = 0;
    std::string droppedBecause;
  };

  std::string version;                 // "0.1.0 (fad2846)"; empty when the library was not loaded
  std::string wordSize;                // "64"
  std::string driver;                  // the vendor library that renders: "libGLX_mesa.so.0"
  std::vector<std::string> complaints; // errors and warnings, the driver's too; each once
  std::map<unsigned int, Mapping> visuals;

  // Picks the library's records out of all that a program wrote.
  static LibraryLog parse(const std::string& text);

private:
  void complain(const std::string& text);
};

} // namespace zol::tools
