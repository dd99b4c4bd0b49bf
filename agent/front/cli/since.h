// SPDX-License-Identifier: Apache-2.0
// A moment as the command line names it.
#ifndef ZEB_AGENT_FRONT_CLI_SINCE_H
#define ZEB_AGENT_FRONT_CLI_SINCE_H

#include <cstdint>
#include <optional>
#include <string>

namespace cli {

struct Since {
  enum class Kind { time, age };
  Kind kind = Kind::time;
  std::int64_t seconds = 0;  // since 1970, or before the look

  // In seconds since 1970, for a look at `now`.
  std::int64_t at(std::int64_t now) const { return kind == Kind::time ? seconds : now - seconds; }

  bool operator==(const Since&) const = default;
};

// "2026-01-31T23:59:58Z" (also with a blank for the T, without the Z and without the time; always
// UTC), or an age: "90s", "15m", "12h", "7d". Nothing when the text is neither.
std::optional<Since> parseSince(const std::string& text);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_SINCE_H
