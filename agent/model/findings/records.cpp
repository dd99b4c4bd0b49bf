// SPDX-License-Identifier: Apache-2.0
// Records that don't fit, that were not whole, or that come and go too fast.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "agent/model/capacity.h"
#include "agent/model/findings/kinds.h"
#include "agent/reader/record.h"
#include "format/names.h"

namespace model::findings {
namespace {

using Broker = std::shared_ptr<const SeenBroker>;

// A writer whose record doesn't fit sets the area back to its beginning, and tries again. One whose
// record fits does so too, and writes directly afterwards.
const reader::Area* emptied(const SeenBroker& broker) {
  const reader::Area* const area = broker.segment.copy.find(reader::kEventTemplates);
  return area != nullptr && area->next == layout::block::bytes ? area : nullptr;
}

const reader::Lock* lockOf(const SeenBroker& broker, const Machine& machine) {
  return machine.locks.find(broker.segment.uuid + layout::kEventTemplatesSuffix);
}

// Who takes the area's lock again and again: the process that had it last, when it has it at both
// looks' time, lives and computes. Null when nobody does.
const reader::Process* spinnerAt(const reader::Lock& lock, const Looks& looks) {
  const reader::Lock* const before = looks.before(lock);
  if (before == nullptr || before->semaphore.id != lock.semaphore.id ||
      before->semaphore.lastOperation >= lock.semaphore.lastOperation ||
      looks.lastUserOf(lock).fate != Fate::alive) {
    return nullptr;
  }
  return looks.machine.find(lock.semaphore.lastProcess);
}

// Of one core between the looks; nothing when it isn't known.
std::optional<double> loadOf(const reader::Process& process, const Looks& looks) {
  const reader::Process* const before = looks.machineBefore()->find(process.id);
  const reader::Clocks& clocks = looks.machine.clocks;
  const std::chrono::duration<double> between =
      clocks.sinceBoot - looks.machineBefore()->clocks.sinceBoot;
  if (before == nullptr || !before->processorTicks || !process.processorTicks ||
      *process.processorTicks < *before->processorTicks || between.count() <= 0 ||
      clocks.ticksPerSecond <= 0) {
    return std::nullopt;
  }
  const auto ticks = static_cast<double>(*process.processorTicks - *before->processorTicks);
  return ticks / static_cast<double>(clocks.ticksPerSecond) / between.count();
}

void addTooLarge(const Broker& broker, const Looks& looks, Findings& findings) {
  constexpr double kSpins = 0.1;
  const SeenBroker* const before = looks.before(*broker);
  const reader::Area* const area = emptied(*broker);
  const reader::Lock* const lock = lockOf(*broker, looks.machine);
  if (before == nullptr || area == nullptr || lock == nullptr || emptied(*before) == nullptr) {
    return;
  }
  const reader::Process* const process = spinnerAt(*lock, looks);
  if (process == nullptr) return;
  const auto load = loadOf(*process, looks);
  if (load && *load < kSpins) return;
  const std::string group = groupOf(process->id, *broker);
  Finding finding = of(broker, "record.too-large", "event templates of " + nameOf(*broker));
  finding.severity = Severity::critical;
  finding.evidence = fmt::format(
      "process {}{} takes the area's lock again and again{}, and the area is empty at both looks",
      process->id, group.empty() ? "" : " (" + group + ")",
      load ? fmt::format(", with {:.0f} % of a core", 100 * *load) : "");
  finding.effect =
      "its text is larger than the area: a message or a deployment waits without end, and texts of "
      "other events are lost";
  finding.remedy = fmt::format("a text may have {} characters with its labels: shorten it, or {}",
                               longestText(area->size), writeSizeLine());
  finding.command = sizeLine(std::uint64_t{2} * area->size);
  findings.found.push_back(std::move(finding));
}

// The node that a torn record is of, when the tree still has it.
std::string tornNode(const SeenBroker& broker) {
  if (!broker.tree) return {};
  for (const auto& group : broker.tree->executionGroups) {
    for (const auto& flow : group.messageFlows) {
      for (const auto& node : flow.nodes) {
        if (node.statistics && node.statistics->torn) {
          return fmt::format("{}/{}/{}", group.label, flow.label, node.label);
        }
      }
    }
  }
  return {};
}

void addTorn(const Broker& broker, Findings& findings) {
  const reader::Area* const area = broker->segment.copy.find(reader::kStatistics);
  if (area == nullptr || area->torn.empty()) return;
  const std::string node = tornNode(*broker);
  Finding finding = of(broker, "record.torn", "statistics of " + nameOf(*broker));
  finding.evidence =
      fmt::format("{} being written at each of 5 copies{}",
                  counted(area->torn.size(), "record was", "records were"),
                  node.empty() ? "" : (area->torn.size() == 1 ? ": " : ", the first ") + node);
  finding.effect = "such a record may be half an old one and half a new one";
  finding.remedy = "look again; if it stays so, look at who writes there";
  finding.command = "zebmon locks --all";
  findings.found.push_back(std::move(finding));
}

// The ring of events, the oldest first, as it was copied.
struct Ring {
  const reader::Area* area = nullptr;
  std::vector<reader::Record> records;

  // Of no broker it is empty. Points into the broker's copy.
  explicit Ring(const SeenBroker* broker)
      : area(broker == nullptr ? nullptr : broker->segment.copy.find(reader::kEventData)) {
    reader::DamageList ignored;
    if (area != nullptr) records = reader::walkRing(*area, layout::evdr::bytes, ignored);
  }
  bool empty() const { return records.empty(); }
  bool holds(const reader::RecordId& id) const {
    return std::ranges::any_of(records, [&id](const auto& record) { return record.id() == id; });
  }
};

double secondsOf(const reader::Stamp& stamp) {
  return stamp.seconds + stamp.milliseconds / 1000.0;
}

// The time that a ring holds which has begun again; nothing of another one.
std::optional<double> spanOf(const Ring& ring) {
  if (ring.records.size() < 2 || !ring.area->wrapped()) return std::nullopt;
  const double span = secondsOf(ring.records.back().id().created()) -
                      secondsOf(ring.records.front().id().created());
  return span < 0 ? std::nullopt : std::optional(span);
}

void addMissed(const Broker& broker, const Looks& looks, Findings& findings) {
  constexpr double kShort = 2;
  constexpr double kKeep = 60;
  const Ring ring(broker.get());
  const auto span = spanOf(ring);
  if (!span || *span >= kShort) return;
  const SeenBroker* const before = looks.before(*broker);
  const Ring earlier(before);
  const bool turned = !earlier.empty() && !ring.holds(earlier.records.back().id());
  const double perSecond = static_cast<double>(ring.records.size()) / std::max(*span, 0.001);
  Finding finding = of(broker, "events.missed", "events of " + nameOf(*broker));
  finding.evidence = fmt::format("{} of the last {:.1f} s fill the area{}",
                                 counted(ring.records.size(), "event", "events"), *span,
                                 turned ? "; all were overwritten between two looks" : "");
  finding.effect = fmt::format("readers that look less often than every {:.1f} s miss events",
                               std::max(*span, 0.1));
  finding.remedy = fmt::format("to keep events for {:.0f} s, {}", kKeep, writeSizeLine());
  finding.command = sizeLine(needOf({.eventsPerSecond = perSecond, .keepSeconds = kKeep}).area);
  findings.found.push_back(std::move(finding));
}

}  // namespace

bool mayBeTooLarge(const SeenBroker& broker, const Looks& looks) {
  constexpr std::chrono::seconds kLately(5);
  const reader::Lock* const lock = lockOf(broker, looks.machine);
  if (lock == nullptr || emptied(broker) == nullptr) return false;
  return secondsSince(lock->semaphore.lastOperation, looks.machine.clocks) <= kLately.count();
}

void addRecords(const Looks& looks, Findings& findings) {
  for (const Broker& broker : looks.now.brokers) {
    if (looks.machineBefore() != nullptr) addTooLarge(broker, looks, findings);
    addTorn(broker, findings);
    addMissed(broker, looks, findings);
  }
}

}  // namespace model::findings
