#include "json_writer.h"

#include <cstdio>
#include <utility>

namespace zol::tools {

namespace {

// The length of the UTF-8 character that begins here; 0 when none does.
size_t utf8Length(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  const size_t length = first < 0x80                    ? 1
                        : first >= 0xC2 && first < 0xE0 ? 2
                        : first >= 0xE0 && first < 0xF0 ? 3
                        : first >= 0xF0 && first < 0xF5 ? 4
                                                        : 0;
  if (length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

void appendEscaped(std::string& out, char c) {
  switch (c) {
  case '"':
  case '\\':
    out += '\\';
    out += c;
    return;
  case '\n':
    out += "\\n";
    return;
  case '\t':
    out += "\\t";
    return;
  default:
    break;
  }
  if (static_cast<unsigned char>(c) >= ' ') {
    out += c;
    return;
  }
  char code[8];
  snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned char>(c));
  out += code;
}

} // namespace

std::string jsonQuoted(std::string_view text) {
  std::string out = "\"";
  while (!text.empty()) {
    const size_t length = utf8Length(text);
    if (length > 1) {
      out += text.substr(0, length);
    } else {
      appendEscaped(out, length == 1 ? text[0] : '?');
    }
    text.remove_prefix(length > 1 ? length : 1);
  }
  return out + '"';
}

JsonWriter& JsonWriter::key(std::string_view name) {
  startValue();
  text_ += jsonQuoted(name) + ": ";
  followsKey_ = true;
  return *this;
}

JsonWriter& JsonWriter::value(std::string_view text) {
  return plain(jsonQuoted(text));
}

JsonWriter& JsonWriter::plain(const std::string& token) {
  startValue();
  text_ += token;
  return *this;
}

JsonWriter& JsonWriter::begin(char bracket) {
  startValue();
  text_ += bracket;
  ++depth_;
  isFirst_ = true;
  return *this;
}

JsonWriter& JsonWriter::end(char bracket) {
  --depth_;
  if (!isFirst_) newLine();
  isFirst_ = false;
  text_ += bracket;
  if (depth_ == 0) text_ += '\n';
  return *this;
}

void JsonWriter::startValue() {
  if (std::exchange(followsKey_, false)) return;
  if (depth_ == 0) return;
  if (!isFirst_) text_ += ',';
  isFirst_ = false;
  newLine();
}

void JsonWriter::newLine() {
  text_ += '\n';
  text_.append(depth_ * 2, ' ');
}

} // namespace zol::tools
