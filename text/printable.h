// SPDX-License-Identifier: Apache-2.0
// Texts from outside, made fit for people: labels, file names, values, whatever a message quotes.
#ifndef ZEB_TEXT_PRINTABLE_H
#define ZEB_TEXT_PRINTABLE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace text {

// The text as a terminal, a page or JSON may get it: well-formed UTF-8 on one line, without a
// character that moves the cursor, changes colours, hides, or turns the direction of writing.
//
// Such a character is shown as "\x1B", "\u202E" or "\U000E0041", and so is a byte that is no UTF-8.
// A backslash is shown as it is: the result is for the eye and can't be turned back. What is
// printable already comes back unchanged.
std::string printable(std::string_view bytes);

// How many columns a terminal needs for a printable text: 0 for a combining character, 2 for a
// wide one.
std::size_t columns(std::string_view printable);

// The text made printable and cut to so many columns. A cut one ends in "…". At least 1 column.
std::string shortened(std::string_view bytes, std::size_t mostColumns);

}  // namespace text

#endif  // ZEB_TEXT_PRINTABLE_H
