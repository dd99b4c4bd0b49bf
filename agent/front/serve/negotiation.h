// SPDX-License-Identifier: Apache-2.0
// What a client can read, as its Accept headers tell. Lists that make no sense ask for nothing.
#ifndef ZEB_AGENT_FRONT_SERVE_NEGOTIATION_H
#define ZEB_AGENT_FRONT_SERVE_NEGOTIATION_H

#include <string_view>

#include "agent/render/metrics.h"

namespace serve {

// OpenMetrics when the list names it, in version 1.0.0 or in none, with a weight above 0 that is at
// least that of plain text. Else text 0.0.4, also when that is not in the list: a scraper gets
// more from it than from a refusal.
render::Exposition expositionFor(std::string_view accept);

// Whether gzip has a weight above 0, by its name or else by "*".
bool takesGzip(std::string_view acceptEncoding);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_NEGOTIATION_H
