#pragma once

#include "size.h"

#include <string>

namespace zol::bench {

// What zol-frame-watch saw.
struct WatchReport {
  std::string display;
  unsigned long window = 0;
  std::string title;
  Size size;             // of the window
  double firstFrame = 0; // seconds from the start of the program to its first frame
  double seconds = 0;    // measured, from the first frame on
  int frames = 0;        // that reached the window in that time, the first not counted
  std::string png;       // the file written; empty: none

  double framesPerSecond() const { return frames / seconds; }
  std::string asText() const;
  std::string asJson() const;
};

} // namespace zol::bench
