// SPDX-License-Identifier: Apache-2.0
// Names as users write them on a command line.
#ifndef ZEB_AGENT_MODEL_PATTERN_H
#define ZEB_AGENT_MODEL_PATTERN_H

#include <string_view>

namespace model {

// Whether `pattern` means `name`: it is the same text, or its stars stand for any bytes, none
// included. Nothing else is special, and case counts. An empty pattern means every name. Takes
// time in proportion to the two lengths, whatever they hold.
bool matches(std::string_view pattern, std::string_view name);

// Whether `pattern` is anywhere in `text`. Stars as above; the case of ASCII letters doesn't count.
// Time in proportion likewise.
bool isIn(std::string_view pattern, std::string_view text);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_PATTERN_H
