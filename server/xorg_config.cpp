#include "xorg_config.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace zol::server {

namespace {

// The driver takes pixel clocks from 11 to 300 MHz.
constexpr long kLowestClockKhz = 12'000;
constexpr long kHighestClockKhz = 290'000;
constexpr long kRefreshHz = 60;

// 8192x8192 at four bytes a pixel and a margin for the cursor; RANDR refuses what needs more. The
// memory is only reserved: it costs nothing until a screen of that size is drawn on.
constexpr int kVideoRamKib = 8192 * 8192 * 4 / 1024 + 4096;

// What RANDR offers besides the size that was asked for: common screens, two and three of them side
// by side, and the largest. The server adds its own list of sizes up to that of the first mode.
constexpr tools::Geometry kSizes[] = {
    {640, 480},   {800, 600},   {1024, 768},  {1152, 864},  {1280, 720},  {1280, 800},
    {1280, 1024}, {1366, 768},  {1440, 900},  {1600, 900},  {1600, 1200}, {1680, 1050},
    {1920, 1080}, {1920, 1200}, {2048, 1536}, {2560, 1080}, {2560, 1440}, {2560, 1600},
    {3440, 1440}, {3840, 1080}, {3840, 1200}, {3840, 1600}, {3840, 2160}, {5120, 1440},
    {5120, 2880}, {5760, 1080}, {5760, 1200}, {7680, 1440}, {7680, 2160}, {7680, 4320},
    {8192, 8192},
};

// The mode's clock is brought into the driver's range; nobody watches its refresh rate.
std::string modeline(const tools::Geometry& size) {
  const long clockKhz = std::clamp((size.width + 3L) * (size.height + 3L) * kRefreshHz / 1000,
                                   kLowestClockKhz, kHighestClockKhz);
  char line[160];
  snprintf(line, sizeof line, "  Modeline \"%dx%d\" %ld.%03ld %d %d %d %d %d %d %d %d\n",
           size.width, size.height, clockKhz / 1000, clockKhz % 1000, size.width, size.width + 1,
           size.width + 2, size.width + 3, size.height, size.height + 1, size.height + 2,
           size.height + 3);
  return line;
}

bool isSame(const tools::Geometry& one, const tools::Geometry& other) {
  return one.width == other.width && one.height == other.height;
}

// The sizes to offer, the one to start with first.
std::vector<tools::Geometry> offeredSizes(const tools::Geometry& first) {
  std::vector<tools::Geometry> sizes = {first};
  for (const tools::Geometry& size : kSizes) {
    if (!isSame(size, first)) sizes.push_back(size);
  }
  return sizes;
}

std::string optionLine(const char* name, const std::string& value) {
  return value.empty() ? "" : std::string("    Option \"") + name + "\" \"" + value + "\"\n";
}

} // namespace

std::string xorgConfig(const tools::Geometry& geometry, const std::string& glDisplay,
                       const std::string& vendorNames) {
  std::string modelines;
  std::string modes;
  for (const tools::Geometry& size : offeredSizes(geometry)) {
    modelines += modeline(size);
    modes += " \"" + tools::toText(size) + "\"";
  }
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
)" + modelines +
         R"(  Option "PreferredMode" ")" + tools::toText(geometry) + R"("
EndSection
Section "Screen"
  Identifier "screen"
  Device "device"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Modes)" +
         modes + R"(
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
