// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "agent/model/pattern.h"
#include "agent/render/event_screens.h"
#include "agent/render/put_time.h"
#include "agent/render/screens.h"
#include "agent/render/values.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using text::printable;
using text::shortened;

constexpr char kNoTemplate[] = "(template overwritten)";

constexpr char kLeftOut[] = "(left out)";

// Nodes post no empty texts: somebody left it out of a file, with what is of the message.
bool isRedacted(const reader::Event& event) {
  if (!event.origin) return false;
  return event.origin->isException() ? event.origin->failure().empty() : event.origin->text.empty();
}

std::string padded(std::string text, std::size_t width) {
  const std::size_t taken = text::columns(text);
  if (taken < width) text.append(width - taken, ' ');
  return text;
}

// The event's own time; the milliseconds come from its record ID, made at the same moment.
std::optional<std::uint32_t> millisecondsOf(const reader::Event& event) {
  const reader::Stamp created = event.recordId.created();
  const bool same = event.time && *event.time == created.seconds;
  return same ? std::optional(created.milliseconds) : std::nullopt;
}

std::string timeOf(const reader::Event& event, Zone zone) {
  return event.time ? dateAndTime(*event.time, zone, millisecondsOf(event)) : kMissing;
}

std::string placeOf(const reader::Event& event) {
  if (!event.origin) return kNoTemplate;
  return fmt::format("{}/{}/{}", shortened(event.origin->executionGroup, 30),
                     shortened(event.origin->messageFlow, 30), shortened(event.origin->node, 30));
}

bool allZero(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

// "put 2026-11-21 04:09:31.120Z by order-entry, ", as far as it is known.
std::string putOf(const reader::Event& event, Zone zone) {
  const std::string put = putText(event, zone);
  std::string text = put.empty() ? "" : "put " + put;
  if (!event.putApplicationName.empty()) {
    text += (put.empty() ? "put by " : " by ") + printable(event.putApplicationName);
  }
  return text.empty() ? "" : text + ", ";
}

// Widths of the short form's columns, which a blank parts.
struct EventLanes {
  std::size_t time = 0;
  std::size_t place = 0;
  std::size_t put = 0;
  std::size_t text = std::string::npos;  // what is left
};

// A terminal that is wider than 80 gives half of that to the place.
EventLanes lanesOf(const ShortStyle& style) {
  constexpr std::size_t kNarrow = 80;
  constexpr std::size_t kThread = 8;
  constexpr std::size_t kLeastText = 12;
  const bool utc = style.zone == Zone::utc;
  EventLanes lanes{.time = utc ? 13U : 18U, .place = 18, .put = utc ? 9U : 14U};
  if (!style.width) return lanes;
  lanes.place = utc ? 18 : 14;
  if (*style.width > kNarrow)
    lanes.place += std::min<std::size_t>((*style.width - kNarrow) / 2, 40);
  const std::size_t taken = lanes.time + lanes.place + lanes.put + kThread + 4;
  lanes.text = std::max(kLeastText, *style.width - std::min(*style.width, taken));
  return lanes;
}

std::string timeOfDay(const reader::Event& event, Zone zone) {
  return event.time ? timeOnly(*event.time, zone, millisecondsOf(event)) : kMissing;
}

// Flow and node where both fit, else the node alone.
std::string shortPlace(const reader::Event& event, const ShortStyle& style, std::size_t width) {
  if (!event.origin) return kMissing;
  const std::string both =
      printable(event.origin->messageFlow) + "/" + printable(event.origin->node);
  if (!style.width || text::columns(both) <= width) return both;
  return shortened(event.origin->node, width);
}

std::string shortText(const reader::Event& event) {
  if (!event.origin) return kNoTemplate;
  if (isRedacted(event)) return event.origin->isException() ? "! (left out)" : kLeftOut;
  const std::string failure(event.origin->failure());
  return failure.empty() ? event.origin->text : "! " + failure;
}

std::string joined(const EventLanes& lanes, std::string time, std::string place, std::string put,
                   const std::string& thread, const std::string& text) {
  std::string line = padded(std::move(time), lanes.time) + " " +
                     padded(std::move(place), lanes.place) + " " +
                     padded(std::move(put), lanes.put) + " " + thread + " " + text;
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

}  // namespace

std::string eventsHeader(const model::SeenBroker& broker) {
  return fmt::format("Broker {}\n{:<24}  {:<9}  {}\n", nameOf(broker), "time", "kind", "node");
}

std::string eventLines(const reader::Event& event, Zone zone) {
  std::string text = fmt::format("{}  {:<9}  {}\n", padded(timeOf(event, zone), 24),
                                 kindName(event.kind()), placeOf(event));
  const bool redacted = isRedacted(event);
  if (event.origin) {
    text += "    " + printable(event.origin->text) + (redacted ? kLeftOut : "") + "\n";
  }
  text += "    " + putOf(event, zone) + "thread " + threadText(event) + "\n";
  text += "    message " +
          (redacted && allZero(event.messageId) ? std::string(kLeftOut) : hex(event.messageId)) +
          "\n";
  if (!allZero(event.correlationId)) text += "    correlation " + hex(event.correlationId) + "\n";
  return text;
}

std::string threadText(const reader::Event& event) {
  return fmt::format("{:08X}", static_cast<std::uint32_t>(event.threadId));
}

std::string dayOf(const reader::Event& event, Zone zone) {
  return dateOnly(model::postedAt(event), zone);
}

std::string shortHeader(const model::SeenBroker& broker, const std::string& day,
                        const ShortStyle& style) {
  return fmt::format("Broker {}, {}\n", nameOf(broker), day) +
         joined(lanesOf(style), "time", "node", "put", "thread  ", "text");
}

std::string shortLine(const reader::Event& event, const ShortStyle& style) {
  const EventLanes lanes = lanesOf(style);
  const std::string text = shortText(event);
  return joined(lanes, timeOfDay(event, style.zone), shortPlace(event, style, lanes.place),
                shortPutText(event, style.zone), threadText(event),
                style.width ? shortened(text, lanes.text) : printable(text));
}

bool shows(const reader::Event& event, const std::string& pattern) {
  if (model::isIn(pattern, printable(event.putApplicationName))) return true;
  if (!event.origin) return false;
  const reader::EventTemplate& origin = *event.origin;
  return model::isIn(pattern, printable(origin.text)) ||
         model::isIn(pattern, printable(origin.executionGroup + "/" + origin.messageFlow + "/" +
                                        origin.node));
}

}  // namespace render
