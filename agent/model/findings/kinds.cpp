// SPDX-License-Identifier: Apache-2.0
#include "agent/model/findings/kinds.h"

#include <fmt/format.h>

#include <algorithm>

#include "agent/model/capacity.h"
#include "format/names.h"

namespace model::findings {

using reader::Presence;

Looks::Looks(const Snapshot* before, const Snapshot& snapshot)
    : now(snapshot),
      machine(*snapshot.machine),
      guards(snapshot),
      snapshotBefore_(before),
      before_(before != nullptr ? before->machine.get() : nullptr) {}

const reader::Lock* Looks::before(const reader::Lock& lock) const {
  if (before_ == nullptr) return nullptr;
  return before_->locks.find(lock.name);
}

const SeenBroker* Looks::before(const SeenBroker& broker) const {
  if (snapshotBefore_ == nullptr) return nullptr;
  for (const auto& earlier : snapshotBefore_->brokers) {
    if (earlier->segment.keyFile == broker.segment.keyFile) return earlier.get();
  }
  return nullptr;
}

Verdict Looks::lastUserOf(const reader::Lock& lock) const {
  const Sighting sighting = sightingOf(lock.semaphore, machine);
  const auto segment = segmentOf(guards.of(lock.name));
  const reader::Lock* const earlier = before(lock);
  if (earlier == nullptr) return lastUser(nullptr, sighting, segment);
  const Sighting first = sightingOf(earlier->semaphore, *before_);
  return lastUser(&first, sighting, segment);
}

Verdict Looks::fateOf(std::int32_t process) const {
  const reader::Process* const found = machine.find(process);
  return found == nullptr ? Verdict{} : model::fateOf(*found);
}

Finding of(const char* id, std::string of, std::string object) {
  Finding finding;
  finding.id = id;
  finding.of = std::move(of);
  finding.object = std::move(object);
  return finding;
}

Finding of(const std::shared_ptr<const SeenBroker>& broker, const char* id, std::string object) {
  Finding finding = of(id, broker->segment.keyFile, std::move(object));
  finding.broker = broker;
  return finding;
}

std::string groupOf(std::int32_t process, const SeenBroker& broker) {
  if (broker.tree) {
    for (const auto& group : broker.tree->executionGroups) {
      if (group.processId == process) return group.label;
    }
  }
  return {};
}

bool isHeld(const reader::Semaphore& semaphore) {
  return semaphore.presence == Presence::there && semaphore.value == 0;
}

bool hasObjects(const reader::Lock& lock) {
  return lock.semaphore.presence == Presence::there || lock.queue.presence == Presence::there;
}

std::int64_t secondsSince(reader::KernelTime then, const reader::Clocks& now) {
  const std::int64_t wall = now.wall.count() / 1000;
  std::int64_t seconds = 0;
  if (then < 0 || __builtin_sub_overflow(wall, then, &seconds)) return 0;
  return std::max<std::int64_t>(seconds, 0);
}

std::string age(reader::KernelTime then, const reader::Clocks& now) {
  const std::int64_t seconds = secondsSince(then, now);
  if (seconds < 120) return fmt::format("{} s", seconds);
  if (seconds < 120 * 60) return fmt::format("{} min", seconds / 60);
  if (seconds < 48 * 3600) return fmt::format("{} h", seconds / 3600);
  return fmt::format("{} days", seconds / (24 * 3600));
}

std::string sizeLine(std::uint64_t bytes) {
  return fmt::format("{}={}", layout::kMemorySizeKey, std::min<std::uint64_t>(bytes, kLargestArea));
}

std::string writeSizeLine() {
  const std::string path = layout::kConfigurationName;
  return fmt::format("write this line into {}, stop all groups of the broker and start them again",
                     path.substr(path.rfind('/') + 1));
}

std::string counted(std::uint64_t number, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", number, number == 1 ? one : many);
}

std::string nameOf(const SeenBroker& broker) {
  const std::string label = broker.label();
  if (!label.empty()) return "broker " + label;
  return broker.uuid().empty() ? "broker without a uuid" : "broker with uuid " + broker.uuid();
}

std::string nameOf(const Guarded& guarded) {
  using What = Guarded::What;
  const std::string broker = guarded.broker ? nameOf(*guarded.broker) : "an unknown broker";
  switch (guarded.what) {
    case What::statistics:
      return guarded.node.empty() && !guarded.broker
                 ? "a statistics record of no known node"
                 : fmt::format("the statistics of {}/{}/{}", guarded.group, guarded.flow,
                               guarded.node);
    case What::segment:
      return "the segment of " + broker;
    case What::statisticsArea:
      return "the statistics area of " + broker;
    case What::templatesArea:
      return "the event templates of " + broker;
    case What::eventsArea:
      return "the events area of " + broker;
    case What::attachTable:
      return fmt::format("the segments that process {} uses", guarded.process);
    case What::unknown:
      break;
  }
  return "something unknown";
}

std::string quoted(const std::string& word) {
  constexpr char kPlain[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./:-+,@%";
  if (!word.empty() && word.find_first_not_of(kPlain) == word.npos) return word;
  std::string result = "'";
  for (const char c : word) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

}  // namespace model::findings
