#include "xorg_config.h"

#include <algorithm>
#include <cstdio>

namespace zol::server {

namespace {

// The driver takes pixel clocks from 11 to 300 MHz.
constexpr long kLowestClockKhz = 12'000;
constexpr long kHighestClockKhz = 290'000;
constexpr long kRefreshHz = 60;

// 8192x8192 at four bytes a pixel and a margin for the cursor. The memory is only reserved: it
// costs nothing until a screen of that size is drawn on.
constexpr int kVideoRamKib = 8192 * 8192 * 4 / 1024 + 4096;

// The mode's clock is brought into the driver's range; nobody watches its refresh rate.
std::string modeline(const tools::Geometry& size) {
  const long clockKhz = std::clamp((size.width + 3L) * (size.height + 3L) * kRefreshHz / 1000,
                                   kLowestClockKhz, kHighestClockKhz);
  char line[160];
  snprintf(line, sizeof line, "\"%dx%d\" %ld.%03ld %d %d %d %d %d %d %d %d", size.width,
           size.height, clockKhz / 1000, clockKhz % 1000, size.width, size.width + 1,
           size.width + 2, size.width + 3, size.height, size.height + 1, size.height + 2,
           size.height + 3);
  return line;
}

std::string optionLine(const char* name, const std::string& value) {
  return value.empty() ? "" : std::string("    Option \"") + name + "\" \"" + value + "\"\n";
}

} // namespace

std::string xorgConfig(const tools::Geometry& geometry, const std::string& glDisplay,
                       const std::string& vendorNames) {
  const std::string mode = std::to_string(geometry.width) + "x" + std::to_string(geometry.height);
  // The layout names its input devices, or the server would look for the machine's mouse and
  // keyboard; the "void" driver reads none, and the server lives without it as well.
  return R"(Section "ServerFlags"
  Option "AutoAddDevices" "off"
  Option "AutoEnableDevices" "off"
  Option "AutoAddGPU" "off"
  Option "AutoBindGPU" "off"
  Option "BlankTime" "0"
  Option "StandbyTime" "0"
  Option "SuspendTime" "0"
  Option "OffTime" "0"
EndSection
Section "Module"
  SubSection "zol"
)" + optionLine("GLDisplay", glDisplay) +
         optionLine("VendorNames", vendorNames) + R"(  EndSubSection
EndSection
Section "InputDevice"
  Identifier "pointer"
  Driver "void"
EndSection
Section "InputDevice"
  Identifier "keyboard"
  Driver "void"
EndSection
Section "Device"
  Identifier "device"
  Driver "dummy"
  VideoRam )" +
         std::to_string(kVideoRamKib) + R"(
EndSection
Section "Monitor"
  Identifier "monitor"
  HorizSync 1-10000
  VertRefresh 1-100000
  Modeline )" +
         modeline(geometry) + R"(
EndSection
Section "Screen"
  Identifier "screen"
  Device "device"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Modes ")" +
         mode + R"("
  EndSubSection
EndSection
Section "ServerLayout"
  Identifier "layout"
  Screen "screen"
  InputDevice "pointer" "CorePointer"
  InputDevice "keyboard" "CoreKeyboard"
EndSection
)";
}

} // namespace zol::server
