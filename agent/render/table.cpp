// SPDX-License-Identifier: Apache-2.0
#include "agent/render/table.h"

#include <algorithm>

#include "text/printable.h"

namespace render {
namespace {

void endLine(std::string& line) {
  line.erase(line.find_last_not_of(' ') + 1);
  line += '\n';
}

}  // namespace

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {
  for (const Column& column : columns_) widths_.push_back(text::columns(column.title));
}

void Table::addRow(std::vector<std::string> cells) {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    cells[i] = text::printable(cells[i]);
    widths_[i] = std::max(widths_[i], text::columns(cells[i]));
  }
  rows_.push_back({{}, std::move(cells)});
}

void Table::addLine(const std::string& text) {
  rows_.push_back({text::printable(text), {}});
}

std::string Table::formatted(const std::vector<std::string>& cells) const {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) line.append(static_cast<std::size_t>(columns_[i].gap), ' ');
    const std::string blanks(widths_[i] - text::columns(cells[i]), ' ');
    line += columns_[i].right ? blanks + cells[i] : cells[i] + blanks;
  }
  endLine(line);
  return line;
}

std::string Table::groupTitles() const {
  std::string line;
  std::size_t at = 0;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    at += (i > 0 ? static_cast<std::size_t>(columns_[i].gap) : 0);
    if (!columns_[i].group.empty()) {
      line.resize(std::max(at, line.size() + (line.empty() ? 0 : 1)), ' ');
      line += columns_[i].group;
    }
    at += widths_[i];
  }
  if (!line.empty()) endLine(line);
  return line;
}

std::string Table::text() const {
  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(column.title);
  std::string text = groupTitles() + formatted(titles);
  for (const Row& row : rows_) {
    if (row.cells.empty()) {
      text += row.line;
      endLine(text);
    } else {
      text += formatted(row.cells);
    }
  }
  return text;
}

}  // namespace render
