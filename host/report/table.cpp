// SPDX-License-Identifier: Apache-2.0
#include "host/report/table.h"

#include <algorithm>

#include "text/printable.h"

namespace host {
namespace {

std::vector<std::size_t> widthsOf(const Rows& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], text::columns(row[i]));
    }
  }
  return widths;
}

}  // namespace

std::string table(const Rows& rows, std::size_t left) {
  Rows shown = rows;
  for (auto& row : shown) {
    for (std::string& cell : row) cell = text::printable(cell);
  }
  const std::vector<std::size_t> widths = widthsOf(shown);
  std::string lines;
  for (const auto& row : shown) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - text::columns(row[i]), ' ');
      line += (i == 0 ? "" : "  ") + (i < left ? row[i] + blanks : blanks + row[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    lines += line + "\n";
  }
  return lines;
}

}  // namespace host
