// SPDX-License-Identifier: Apache-2.0
// What is wrong with a text that is no TOML, in the words of the other findings.
#ifndef ZEB_FLOWFILE_SYNTAX_H
#define ZEB_FLOWFILE_SYNTAX_H

#include <string>
#include <string_view>

namespace flowfile {

// A finding's text for what the parser says of the first error. What is not known here is passed
// on.
std::string syntaxText(std::string_view parser);

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_SYNTAX_H
