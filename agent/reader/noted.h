// SPDX-License-Identifier: Apache-2.0
// The directories of hosts in which the plug-in was enabled.
#ifndef ZEB_AGENT_READER_NOTED_H
#define ZEB_AGENT_READER_NOTED_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace reader {

inline constexpr std::size_t kMostOfNotes = 1 << 16;

// The absolute paths that are lines of a text, in their order. What can't be one is passed over.
std::vector<std::string> notedIn(std::string_view text);

}  // namespace reader

#endif  // ZEB_AGENT_READER_NOTED_H
