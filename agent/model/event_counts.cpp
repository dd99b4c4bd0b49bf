// SPDX-License-Identifier: Apache-2.0
#include "agent/model/event_counts.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "agent/model/exceptions.h"

namespace model {
namespace {

constexpr std::int64_t kHour = 3600;

EventCount kindOf(const SeenBroker& broker, const reader::Event& event, CountBy by) {
  EventCount kind;
  kind.broker = broker.name();
  if (by == CountBy::hour) {
    const std::int64_t time = postedAt(event);
    kind.hour = time - ((time % kHour) + kHour) % kHour;
  } else if (event.origin && by == CountBy::text) {
    kind.text = event.origin->text;
  } else if (event.origin) {
    kind.group = event.origin->executionGroup;
    kind.flow = event.origin->messageFlow;
    kind.node = event.origin->node;
  }
  return kind;
}

auto keyOf(const EventCount& kind) {
  return std::tuple(kind.broker, kind.text, kind.group, kind.flow, kind.node, kind.hour);
}

void add(EventCount& count, std::int64_t time, bool failed) {
  count.first = count.events == 0 ? time : std::min(count.first, time);
  count.last = count.events == 0 ? time : std::max(count.last, time);
  ++count.events;
  if (failed) ++count.failed;
}

std::vector<bool> outermostOf(const std::vector<reader::Event>& events) {
  std::vector<bool> outermost(events.size());
  for (const Exception& exception : exceptionsOf(events)) outermost[exception.event] = true;
  return outermost;
}

}  // namespace

std::int64_t postedAt(const reader::Event& event) {
  return event.time.value_or(event.recordId.created().seconds);
}

std::vector<EventCount> countEvents(const Snapshot& snapshot, CountBy by,
                                    const std::function<bool(const reader::Event&)>& selects) {
  std::map<decltype(keyOf(EventCount())), EventCount> found;
  for (const auto& broker : snapshot.brokers) {
    if (!broker->events) continue;
    const std::vector<reader::Event>& events = broker->events->events;
    const std::vector<bool> outermost = outermostOf(events);
    for (std::size_t i = 0; i < events.size(); ++i) {
      if (!selects(events[i])) continue;
      EventCount kind = kindOf(*broker, events[i], by);
      const auto place = found.try_emplace(keyOf(kind), std::move(kind)).first;
      add(place->second, postedAt(events[i]), outermost[i]);
    }
  }
  std::vector<EventCount> counts;
  for (auto& [key, count] : found) counts.push_back(std::move(count));
  if (by != CountBy::hour) {
    std::ranges::stable_sort(counts, std::ranges::greater(), &EventCount::events);
  }
  return counts;
}

}  // namespace model
