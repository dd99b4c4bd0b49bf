// SPDX-License-Identifier: Apache-2.0
// What is known of the terminal that output goes to.
#ifndef ZEB_AGENT_FRONT_CLI_TERMINAL_H
#define ZEB_AGENT_FRONT_CLI_TERMINAL_H

#include <cstddef>
#include <optional>

#include "agent/front/cli/request.h"
#include "agent/render/rates.h"

namespace cli {

// The columns of the terminal at `descriptor`: what COLUMNS says, else what the terminal does, else
// 80. Nothing when it is no terminal.
std::optional<std::size_t> widthOf(int descriptor);

// Whether to write colours to `descriptor`. Left to us, to a terminal only, and not when NO_COLOR
// is set to anything, or when TERM is "dumb", empty or not set.
bool usesColors(Color wanted, int descriptor);

// What trees and bars are drawn with: boxes where the locale (LC_ALL, else LC_CTYPE, else LANG) has
// UTF-8.
render::Signs signsOf();

// The style of tables on standard output.
render::TableStyle styleOf(const ShowRequest& show);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_TERMINAL_H
