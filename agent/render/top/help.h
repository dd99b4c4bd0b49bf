// SPDX-License-Identifier: Apache-2.0
// The page that "?" shows in "top".
#ifndef ZEB_AGENT_RENDER_TOP_HELP_H
#define ZEB_AGENT_RENDER_TOP_HELP_H

#include <span>

namespace top {

// Lines of at most 80 columns. Those that don't begin with a blank are titles, or remarks at the
// end.
std::span<const char* const> helpLines();

}  // namespace top

#endif  // ZEB_AGENT_RENDER_TOP_HELP_H
