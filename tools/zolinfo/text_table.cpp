#include "text_table.h"

#include <algorithm>

namespace zol::tools {

std::string TextTable::text() const {
  std::vector<size_t> widths;
  for (const Line& line : lines_) {
    widths.resize(std::max(widths.size(), line.size()));
    for (size_t i = 0; i + 1 < line.size(); ++i)
      widths[i] = std::max(widths[i], line[i].size());
  }
  std::string out;
  for (const Line& line : lines_) {
    for (size_t i = 0; i < line.size(); ++i) {
      out += line[i];
      if (i + 1 < line.size()) out.append(widths[i] - line[i].size() + 2, ' ');
    }
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
  }
  return out;
}

} // namespace zol::tools
