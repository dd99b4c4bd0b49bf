// SPDX-License-Identifier: Apache-2.0
// Lines of a screen: text with names for how it is shown. What a name looks like is decided where
// it is written, and the text says the same without it.
#ifndef ZEB_AGENT_RENDER_LINE_H
#define ZEB_AGENT_RENDER_LINE_H

#include <cstddef>
#include <string>
#include <vector>

namespace render {

enum class Attribute {
  plain,
  strong,    // titles, and what rows below belong to
  warning,   // worth a look
  critical,  // messages fail, or nothing is counted
  chosen,    // where the cursor is
  bar,       // a line that ends a part of the screen
};

// A piece of a line that looks alike. Its text is printable.
struct Span {
  std::string text;
  Attribute attribute = Attribute::plain;
};

using Line = std::vector<Span>;

// The terminal's columns that a line takes.
std::size_t columnsOf(const Line& line);

// The line cut to so many columns; a cut one ends in "…". None at all for 0.
Line clipped(const Line& line, std::size_t columns);

// The line with blanks behind it, so that it takes at least so many columns. They look as `blanks`.
Line padded(Line line, std::size_t columns, Attribute blanks);

// The same line with one look for all of it.
Line all(Line line, Attribute attribute);

// As text that ends in a newline and in no blank; with colours as escape sequences, if wanted.
std::string printed(const Line& line, bool colors);

// A printable sentence in lines of at most so many columns; a longer word has a line of its own.
std::vector<std::string> wrapped(const std::string& sentence, std::size_t columns);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_LINE_H
