// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "agent/render/screens.h"
#include "agent/render/values.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using text::printable;
using text::shortened;

std::string padded(std::string text, std::size_t width) {
  const std::size_t taken = text::columns(text);
  if (taken < width) text.append(width - taken, ' ');
  return text;
}

// The event's own time; the milliseconds come from its record ID, made at the same moment.
std::string timeOf(const reader::Event& event, Zone zone) {
  if (!event.time) return kMissing;
  const reader::Stamp created = event.recordId.created();
  if (*event.time != created.seconds) return dateAndTime(*event.time, zone);
  return dateAndTime(*event.time, zone, created.milliseconds);
}

std::string placeOf(const reader::Event& event) {
  if (!event.origin) return "(template overwritten)";
  return fmt::format("{}/{}/{}", shortened(event.origin->executionGroup, 30),
                     shortened(event.origin->messageFlow, 30), shortened(event.origin->node, 30));
}

bool allZero(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

std::string eventsHeader(const model::SeenBroker& broker) {
  return fmt::format("Broker {}\n{:<24}  {:<9}  {:<38}  {}\n", nameOf(broker), "time", "kind",
                     "node", "application, put");
}

std::string eventLines(const reader::Event& event, Zone zone) {
  std::string application = shortened(event.putApplicationName, 28);
  if (!event.putDate.empty()) application += " " + printable(event.putDate);
  if (!event.putTime.empty()) application += " " + printable(event.putTime);
  std::string text = fmt::format("{}  {:<9}  {}  {}\n", padded(timeOf(event, zone), 24),
                                 kindName(event.kind()), padded(placeOf(event), 38), application);
  if (event.origin) text += "    " + printable(event.origin->text) + "\n";
  text += fmt::format("    message {}  thread {}\n", hex(event.messageId), event.threadId);
  if (!allZero(event.correlationId)) text += "    correlation " + hex(event.correlationId) + "\n";
  return text;
}

}  // namespace render
