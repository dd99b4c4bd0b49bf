// SPDX-License-Identifier: Apache-2.0
// When a message was put into its queue, as its descriptor says: two texts that may hold anything.
#ifndef ZEB_AGENT_RENDER_PUT_TIME_H
#define ZEB_AGENT_RENDER_PUT_TIME_H

#include <cstdint>
#include <optional>
#include <string>

#include "agent/reader/events.h"
#include "agent/render/values.h"

namespace render {

struct PutTime {
  std::int64_t seconds = 0;  // since 1970
  std::uint32_t hundredths = 0;

  bool operator==(const PutTime&) const = default;
};

// Nothing unless the texts are a date "YYYYMMDD" and a time of that day "HHMMSSTH", which are UTC.
std::optional<PutTime> putTimeOf(const reader::Event& event);

// "2026-11-21 04:09:31.120Z". What is no date and time is shown as it was stored; empty when both
// texts are.
std::string putText(const reader::Event& event, Zone zone);

// In 9 columns, or 14 in a local zone: of the event's own day "04:09:31Z", of another one "11-20Z".
// "-" when it is no date and time.
std::string shortPutText(const reader::Event& event, Zone zone);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_PUT_TIME_H
