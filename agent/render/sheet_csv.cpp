// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include "agent/render/sheet.h"
#include "text/printable.h"

namespace render {
namespace {

struct Field {
  std::string operator()(Missing) const { return {}; }
  std::string operator()(Unreadable) const { return kUnreadable; }
  std::string operator()(const std::string& text) const { return quoted(text::printable(text)); }
  std::string operator()(const Moment& moment) const { return isoTime(moment.seconds); }
  std::string operator()(auto number) const { return fmt::to_string(number); }

  static std::string quoted(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == text.npos) return text;
    std::string field = "\"";
    for (const char c : text) field += c == '"' ? std::string("\"\"") : std::string(1, c);
    return field + '"';
  }
};

}  // namespace

std::string csvOf(const Sheet& sheet, bool titles) {
  std::string text;
  const auto add = [&text](const std::string& field, bool first) {
    if (!first) text += ',';
    text += field;
  };
  if (titles) {
    for (const Column& column : sheet.columns) add(column.name, &column == &sheet.columns.front());
    text += '\n';
  }
  for (const Row& row : sheet.rows) {
    if (row.cells.empty()) continue;
    for (const Cell& cell : row.cells) {
      add(std::visit(Field(), cell.value), &cell == &row.cells.front());
    }
    text += '\n';
  }
  return text;
}

}  // namespace render
