// SPDX-License-Identifier: Apache-2.0
// The page that "?" shows in "top".
#ifndef ZEB_AGENT_RENDER_TOP_HELP_H
#define ZEB_AGENT_RENDER_TOP_HELP_H

#include <span>

namespace top {

// Lines of at most 79 columns; those of 79 that don't begin with a blank are titles.
std::span<const char* const> helpLines();

}  // namespace top

#endif  // ZEB_AGENT_RENDER_TOP_HELP_H
