#pragma once

#include <string>
#include <vector>

namespace zol::tools {

// Lines of cells in columns that are as wide as their widest cell, two blanks apart. The last cell
// of a line is not padded.
class TextTable {
public:
  using Line = std::vector<std::string>;

  void add(Line line) { lines_.push_back(std::move(line)); }
  std::string text() const;

private:
  std::vector<Line> lines_;
};

} // namespace zol::tools
