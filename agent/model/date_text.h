// SPDX-License-Identifier: Apache-2.0
// A date and time as RFC 3339 and people write it.
#ifndef ZEB_AGENT_MODEL_DATE_TEXT_H
#define ZEB_AGENT_MODEL_DATE_TEXT_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace model {

struct DateText {
  std::int64_t civil = 0;              // seconds since 1970, as if the zone were UTC
  std::optional<std::int64_t> offset;  // seconds east of Greenwich; nothing: no zone is named
};

// "2026-01-31T23:59:58Z" or "...58.25+02:00", where parts of a second are left out; also with a
// blank for the T, and without zone, seconds, or time. Nothing for others.
std::optional<DateText> parseDate(std::string_view text);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_DATE_TEXT_H
