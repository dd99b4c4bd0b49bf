// SPDX-License-Identifier: Apache-2.0
// How deep the tables and arrays of a TOML text go, found without recursion.
#ifndef ZEB_FLOWFILE_DEPTH_H
#define ZEB_FLOWFILE_DEPTH_H

#include <optional>
#include <string_view>

#include "flowfile/finding.h"

namespace flowfile {

// Parts of one key, and levels of nesting in one value, that a text may have. The parser of TOML
// recurses over both, so a text that has more must not reach it.
inline constexpr unsigned kDeepest = 100;

// Where a text goes deeper than that, or nothing. The parts of a key count as levels for what
// is in its value. A text that is no TOML may give either answer.
std::optional<Finding> tooDeep(std::string_view toml);

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_DEPTH_H
