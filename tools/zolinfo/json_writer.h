#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zol::tools {

// Writes one JSON text, a value a line. Inside objects, key() goes before each value.
class JsonWriter {
public:
  JsonWriter& beginObject() { return begin('{'); }
  JsonWriter& endObject() { return end('}'); }
  JsonWriter& beginArray() { return begin('['); }
  JsonWriter& endArray() { return end(']'); }

  JsonWriter& key(std::string_view name);
  JsonWriter& value(std::string_view text);
  JsonWriter& value(const char* text) { return text ? value(std::string_view(text)) : null(); }
  JsonWriter& value(bool flag) { return plain(flag ? "true" : "false"); }
  JsonWriter& value(int number) { return plain(std::to_string(number)); }
  JsonWriter& null() { return plain("null"); }

  template <class Value>
  JsonWriter& pair(std::string_view name, const Value& content) {
    return key(name).value(content);
  }

  const std::string& text() const { return text_; }

private:
  JsonWriter& begin(char bracket);
  JsonWriter& end(char bracket);
  JsonWriter& plain(const std::string& token);
  void startValue();
  void newLine();

  std::string text_;
  size_t depth_ = 0;
  bool isFirst_ = true; // in the innermost object or array
  bool followsKey_ = false;
};

// The text in double quotes, with what JSON forbids in it escaped. Bytes that are no UTF-8 become
// question marks.
std::string jsonQuoted(std::string_view text);

} // namespace zol::tools
