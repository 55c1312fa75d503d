#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zol::tools {

// What is wrong with a command line, as a sentence that names the option.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The words of a command line, read from left to right.
class Arguments {
public:
  Arguments(int argc, char** argv) : words_(argv + 1, argv + argc) {}

  bool atEnd() const { return next_ == words_.size(); }
  const std::string& peek() const { return words_[next_]; }
  std::string take() { return words_[next_++]; }
  std::vector<std::string> takeRest();

  // True, and the word is taken, when the next word is `name`.
  bool takeFlag(const char* name);

  // The value of `name`, given as "name value" or, for names that begin with two dashes, as
  // "name=value"; nothing when the next word is another one. Throws UsageError when the value is
  // missing.
  std::optional<std::string> takeValue(const std::string& name);

private:
  std::vector<std::string> words_;
  size_t next_ = 0;
};

// The size of a screen in pixels.
struct Geometry {
  int width;
  int height;

  // Reads "WxH". Throws UsageError when it is not of that form or not a size that the server's
  // driver can show.
  static Geometry parse(const std::string& text);
};

std::string toText(const Geometry& size); // "WxH"

// A whole number from 0 to `highest`, digits only.
std::optional<int> parseNumber(const std::string& text, int highest);

} // namespace zol::tools
