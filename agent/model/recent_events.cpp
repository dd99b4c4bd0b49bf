// SPDX-License-Identifier: Apache-2.0
#include "agent/model/recent_events.h"

#include <algorithm>

#include "agent/model/exceptions.h"
#include "agent/model/ring_reach.h"

namespace model {
namespace {

// How long ago an event was posted, as its own time says.
std::chrono::seconds ageOf(const reader::Event& event, std::int64_t now) {
  const std::int64_t limit = RecentEvents::kWindow.count();
  if (!event.time || *event.time >= now) return {};
  return std::chrono::seconds(*event.time < now - limit ? limit : now - *event.time);
}

std::size_t countIn(const std::map<std::vector<std::string>, std::size_t>& counts,
                    const std::vector<std::string>& place) {
  const auto found = counts.find(place);
  return found == counts.end() ? 0 : found->second;
}

}  // namespace

void RecentEvents::add(const Snapshot& look) {
  now_ = look.steady;
  for (const auto& broker : look.brokers) {
    if (broker->events) add(*broker, look);
  }
  forget();
  count();
}

void RecentEvents::add(const SeenBroker& broker, const Snapshot& look) {
  const bool isFirst = known_.insert(broker.segment.keyFile).second;
  if (broker.events->overrun) lowUntil_ = now_ + kWindow;
  if (isFirst) doubt(ringReach(broker, secondsOf(look)));
  const std::string label = broker.label();
  for (const reader::Event& event : broker.events->events) {
    const auto age = isFirst ? ageOf(event, secondsOf(look)) : std::chrono::seconds();
    auto& kept = event.kind() == reader::EventKind::exception ? exceptions_ : others_;
    kept.push_back({added_++, broker.segment.keyFile, label, event, now_ + kWindow - age});
    if (others_.size() > kMost) others_.pop_front();
  }
}

// Until all of the window was looked at, what the ring had lost by the first look is missing.
void RecentEvents::doubt(const std::optional<std::chrono::seconds>& reach) {
  if (reach && *reach < kWindow) lowUntil_ = std::max(lowUntil_, now_ + kWindow - *reach);
}

void RecentEvents::forget() {
  for (; exceptions_.size() > kMost; exceptions_.pop_front()) {
    lowUntil_ = std::max(lowUntil_, exceptions_.front().until);
  }
}

void RecentEvents::count() {
  counts_.clear();
  std::map<std::string, std::vector<reader::Event>> events;  // by key file
  for (const Posted& posted : exceptions_) {
    if (posted.until > now_) events[posted.keyFile].push_back(posted.event);
  }
  for (const auto& [keyFile, posted] : events) {
    for (const reader::Event& event : posted) {
      const reader::EventTemplate& origin = *event.origin;
      ++counts_[{keyFile, origin.executionGroup, origin.messageFlow, origin.node}];
    }
    for (const Exception& exception : exceptionsOf(posted)) {
      const reader::EventTemplate& origin = *posted[exception.event].origin;
      ++counts_[{keyFile, origin.executionGroup, origin.messageFlow}];
    }
  }
}

std::vector<const RecentEvents::Posted*> RecentEvents::latest(
    std::optional<reader::EventKind> kind) const {
  std::vector<const Posted*> all;
  for (const auto* kept : {&exceptions_, &others_}) {
    for (const Posted& posted : *kept) {
      if (!kind || posted.event.kind() == *kind) all.push_back(&posted);
    }
  }
  std::ranges::sort(all, {}, &Posted::number);
  return all;
}

std::size_t RecentEvents::exceptionsAt(const std::string& keyFile, const std::string& group,
                                       const std::string& flow, const std::string& node) const {
  return countIn(counts_, {keyFile, group, flow, node});
}

std::size_t RecentEvents::failuresIn(const std::string& keyFile, const std::string& group,
                                     const std::string& flow) const {
  return countIn(counts_, {keyFile, group, flow});
}

}  // namespace model
