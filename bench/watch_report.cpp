#include "watch_report.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace zol::bench {

namespace {

[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...) {
  va_list arguments;
  va_start(arguments, pattern);
  char* text = nullptr;
  const int length = vasprintf(&text, pattern, arguments);
  va_end(arguments);
  if (length < 0) return {};
  std::string result = text;
  free(text);
  return result;
}

// A string of JSON. Window titles are bytes of an unknown character set: what is not ASCII is
// replaced.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (byte < 0x20) {
      result += format("\\u%04x", byte);
    } else {
      result += byte < 0x7f ? c : '?';
    }
  }
  return result + '"';
}

} // namespace

std::string WatchReport::asText() const {
  std::string text = format("window 0x%lx \"%s\" on %s, %dx%d\n"
                            "first frame %.2f s after the start\n"
                            "%d frames in %.2f s reached the window: %.1f per second\n",
                            window, title.c_str(), display.c_str(), size.width, size.height,
                            firstFrame, frames, seconds, framesPerSecond());
  if (!png.empty()) text += "picture: " + png + "\n";
  return text;
}

std::string WatchReport::asJson() const {
  return format("{\"display\": %s, \"window\": %lu, \"title\": %s, "
                "\"width\": %d, \"height\": %d, \"first_frame_seconds\": %.3f, "
                "\"seconds\": %.3f, \"frames\": %d, \"frames_per_second\": %.3f, \"png\": %s}\n",
                quoted(display).c_str(), window, quoted(title).c_str(), size.width, size.height,
                firstFrame, seconds, frames, framesPerSecond(),
                png.empty() ? "null" : quoted(png).c_str());
}

} // namespace zol::bench
