#pragma once

#include <string>

namespace zol::server {

// The last part of a stream of text.
class Tail {
public:
  void append(const char* text, size_t size);
  const std::string& text() const { return text_; }

private:
  std::string text_;
};

// Why the X.Org server gave up, as lines for the user: the reason it wrote to `standardError` and
// the errors of `log` that led there.
std::string failureReport(const std::string& standardError, const std::string& log);

} // namespace zol::server
