#include "arguments.h"

#include <charconv>

namespace zol::tools {

namespace {

// What the dummy driver takes for a screen's size.
constexpr Geometry kSmallest{64, 128};
constexpr Geometry kLargest{8192, 8192};

} // namespace

std::vector<std::string> Arguments::takeRest() {
  std::vector<std::string> rest(words_.begin() + static_cast<ptrdiff_t>(next_), words_.end());
  next_ = words_.size();
  return rest;
}

bool Arguments::takeFlag(const char* name) {
  if (atEnd() || peek() != name) return false;
  ++next_;
  return true;
}

std::optional<std::string> Arguments::takeValue(const std::string& name) {
  if (atEnd()) return std::nullopt;
  if (name.starts_with("--") && peek().starts_with(name + "=")) {
    return take().substr(name.size() + 1);
  }
  if (!takeFlag(name.c_str())) return std::nullopt;
  if (atEnd()) throw UsageError(name + " needs a value");
  return take();
}

Geometry Geometry::parse(const std::string& text) {
  const size_t cross = text.find('x');
  const auto width = parseNumber(text.substr(0, cross), 99999);
  const auto height =
      cross == std::string::npos ? std::nullopt : parseNumber(text.substr(cross + 1), 99999);
  if (!width || !height) throw UsageError("--geometry " + text + " is not of the form WxH");
  if (*width < kSmallest.width || *height < kSmallest.height || *width > kLargest.width ||
      *height > kLargest.height) {
    throw UsageError("--geometry " + text + " is not between " + toText(kSmallest) + " and " +
                     toText(kLargest));
  }
  return {*width, *height};
}

std::string toText(const Geometry& size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

std::optional<int> parseNumber(const std::string& text, int highest) {
  if (text.empty() || text[0] == '-') return std::nullopt;
  int value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, value);
  if (failure != std::errc() || stop != end || value > highest) return std::nullopt;
  return value;
}

} // namespace zol::tools
