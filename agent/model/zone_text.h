// SPDX-License-Identifier: Apache-2.0
// What RFC 3339 writes behind a date and time.
#ifndef ZEB_AGENT_MODEL_ZONE_TEXT_H
#define ZEB_AGENT_MODEL_ZONE_TEXT_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace model {

// Seconds east of Greenwich of "Z", "+02:00" or "-05:30". Nothing for others.
std::optional<std::int64_t> offsetOf(std::string_view zone);

// Without the parts of a second before it: "Z" of ".123Z".
std::string_view withoutFraction(std::string_view zone);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_ZONE_TEXT_H
