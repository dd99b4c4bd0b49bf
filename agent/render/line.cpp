// SPDX-License-Identifier: Apache-2.0
#include "agent/render/line.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "text/printable.h"

namespace render {
namespace {

constexpr char kNoColor[] = "\x1B[0m";

// Null for what has no colour.
const char* escapeOf(Attribute attribute) {
  switch (attribute) {
    case Attribute::strong:
    case Attribute::bar:
      return "\x1B[1m";
    case Attribute::warning:
      return "\x1B[33m";
    case Attribute::critical:
      return "\x1B[31m";
    case Attribute::chosen:
      return "\x1B[7m";
    case Attribute::plain:
      break;
  }
  return nullptr;
}

// Blanks at the end go, also those of several spans.
Line ended(Line line) {
  while (!line.empty()) {
    std::string& text = line.back().text;
    text.erase(text.find_last_not_of(' ') + 1);
    if (!text.empty()) break;
    line.pop_back();
  }
  return line;
}

}  // namespace

std::size_t columnsOf(const Line& line) {
  std::size_t sum = 0;
  for (const Span& span : line) sum += text::columns(span.text);
  return sum;
}

Line clipped(const Line& line, std::size_t columns) {
  if (columnsOf(line) <= columns) return line;
  Line part;
  std::size_t left = columns;
  for (const Span& span : line) {
    if (left == 0) break;
    const std::size_t needed = text::columns(span.text);
    const bool isLast = needed >= left;
    part.push_back({isLast ? text::shortened(span.text + "…", left) : span.text, span.attribute});
    left -= std::min(needed, left);
  }
  return part;
}

Line padded(Line line, std::size_t columns, Attribute blanks) {
  const std::size_t taken = columnsOf(line);
  if (taken < columns) line.push_back({std::string(columns - taken, ' '), blanks});
  return line;
}

Line all(Line line, Attribute attribute) {
  for (Span& span : line) span.attribute = attribute;
  return line;
}

std::string printed(const Line& line, bool colors) {
  std::string text;
  for (const Span& span : ended(line)) {
    const char* const escape = colors && !span.text.empty() ? escapeOf(span.attribute) : nullptr;
    text += escape == nullptr ? span.text : escape + span.text + kNoColor;
  }
  return text + '\n';
}

std::vector<std::string> wrapped(const std::string& sentence, std::size_t columns) {
  std::istringstream words(sentence);
  std::vector<std::string> lines;
  std::size_t used = 0;
  for (std::string word; words >> word;) {
    const std::size_t needed = text::columns(word);
    const bool breaks = lines.empty() || (used > 0 && used + 1 + needed > columns);
    if (breaks) {
      lines.emplace_back(std::move(word));
      used = needed;
      continue;
    }
    lines.back() += " " + word;
    used += 1 + needed;
  }
  return lines;
}

}  // namespace render
