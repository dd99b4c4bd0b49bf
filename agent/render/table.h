// SPDX-License-Identifier: Apache-2.0
// Aligned columns.
#ifndef ZEB_AGENT_RENDER_TABLE_H
#define ZEB_AGENT_RENDER_TABLE_H

#include <string>
#include <vector>

namespace render {

// Every text that is added is made printable: one line stays one line, whatever is in it.
class Table {
 public:
  struct Column {
    std::string title;
    bool right = false;      // numbers stand right
    std::string group = {};  // a title above this column and those that follow without one
    int gap = 2;             // blanks before the column
  };

  explicit Table(std::vector<Column> columns);

  // As many cells as there are columns.
  void addRow(std::vector<std::string> cells);

  // A line of its own, which no column is made wider for.
  void addLine(const std::string& text);

  // Every line ends in a newline and in no blank.
  std::string text() const;

 private:
  struct Row {
    std::string line;  // when there are no cells
    std::vector<std::string> cells;
  };

  std::string formatted(const std::vector<std::string>& cells) const;
  std::string groupTitles() const;

  std::vector<Column> columns_;
  std::vector<std::size_t> widths_;
  std::vector<Row> rows_;
};

}  // namespace render

#endif  // ZEB_AGENT_RENDER_TABLE_H
