// SPDX-License-Identifier: Apache-2.0
// What a segment's own bytes tell: areas that are full, places that are damaged, clocks and counts.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

#include "agent/model/capacity.h"
#include "agent/model/findings/kinds.h"
#include "agent/model/liveness.h"
#include "agent/reader/record.h"
#include "format/layout.h"
#include "format/sizes.h"

namespace model::findings {
namespace {

using Broker = std::shared_ptr<const SeenBroker>;

constexpr std::chrono::weeks kWeek(1);
constexpr std::int64_t kClockSlack = 5;  // seconds

std::uint32_t left(const reader::Area& area) {
  return area.size - std::min(area.size, area.last);
}

bool isNearlyFull(const reader::Area& area) {
  return left(area) <= area.size / 10;
}

std::size_t withoutStatistics(const SeenBroker& broker) {
  std::size_t nodes = 0;
  if (!broker.tree) return nodes;
  for (const auto& group : broker.tree->executionGroups) {
    for (const auto& flow : group.messageFlows) {
      nodes += static_cast<std::size_t>(std::ranges::count_if(
          flow.nodes, [](const auto& node) { return !node.deleted && !node.statistics; }));
    }
  }
  return nodes;
}

// Nodes whose record found no room. Each still has the lock of its record, which a process of the
// broker used last. Of an area that could not be read as a whole nothing is known.
std::size_t withoutRecord(const SeenBroker& broker, const Looks& looks) {
  if (broker.cutStatistics() > 0 || !broker.damaged().empty()) return 0;
  return static_cast<std::size_t>(
      std::ranges::count_if(looks.machine.locks.locks, [&](const reader::Lock& lock) {
        const Guarded guarded = looks.guards.of(lock.name);
        if (guarded.what != Guarded::What::statistics || guarded.broker) return false;
        const reader::Process* const user = looks.machine.find(lock.semaphore.lastProcess);
        return user != nullptr && serves(*user, broker.segment) == true;
      }));
}

// Twice of what there is, or of what all those nodes need, each with a flow of its own.
std::uint64_t enoughFor(std::size_t nodes, const SeenBroker& broker, const reader::Area& area) {
  NewNode node = largestNewNode(broker);
  node.newFlow = true;
  return 2 * (area.size + nodes * bytesOf(node));
}

void addFill(const Broker& broker, const reader::Area& area, const Looks& looks,
             Findings& findings) {
  const std::size_t unseen = withoutRecord(*broker, looks);
  const bool full = broker->full() || unseen > 0;
  const std::size_t lost = full ? broker->orphans() : 0;
  Finding finding =
      of(broker, full ? "area.full" : "area.nearly-full", "statistics area of " + nameOf(*broker));
  finding.evidence = fmt::format("{} of {} bytes are used", area.last, area.size);
  if (lost > 0) {
    finding.evidence +=
        fmt::format("; {} without a parent", counted(lost, "record is there", "records are there"));
  }
  if (const std::size_t nodes = full ? withoutStatistics(*broker) : 0; nodes > 0) {
    finding.evidence +=
        fmt::format("; {} without statistics", counted(nodes, "node is", "nodes are"));
    finding.severity = Severity::critical;
  }
  if (unseen > 0) {
    finding.evidence += fmt::format("; {} no record there",
                                    counted(unseen, "node that runs has", "nodes that run have"));
  }
  if (lost > 0 || unseen > 0) finding.severity = Severity::critical;
  finding.effect =
      unseen > 0 ? "nobody sees the figures of these nodes, and of those that are deployed now"
      : full     ? "nodes that are deployed now are measured, but nobody sees their figures"
                 : fmt::format("room for at most {} more; of those behind nobody sees figures",
                               counted(left(area) / layout::kSmallestNode, "node", "nodes"));
  finding.remedy = writeSizeLine();
  finding.command = sizeLine(enoughFor(unseen, *broker, area));
  findings.found.push_back(std::move(finding));
}

// Of the events areas too, which most commands don't decode.
std::vector<reader::Damage> damagedPlaces(const SeenBroker& broker) {
  std::vector<reader::Damage> places = broker.damaged();
  if (broker.events) return places;
  reader::DamageList ofEvents;
  if (const auto* const area = broker.segment.copy.find(reader::kEventTemplates)) {
    reader::walkRing(*area, 1, ofEvents);
  }
  if (const auto* const area = broker.segment.copy.find(reader::kEventData)) {
    reader::walkRing(*area, layout::evdr::bytes, ofEvents);
  }
  std::ranges::copy(ofEvents.list(), std::back_inserter(places));
  return places;
}

void addDamage(const Broker& broker, Findings& findings) {
  const auto places = damagedPlaces(*broker);
  if (places.empty()) return;
  const reader::Damage& first = places.front();
  Finding finding = of(broker, "segment.damaged", "shared memory of " + nameOf(*broker));
  finding.evidence = fmt::format("{}{} can't be read, the first in {} at offset {}: {}",
                                 places.size() >= reader::DamageList::kMost ? "at least " : "",
                                 counted(places.size(), "place", "places"), first.area,
                                 first.offset, first.reason);
  finding.effect = "what is stored there is not shown";
  finding.remedy = "stop all groups of the broker, which removes the memory, and start them again";
  findings.found.push_back(std::move(finding));
}

Finding clockFinding(std::string evidence) {
  Finding finding;
  finding.id = "clock.set-back";
  finding.object = "clock of this machine";
  finding.evidence = std::move(evidence);
  finding.effect = "times since then are too small, and so are elapsed and queued times";
  finding.remedy = "let the clock be set in small steps alone, and see who set it";
  finding.command = "timedatectl";
  return finding;
}

// By more than clocks of one machine differ.
bool isBefore(std::int64_t one, std::int64_t other) {
  std::int64_t between = 0;
  return one < other && (__builtin_sub_overflow(other, one, &between) || between > kClockSlack);
}

// A node whose last message came before its first one. Empty when there is none.
std::string backwardNode(const reader::Broker& tree) {
  for (const auto& group : tree.executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (!node.statistics) continue;
        const auto& [first, last] =
            std::pair(node.statistics->firstCollection, node.statistics->lastCollection);
        if (first && last && isBefore(*last, *first))
          return fmt::format("{}/{}/{}", group.label, flow.label, node.label);
      }
    }
  }
  return {};
}

void addClock(const Broker& broker, const Snapshot& now, Findings& findings) {
  std::int64_t newest = broker->segment.copy.lastUpdate.seconds;
  for (const auto& area : broker->segment.copy.areas) {
    newest = std::max<std::int64_t>(newest, area.lastUpdate.seconds);
  }
  const std::int64_t ahead = newest - secondsOf(now);
  const std::string node = broker->tree ? backwardNode(*broker->tree) : "";
  if (ahead <= kClockSlack && node.empty()) return;
  Finding finding = clockFinding(
      ahead > kClockSlack ? fmt::format("{} was written {} s in the future", nameOf(*broker), ahead)
                          : node + " had its last message before its first one");
  finding.of = broker->segment.keyFile;
  finding.broker = broker;
  findings.found.push_back(std::move(finding));
}

// By how much the wall clock fell behind the time since boot between the looks.
void addClockStep(const Looks& looks, Findings& findings) {
  constexpr std::chrono::milliseconds kStep(500);
  if (!looks.two()) return;
  const reader::Clocks& before = looks.machineBefore()->clocks;
  const reader::Clocks& now = looks.machine.clocks;
  if (!clockStepped(before, now)) return;
  const auto back = (now.sinceBoot - before.sinceBoot) - (now.wall - before.wall);
  if (back <= kStep) return;
  findings.found.push_back(clockFinding(fmt::format("it went back by {:.1f} s between two looks",
                                                    static_cast<double>(back.count()) / 1000)));
}

// At the mean rate since the first message.
std::optional<Seconds> untilReset(const reader::Statistics& statistics, std::int64_t now) {
  const reader::Time& since = statistics.firstCollection;
  if (!since || *since < 0 || *since >= now) return std::nullopt;
  return untilForcedReset(0, statistics.messageCount, Seconds(now - *since));
}

void addReset(const Broker& broker, const Snapshot& now, Findings& findings) {
  std::optional<Seconds> soonest;
  std::string name;
  for (const auto& group : broker->tree->executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        const auto left =
            node.statistics ? untilReset(*node.statistics, secondsOf(now)) : std::nullopt;
        if (!left || *left > kWeek || (soonest && *soonest <= *left)) continue;
        soonest = left;
        name = group.label + "/" + flow.label + "/" + node.label;
      }
    }
  }
  if (!soonest) return;
  Finding finding = of(broker, "reset.forced", name);
  finding.evidence = fmt::format("at its mean rate its count reaches {} in {:.1f} days",
                                 kForcedReset, soonest->count() / (24 * 3600));
  finding.effect = "then the library sets all statistics of the broker back to zero";
  finding.remedy = "save the figures before, or choose the moment yourself by a deployment";
  finding.command = "zebmon stats --format json";
  findings.found.push_back(std::move(finding));
}

void addUnfinished(const Broker& broker, Findings& findings) {
  Finding finding = of(broker, "segment.unfinished", "shared memory of " + nameOf(*broker));
  finding.evidence = "it has no header";
  finding.effect = "nothing is measured";
  finding.remedy = fmt::format(
      "look again: the broker may be starting. If it stays so, stop it and remove the memory with "
      "ipcrm -m {}",
      broker->segment.id);
  findings.found.push_back(std::move(finding));
}

void look(const Broker& broker, const Looks& looks, Findings& findings) {
  using reader::State;
  const State state = broker->segment.state;
  if (state == State::noPermission || state == State::failed) {
    findings.leaveUnchecked("segment",
                            nameOf(*broker) + ": its shared memory can't be read by this user");
  }
  if (state == State::notInitialised) addUnfinished(broker, findings);
  if (broker->segment.size == 0 || state == State::notInitialised) return;
  const reader::Area* const area = broker->segment.copy.find(reader::kStatistics);
  if (area != nullptr && isNearlyFull(*area)) addFill(broker, *area, looks, findings);
  addDamage(broker, findings);
  addClock(broker, looks.now, findings);
  if (broker->tree) addReset(broker, looks.now, findings);
}

}  // namespace

void addAreas(const Looks& looks, Findings& findings) {
  for (const Broker& broker : looks.now.brokers) look(broker, looks, findings);
  addClockStep(looks, findings);
}

}  // namespace model::findings
