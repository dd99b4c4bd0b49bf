// SPDX-License-Identifier: Apache-2.0
// A moment as the command line names it.
#ifndef ZEB_AGENT_FRONT_CLI_SINCE_H
#define ZEB_AGENT_FRONT_CLI_SINCE_H

#include <cstdint>
#include <optional>
#include <string>

#include "agent/render/values.h"

namespace cli {

struct Since {
  enum class Kind {
    time,   // seconds since 1970
    civil,  // the same in a zone that is not named
    clock,  // seconds since midnight in such a zone: the last time that it was so late
    age,    // seconds before the look
  };
  Kind kind = Kind::time;
  std::int64_t seconds = 0;

  // In seconds since 1970, for a look at `now`; a zone that is not named is `zone`.
  std::int64_t at(std::int64_t now, render::Zone zone = render::Zone::utc) const;

  bool operator==(const Since&) const = default;
};

// How they are named, for --help and for complaints.
inline constexpr char kMoments[] =
    "2026-01-31T23:59:58Z, 2026-01-31 23:59, 23:59, now, or so long ago: 90s, 15m, 12h, 7d";

// "2026-01-31T23:59:58Z", "...58+02:00" (RFC 3339; parts of a second are left out; also with a
// blank for the T, and without zone, seconds, or time), "23:59", "now", or an age: "90s", "15m",
// "12h", "7d", also as "-2h". Nothing when the text is none of these.
std::optional<Since> parseSince(const std::string& text);

// As an option of the command line takes it: ends the parsing when the text is none of these.
Since momentOf(const char* option, const std::string& text);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_SINCE_H
